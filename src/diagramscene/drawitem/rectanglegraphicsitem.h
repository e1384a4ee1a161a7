#ifndef RECTANGLEGRAPHICSITEM_H
#define RECTANGLEGRAPHICSITEM_H

#include "shapebasegraphicsitem.h"

#include <QColor>

class RectangleGraphicsItem : public ShapeBaseGraphicsItem {
public:
    RectangleGraphicsItem();

    bool contains(QPointF const& point) const override;
    void customPaint(QPainter* painter, QRectF const& rect) override;

private:
    QColor randomColor_;
};

#endif // RECTANGLEGRAPHICSITEM_H
