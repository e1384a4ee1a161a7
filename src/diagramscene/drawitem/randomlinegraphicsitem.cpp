#include "randomlinegraphicsitem.h"

#include "stylemanager.h"

#include <QGraphicsScene>
#include <QGraphicsSceneMouseEvent>
#include <QPainter>
#include <QStyleOptionGraphicsItem>
#include <algorithm>

RandomLineGraphicsItem::RandomLineGraphicsItem()
    : QGraphicsItem(nullptr), paintStatus_(PaintStatusCreating) {
    // paint() needs the exposed area to skip segments that cannot reach it.
    setFlag(ItemUsesExtendedStyleOption);
}

// Where segment i (from point i to i + 1) can put pixels: half the line width for the round
// caps, and a little more for antialiasing.
QRectF RandomLineGraphicsItem::segmentBounds(int i, double width) const {
    const double m = width / 2 + 2;
    return QRectF(points_[i], points_[i + 1]).normalized().adjusted(-m, -m, m, m);
}

void RandomLineGraphicsItem::changePoint(QPointF const& p) {
    points_.append(p);
    // The bounding rectangle is the whole scene and does not change; repainting only the new
    // segment's surroundings keeps a long stroke from repainting the scene at every point.
    if (points_.size() < 2) {
        update();
        return;
    }
    StyleInfo* style = StyleManager::instance()->getGraphicItemStyleInfo(this);
    update(segmentBounds(points_.size() - 2, style ? style->width : 0));
}

void RandomLineGraphicsItem::setItemPaintStatus(ItemPaintStatus status) {
    prepareGeometryChange();
    paintStatus_ = status;
}

QRectF RandomLineGraphicsItem::boundingRect() const {
    return scene() ? scene()->sceneRect() : QRectF();
}

bool RandomLineGraphicsItem::contains(QPointF const& point) const {
    StyleInfo* style = StyleManager::instance()->getGraphicItemStyleInfo(this);
    const int w = style ? style->width : 0;
    const int h = w / 2;
    // Not centred: the square reaches h up-left but w - h + 4 down-right.
    for (QPointF const& p : points_) {
        if (QRectF(int(p.x() - h), int(p.y() - h), w + 4, w + 4).contains(point))
            return true;
    }
    return false;
}

void RandomLineGraphicsItem::paint(QPainter* painter, QStyleOptionGraphicsItem const* option,
                                   QWidget*) {
    StyleInfo* style = StyleManager::instance()->getGraphicItemStyleInfo(this);
    if (!style || points_.size() < 2)
        return;
    QPen linePen(style->color);
    linePen.setWidth(style->width);
    linePen.setCapStyle(Qt::RoundCap);
    QPen guidePen(Qt::gray);
    guidePen.setWidth(1);
    guidePen.setCapStyle(Qt::RoundCap);
    guidePen.setStyle(Qt::DashLine);
    painter->setRenderHint(QPainter::Antialiasing);
    const bool guide = paintStatus_ == PaintStatusCreating || paintStatus_ == PaintStatusEditing;
    // Segments that cannot touch the exposed area would draw nothing there.
    const QRectF exposed = option ? option->exposedRect : QRectF();
    for (int pass = 0; pass < (guide ? 2 : 1); ++pass) {
        painter->setPen(pass == 0 ? linePen : guidePen);
        for (int i = 0; i + 1 < points_.size(); ++i) {
            if (!exposed.isEmpty() && !segmentBounds(i, style->width).intersects(exposed))
                continue;
            QLineF segment(points_[i], points_[i + 1]);
            painter->drawLines(&segment, 1);
        }
    }
}

void RandomLineGraphicsItem::mousePressEvent(QGraphicsSceneMouseEvent* event) {
    pressPoint_ = event->scenePos();
    lastPoint_ = pressPoint_;
}

void RandomLineGraphicsItem::mouseMoveEvent(QGraphicsSceneMouseEvent* event) {
    currentPoint_ = event->scenePos();
    if (paintStatus_ != PaintStatusEditing)
        return;
    const QPointF d = currentPoint_ - lastPoint_;
    lastPoint_ = currentPoint_;
    prepareGeometryChange();
    rect_.translate(d);
    for (QPointF& p : points_)
        p += d;
}

void RandomLineGraphicsItem::mouseReleaseEvent(QGraphicsSceneMouseEvent* event) {
    currentPoint_ = event->scenePos();
}

QPointF RandomLineGraphicsItem::maxPoint1(QPointF const& a, QPointF const& b) {
    return QPointF(std::max(a.x(), b.x()), std::max(a.y(), b.y()));
}

QPointF RandomLineGraphicsItem::minPoint1(QPointF const& a, QPointF const& b) {
    return QPointF(std::min(a.x(), b.x()), std::min(a.y(), b.y()));
}
