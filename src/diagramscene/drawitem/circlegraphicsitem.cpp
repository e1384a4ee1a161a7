#include "circlegraphicsitem.h"

#include "defualtbasedate.h"
#include "stylemanager.h"

#include <QPainter>
#include <QPainterPath>
#include <QRandomGenerator>

CircleGraphicsItem::CircleGraphicsItem()
    : randomColor_(int(QRandomGenerator::global()->bounded(256)),
                   int(QRandomGenerator::global()->bounded(256)),
                   int(QRandomGenerator::global()->bounded(256)), 255) {
    dragMode_ = 1;
}

bool CircleGraphicsItem::contains(QPointF const& point) const {
    StyleInfo* style = StyleManager::instance()->getGraphicItemStyleInfo(this);
    const double t = (style ? style->width : 0) * DefualtBaseDate::instance()->scale;
    QPainterPath outer, inner;
    outer.addEllipse(outlineOuterRect(rect_, t));
    inner.addEllipse(outlineInnerRect(rect_, t));
    if (outer.subtracted(inner).contains(point))
        return true;
    return isCanEdit(point);
}

void CircleGraphicsItem::customPaint(QPainter* painter, QRectF const& rect) {
    StyleInfo* style = StyleManager::instance()->getGraphicItemStyleInfo(this);
    if (!style)
        return;
    QPen pen;
    pen.setWidth(style->width);
    pen.setColor(style->color);
    painter->setPen(pen);
    painter->drawEllipse(rect);
}
