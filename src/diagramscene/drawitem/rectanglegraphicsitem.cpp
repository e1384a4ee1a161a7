#include "rectanglegraphicsitem.h"

#include "defualtbasedate.h"
#include "stylemanager.h"

#include <QPainter>
#include <QPainterPath>
#include <QRandomGenerator>

RectangleGraphicsItem::RectangleGraphicsItem()
    : randomColor_(int(QRandomGenerator::global()->bounded(256)),
                   int(QRandomGenerator::global()->bounded(256)),
                   int(QRandomGenerator::global()->bounded(256)), 255) {}

bool RectangleGraphicsItem::contains(QPointF const& point) const {
    StyleInfo* style = StyleManager::instance()->getGraphicItemStyleInfo(this);
    const double t = (style ? style->width : 0) * DefualtBaseDate::instance()->scale;
    if (outlineOuterRect(rect_, t).contains(point) && !outlineInnerRect(rect_, t).contains(point))
        return true;
    return isCanEdit(point);
}

void RectangleGraphicsItem::customPaint(QPainter* painter, QRectF const& rect) {
    StyleInfo* style = StyleManager::instance()->getGraphicItemStyleInfo(this);
    if (!style)
        return;
    QPen pen;
    pen.setWidth(style->width);
    pen.setColor(style->color);
    painter->setPen(pen);
    QPainterPath path;
    path.addRoundedRect(rect, 5.0, 5.0, Qt::AbsoluteSize);
    painter->drawPath(path);
}
