#ifndef CIRCLEGRAPHICSITEM_H
#define CIRCLEGRAPHICSITEM_H

#include "shapebasegraphicsitem.h"

#include <QColor>

class CircleGraphicsItem : public ShapeBaseGraphicsItem {
public:
    CircleGraphicsItem();

    bool contains(QPointF const& point) const override;
    void customPaint(QPainter* painter, QRectF const& rect) override;

private:
    QColor randomColor_;
};

#endif // CIRCLEGRAPHICSITEM_H
