#include "shapebasegraphicsitem.h"

#include "defualtbasedate.h"
#include "stylemanager.h"

#include <QGraphicsScene>
#include <QGraphicsSceneMouseEvent>
#include <QPainter>
#include <QRandomGenerator>
#include <algorithm>

ShapeBaseGraphicsItem::ShapeBaseGraphicsItem()
    : QGraphicsItem(nullptr), direction_(DirectionNone), dragMode_(1),
      paintStatus_(PaintStatusCreating), confineToScene_(false) {}

ShapeBaseGraphicsItem::~ShapeBaseGraphicsItem() = default;

double ShapeBaseGraphicsItem::handleDiameter() const {
    return DefualtBaseDate::instance()->handleSize;
}

QRectF ShapeBaseGraphicsItem::boundingRect() const {
    const double d = handleDiameter();
    return QRectF(rect_.x() - d / 2, rect_.y() - d / 2, rect_.width() + d, rect_.height() + d);
}

QPainterPath ShapeBaseGraphicsItem::shape() const {
    QPainterPath path;
    path.addRect(boundingRect());
    return path;
}

bool ShapeBaseGraphicsItem::contains(QPointF const& point) const {
    return boundingRect().contains(point);
}

void ShapeBaseGraphicsItem::customPaint(QPainter*, QRectF const&) {}

void ShapeBaseGraphicsItem::handlePoints(QRectF const& r, QPointF out[8]) {
    const double x = r.x(), y = r.y(), w = r.width(), h = r.height();
    out[0] = {x, y};
    out[1] = {x, y + h / 2};
    out[2] = {x, y + h};
    out[3] = {x + w / 2, y + h};
    out[4] = {x + w, y + h};
    out[5] = {x + w, y + h - h / 2};
    out[6] = {x + w, y};
    out[7] = {x + w / 2, y};
}

void ShapeBaseGraphicsItem::paint(QPainter* painter, QStyleOptionGraphicsItem const*, QWidget*) {
    customPaint(painter, rect_);
    StyleManager* manager = StyleManager::instance();
    painter->setPen(manager->handlePen);
    painter->setBrush(manager->handleBrush);
    if (paintStatus_ == PaintStatusFinished)
        return;
    const double d = handleDiameter();
    QPointF points[8];
    handlePoints(rect_, points);
    for (QPointF const& p : points)
        painter->drawEllipse(QRect(int(p.x() - d / 2), int(p.y() - d / 2), int(d), int(d)));
}

void ShapeBaseGraphicsItem::setRect(QRectF const& rect) {
    changeRect(rect);
    refreshDirectionMap();
}

void ShapeBaseGraphicsItem::changeRect(QRectF const& next) {
    prepareGeometryChange();
    rect_ = next;
}

void ShapeBaseGraphicsItem::setItemPaintStatus(ItemPaintStatus status) {
    prepareGeometryChange();
    paintStatus_ = status;
}

void ShapeBaseGraphicsItem::refreshDirectionMap() {
    const double d = handleDiameter();
    QPointF points[8];
    handlePoints(rect_, points);
    static const IremDirection directions[8] = {
        DirectionTopLeft,     DirectionLeft,  DirectionBottomLeft, DirectionBottom,
        DirectionBottomRight, DirectionRight, DirectionTopRight,   DirectionTop};
    directionMap_.clear();
    for (int i = 0; i < 8; ++i) {
        handles_[i] = QRectF(points[i].x() - d / 2, points[i].y() - d / 2, d, d);
        directionMap_.insert(&handles_[i], directions[i]);
    }
}

IremDirection ShapeBaseGraphicsItem::getDirection(QPointF const& p) const {
    // Keyed by address, so the map walks the handles in field order.
    for (auto it = directionMap_.constBegin(); it != directionMap_.constEnd(); ++it) {
        if (it.key()->contains(p))
            return it.value();
    }
    return DirectionNone;
}

void ShapeBaseGraphicsItem::determineDirection(QPointF const& c) {
    const QPointF a = anchor_;
    switch (direction_) {
    case DirectionTop:
    case DirectionBottom:
        direction_ = c.y() <= a.y() ? DirectionTop : DirectionBottom;
        break;
    case DirectionLeft:
    case DirectionRight:
        direction_ = a.x() <= c.x() ? DirectionRight : DirectionLeft;
        break;
    case DirectionTopLeft:
    case DirectionTopRight:
    case DirectionBottomLeft:
    case DirectionBottomRight:
        if (c.x() >= a.x() && c.y() >= a.y())
            direction_ = DirectionBottomRight;
        else if (c.x() > a.x() && c.y() < a.y())
            direction_ = DirectionTopRight;
        else if (c.x() == a.x() && c.y() < a.y())
            direction_ = DirectionTopLeft;
        else if (c.x() < a.x() && c.y() <= a.y())
            direction_ = DirectionTopLeft;
        else if (c.x() < a.x() && c.y() > a.y())
            direction_ = DirectionBottomLeft;
        break;
    case DirectionNone:
        break;
    }
}

bool ShapeBaseGraphicsItem::isContains(QPointF const& p) const {
    const double d = handleDiameter();
    QRectF grown = rect_.adjusted(-d / 2, -d / 2, d / 2, d / 2);
    return grown.contains(p) || getDirection(p) != DirectionNone;
}

