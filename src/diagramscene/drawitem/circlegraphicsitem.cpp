#include "circlegraphicsitem.h"

#include <QPainter>
#include <QPainterPath>

CircleGraphicsItem::CircleGraphicsItem() : randomColor_(randomOpaqueColor()) {
    dragMode_ = 1;
}

bool CircleGraphicsItem::contains(QPointF const& point) const {
    const double t = outlineBandWidth();
    QPainterPath outer, inner;
    outer.addEllipse(outlineOuterRect(rect_, t));
    inner.addEllipse(outlineInnerRect(rect_, t));
    if (outer.subtracted(inner).contains(point))
        return true;
    return isCanEdit(point);
}

void CircleGraphicsItem::customPaint(QPainter* painter, QRectF const& rect) {
    if (!setStylePen(painter))
        return;
    painter->drawEllipse(rect);
}
