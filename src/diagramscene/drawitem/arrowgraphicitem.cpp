#include "arrowgraphicitem.h"

#include "defualtbasedate.h"
#include "stylemanager.h"

#include <QGraphicsSceneMouseEvent>
#include <QPainter>
#include <cmath>

ArrowGraphicItem::ArrowGraphicItem()
    : QGraphicsItem(nullptr), draggedEnd_(0), dragMode_(1), paintStatus_(PaintStatusCreating) {}

ArrowGraphicItem::~ArrowGraphicItem() = default;

void ArrowGraphicItem::arrowPolygons(QPointF const& s, QPointF const& e, int width, QPolygonF& head,
                                     QPolygonF& shaft) {
    const double l = 2.0 * width;
    const double theta = std::atan2(e.y() - s.y(), e.x() - s.x());
    const double sn = std::sin(theta), cs = std::cos(theta);
    const QPointF p1(e.x() - l * cs - (l / 2) * sn, e.y() - l * sn + (l / 2) * cs);
    const QPointF p2(e.x() - l * cs + (l / 2) * sn, e.y() - l * sn - (l / 2) * cs);
    const int ox = int(l * sn / 3);
    const int oy = int(l * cs / 3);
    const QPointF q1(p1.x() + ox, p1.y() - oy);
    const QPointF q2(p2.x() - ox, p2.y() + oy);
    head = QPolygonF({e, p1, p2});
    shaft = QPolygonF({s, q1, q2});
}

void ArrowGraphicItem::updateExtent() {
    extent_ = QRectF(std::min(start_.x(), end_.x()), std::min(start_.y(), end_.y()),
                     std::abs(end_.x() - start_.x()), std::abs(end_.y() - start_.y()));
}

void ArrowGraphicItem::setArrowPoint(QPointF const& start, QPointF const& end) {
    prepareGeometryChange();
    start_ = start;
    end_ = end;
    updateExtent();
    const double d = DefualtBaseDate::instance()->handleSize;
    endHandle_ = QRectF(end.x() - d / 2, end.y() - d / 2, d, d);
    startHandle_ = QRectF(start.x() - d / 2, start.y() - d / 2, d, d);
}

void ArrowGraphicItem::setItemPaintStatus(ItemPaintStatus status) {
    prepareGeometryChange();
    paintStatus_ = status;
}

bool ArrowGraphicItem::isCanEdit(QPointF const& p) const {
    return paintStatus_ == PaintStatusEditing &&
           (endHandle_.contains(p) || startHandle_.contains(p));
}

QRectF ArrowGraphicItem::boundingRect() const {
    const double d = DefualtBaseDate::instance()->handleSize;
    return extent_.adjusted(-d, -d, d, d);
}

QPainterPath ArrowGraphicItem::shape() const {
    QPainterPath path;
    path.addRect(extent_.adjusted(-10, -10, 10, 10));
    return path;
}

bool ArrowGraphicItem::contains(QPointF const& point) const {
    StyleInfo* style = StyleManager::instance()->getGraphicItemStyleInfo(this);
    QPolygonF head, shaft;
    arrowPolygons(start_, end_, style ? style->width : 0, head, shaft);
    QPainterPath outline;
    outline.addPolygon(head);
    outline.addPolygon(shaft);
    if (outline.contains(point))
        return true;
    return isCanEdit(point);
}

void ArrowGraphicItem::paint(QPainter* painter, QStyleOptionGraphicsItem const*, QWidget*) {
    StyleManager* manager = StyleManager::instance();
    StyleInfo* style = manager->getGraphicItemStyleInfo(this);
    if (!style)
        return;
    QPolygonF head, shaft;
    arrowPolygons(start_, end_, style->width, head, shaft);
    QPen pen;
    pen.setColor(style->color);
    painter->setPen(pen);
    painter->setBrush(QBrush(style->color, Qt::SolidPattern));
    painter->setRenderHint(QPainter::Antialiasing);
    painter->drawPolygon(head, Qt::OddEvenFill);
    painter->drawPolygon(shaft, Qt::OddEvenFill);
    if (paintStatus_ == PaintStatusFinished)
        return;
    const double d = DefualtBaseDate::instance()->handleSize;
    painter->setPen(manager->handlePen);
    painter->setBrush(manager->handleBrush);
    painter->drawEllipse(QRect(int(start_.x() - d / 2), int(start_.y() - d / 2), int(d), int(d)));
    painter->drawEllipse(QRect(int(end_.x() - d / 2), int(end_.y() - d / 2), int(d), int(d)));
}

void ArrowGraphicItem::mousePressEvent(QGraphicsSceneMouseEvent* event) {
    if (paintStatus_ != PaintStatusEditing)
        return;
    const QPointF p = event->scenePos();
    if (endHandle_.contains(p)) {
        draggedEnd_ = 2;
        dragMode_ = 2;
    } else if (startHandle_.contains(p)) {
        draggedEnd_ = 1;
        dragMode_ = 2;
    } else {
        last_ = p;
        draggedEnd_ = 0;
        dragMode_ = 1;
    }
}

void ArrowGraphicItem::mouseMoveEvent(QGraphicsSceneMouseEvent* event) {
    if (paintStatus_ != PaintStatusEditing)
        return;
    const QPointF p = event->scenePos();
    prepareGeometryChange();
    if (dragMode_ == 1) {
        const QPointF delta = p - last_;
        last_ = p;
        // Whole-unit snapping: sub-unit moves are swallowed.
        start_ = QPointF(int(start_.x() + delta.x()), int(start_.y() + delta.y()));
        end_ = QPointF(int(end_.x() + delta.x()), int(end_.y() + delta.y()));
    } else if (draggedEnd_ == 2) {
        end_ = p;
    } else if (draggedEnd_ == 1) {
        start_ = p;
    } else {
        return;
    }
    updateExtent();
    const int di = int(DefualtBaseDate::instance()->handleSize);
    endHandle_ = QRectF(end_.x() - di / 2, end_.y() - di / 2, di, di);
    startHandle_ = QRectF(start_.x() - di / 2, start_.y() - di / 2, di, di);
}

void ArrowGraphicItem::mouseReleaseEvent(QGraphicsSceneMouseEvent*) {
    if (paintStatus_ == PaintStatusCreating)
        paintStatus_ = PaintStatusEditing;
}