bool ShapeBaseGraphicsItem::isCanEdit(QPointF const& p) const {
    if (paintStatus_ != PaintStatusEditing)
        return false;
    for (QRectF const& h : handles_) {
        if (h.contains(p))
            return true;
    }
    return false;
}

void ShapeBaseGraphicsItem::mousePressEvent(QGraphicsSceneMouseEvent* event) {
    anchor_ = event->scenePos();
    switch (paintStatus_) {
    case PaintStatusCreating:
        return;
    case PaintStatusFinished:
        QGraphicsItem::mousePressEvent(event);
        return;
    case PaintStatusEditing:
        break;
    }
    direction_ = getDirection(anchor_);
    const double x = rect_.x(), y = rect_.y(), w = rect_.width(), h = rect_.height();
    switch (direction_) {
    case DirectionNone:
        last_ = anchor_;
        dragMode_ = 1;
        return;
    case DirectionTop:
    case DirectionTopLeft:
        anchor_ = QPointF(x + w, y + h);
        break;
    case DirectionBottom:
    case DirectionLeft:
    case DirectionBottomLeft:
        anchor_ = QPointF(x + w, y);
        break;
    case DirectionRight:
    case DirectionBottomRight:
        anchor_ = QPointF(x, y);
        break;
    case DirectionTopRight:
        anchor_ = QPointF(x, y + h);
        break;
    }
    dragMode_ = 2;
}

void ShapeBaseGraphicsItem::mouseMoveEvent(QGraphicsSceneMouseEvent* event) {
    cursor_ = event->scenePos();
    switch (paintStatus_) {
    case PaintStatusCreating:
        return;
    case PaintStatusFinished:
        QGraphicsItem::mouseMoveEvent(event);
        return;
    case PaintStatusEditing:
        break;
    }
    const QPointF c = cursor_;
    QRectF next = rect_;
    if (dragMode_ == 1) {
        const QPointF delta = c - last_;
        last_ = c;
        QPointF topLeft = next.topLeft() + delta;
        if (confineToScene_ && scene()) {
            const QRectF sr = scene()->sceneRect();
            topLeft.setX(std::max(topLeft.x(), sr.x()));
            topLeft.setX(std::min(topLeft.x(), sr.x() + sr.width() - next.width()));
            topLeft.setY(std::max(topLeft.y(), sr.y()));
            topLeft.setY(std::min(topLeft.y(), sr.y() + sr.height() - next.height()));
        }
        next.moveTopLeft(topLeft);
    }
    determineDirection(c);
    const QPointF a = anchor_;
    const double x = next.x(), y = next.y(), h = next.height();
    switch (direction_) {
    case DirectionTop:
        next = QRectF(x, c.y(), a.x() - x, a.y() - c.y());
        break;
    case DirectionBottom:
        next = QRectF(x, a.y(), a.x() - x, c.y() - a.y());
        break;
    case DirectionLeft:
        next = QRectF(c.x(), a.y(), a.x() - c.x(), (y + h) - a.y());
        break;
    case DirectionRight:
        next = QRectF(a.x(), a.y(), c.x() - a.x(), (y + h) - a.y());
        break;
    case DirectionTopLeft:
        next = QRectF(c.x(), c.y(), a.x() - c.x(), a.y() - c.y());
        break;
    case DirectionTopRight:
        next = QRectF(a.x(), c.y(), c.x() - a.x(), a.y() - c.y());
        break;
    case DirectionBottomLeft:
        next = QRectF(c.x(), a.y(), a.x() - c.x(), c.y() - a.y());
        break;
    case DirectionBottomRight:
        next = QRectF(a.x(), a.y(), c.x() - a.x(), c.y() - a.y());
        break;
    case DirectionNone:
        break;
    }
    changeRect(next);
}

void ShapeBaseGraphicsItem::mouseReleaseEvent(QGraphicsSceneMouseEvent* event) {
    if (paintStatus_ == PaintStatusCreating) {
        paintStatus_ = PaintStatusEditing;
        return;
    }
    cursor_ = event->scenePos();
    refreshDirectionMap();
    QGraphicsItem::mouseReleaseEvent(event);
}

QRectF outlineOuterRect(QRectF const& r, double t) {
    return QRectF(r.x() - t / 2, r.y() - t / 2, r.width() + t, r.height() + t);
}

QRectF outlineInnerRect(QRectF const& r, double t) {
    return QRectF(r.x() + t / 2, r.y() + t / 2, std::max(r.width() - t, 0.0),
                  std::max(r.height() - t, 0.0));
}

bool ShapeBaseGraphicsItem::setStylePen(QPainter* painter) const {
    StyleInfo* style = StyleManager::instance()->getGraphicItemStyleInfo(this);
    if (!style)
        return false;
    QPen pen;
    pen.setWidth(style->width);
    pen.setColor(style->color);
    painter->setPen(pen);
    return true;
}

double ShapeBaseGraphicsItem::outlineBandWidth() const {
    StyleInfo* style = StyleManager::instance()->getGraphicItemStyleInfo(this);
    return (style ? style->width : 0) * DefualtBaseDate::instance()->scale;
}

QColor ShapeBaseGraphicsItem::randomOpaqueColor() {
    QRandomGenerator* random = QRandomGenerator::global();
    return QColor(int(random->bounded(256)), int(random->bounded(256)), int(random->bounded(256)),
                  255);
}
