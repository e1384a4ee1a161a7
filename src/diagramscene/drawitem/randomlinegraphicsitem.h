#ifndef RANDOMLINEGRAPHICSITEM_H
#define RANDOMLINEGRAPHICSITEM_H

#include "drawdefine.h"

#include <QGraphicsItem>
#include <QVector>

// Free-hand polyline through every mouse position of a pen stroke.
class RandomLineGraphicsItem : public QGraphicsItem {
public:
    RandomLineGraphicsItem();

    QRectF boundingRect() const override;
    bool contains(QPointF const& point) const override;
    void paint(QPainter* painter, QStyleOptionGraphicsItem const* option, QWidget* widget) override;

    void changePoint(QPointF const& p);
    void setItemPaintStatus(ItemPaintStatus status);
    ItemPaintStatus getItemPaintStatus() const { return paintStatus_; }
    QVector<QPointF> points() const { return points_; }

    static QPointF maxPoint1(QPointF const& a, QPointF const& b);
    static QPointF minPoint1(QPointF const& a, QPointF const& b);

protected:
    void mousePressEvent(QGraphicsSceneMouseEvent* event) override;
    void mouseMoveEvent(QGraphicsSceneMouseEvent* event) override;
    void mouseReleaseEvent(QGraphicsSceneMouseEvent* event) override;

private:
    QRectF segmentBounds(int i, double width) const;

    QRectF rect_;
    QVector<QPointF> points_;
    QPointF pressPoint_;
    QPointF currentPoint_;
    QPointF lastPoint_;
    ItemPaintStatus paintStatus_;
};

#endif // RANDOMLINEGRAPHICSITEM_H
