#include "rectanglegraphicsitem.h"

#include <QPainter>
#include <QPainterPath>

RectangleGraphicsItem::RectangleGraphicsItem() : randomColor_(randomOpaqueColor()) {}

bool RectangleGraphicsItem::contains(QPointF const& point) const {
    const double t = outlineBandWidth();
    if (outlineOuterRect(rect_, t).contains(point) && !outlineInnerRect(rect_, t).contains(point))
        return true;
    return isCanEdit(point);
}

void RectangleGraphicsItem::customPaint(QPainter* painter, QRectF const& rect) {
    if (!setStylePen(painter))
        return;
    QPainterPath path;
    path.addRoundedRect(rect, 5.0, 5.0, Qt::AbsoluteSize);
    painter->drawPath(path);
}
