#ifndef SHAPEBASEGRAPHICSITEM_H
#define SHAPEBASEGRAPHICSITEM_H

#include "drawdefine.h"

#include <QGraphicsItem>
#include <QMap>

// Box-shaped item with eight resize handles; the box stays in scene coordinates (item at 0,0).
class ShapeBaseGraphicsItem : public QGraphicsItem {
public:
    ShapeBaseGraphicsItem();
    ~ShapeBaseGraphicsItem() override;

    QRectF boundingRect() const override;
    QPainterPath shape() const override;
    bool contains(QPointF const& point) const override;
    void paint(QPainter* painter, QStyleOptionGraphicsItem const* option, QWidget* widget) override;

    virtual void customPaint(QPainter* painter, QRectF const& rect);

    void setRect(QRectF const& rect);
    QRectF getRect() const { return rect_; }
    void setItemPaintStatus(ItemPaintStatus status);
    ItemPaintStatus getItemPaintStatus() const { return paintStatus_; }
    void refreshDirectionMap();
    IremDirection getDirection(QPointF const& p) const;
    void determineDirection(QPointF const& cursor);
    bool isContains(QPointF const& p) const;
    bool isCanEdit(QPointF const& p) const;
    IremDirection currentDirection() const { return direction_; }
    int dragMode() const { return dragMode_; }

protected:
    void mousePressEvent(QGraphicsSceneMouseEvent* event) override;
    void mouseMoveEvent(QGraphicsSceneMouseEvent* event) override;
    void mouseReleaseEvent(QGraphicsSceneMouseEvent* event) override;

    // Every change of the box goes through here; the default repaints the old and new bounds.
    virtual void changeRect(QRectF const& next);
    double handleDiameter() const;
    // The outline of an annotation: its style's pen, and the band that catches the mouse.
    bool setStylePen(QPainter* painter) const;
    double outlineBandWidth() const;
    static QColor randomOpaqueColor();
    // Top-left, left, bottom-left, bottom, bottom-right, right, top-right, top.
    static void handlePoints(QRectF const& r, QPointF out[8]);

    QRectF rect_;
    QPointF anchor_;
    QPointF cursor_;
    QPointF last_;
    IremDirection direction_;
    QRectF handles_[8];
    QMap<QRectF*, IremDirection> directionMap_;
    int dragMode_;
    ItemPaintStatus paintStatus_;
    bool confineToScene_;
};

// Outline hit band of a box-shaped annotation: t = line width x layout scale.
QRectF outlineOuterRect(QRectF const& r, double t);
QRectF outlineInnerRect(QRectF const& r, double t);

#endif // SHAPEBASEGRAPHICSITEM_H
