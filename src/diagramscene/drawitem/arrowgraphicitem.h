#ifndef ARROWGRAPHICITEM_H
#define ARROWGRAPHICITEM_H

#include "drawdefine.h"

#include <QGraphicsItem>
#include <QPainterPath>
#include <QPolygonF>

// Filled tapering shaft with a triangular head; both ends can be dragged while editing.
class ArrowGraphicItem : public QGraphicsItem {
public:
    ArrowGraphicItem();
    ~ArrowGraphicItem() override;

    QRectF boundingRect() const override;
    QPainterPath shape() const override;
    bool contains(QPointF const& point) const override;
    void paint(QPainter* painter, QStyleOptionGraphicsItem const* option, QWidget* widget) override;

    void setArrowPoint(QPointF const& start, QPointF const& end);
    void setItemPaintStatus(ItemPaintStatus status);
    ItemPaintStatus getItemPaintStatus() const { return paintStatus_; }
    bool isCanEdit(QPointF const& p) const;
    QPointF startPoint() const { return start_; }
    QPointF endPoint() const { return end_; }

    // Head (tip, P1, P2) and shaft (start, Q1, Q2) for a line width.
    static void arrowPolygons(QPointF const& start, QPointF const& end, int width, QPolygonF& head,
                              QPolygonF& shaft);

protected:
    void mousePressEvent(QGraphicsSceneMouseEvent* event) override;
    void mouseMoveEvent(QGraphicsSceneMouseEvent* event) override;
    void mouseReleaseEvent(QGraphicsSceneMouseEvent* event) override;

private:
    void updateExtent();

    QPainterPath path_;
    QPointF start_;
    QPointF end_;
    QPointF last_;
    QRectF endHandle_;
    QRectF startHandle_;
    QRectF extent_;
    int draggedEnd_;
    int dragMode_;
    ItemPaintStatus paintStatus_;
};

#endif // ARROWGRAPHICITEM_H
