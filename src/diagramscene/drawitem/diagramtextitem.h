#ifndef DIAGRAMTEXTITEM_H
#define DIAGRAMTEXTITEM_H

#include "drawdefine.h"

#include <QGraphicsTextItem>

// Text annotation typed in place; font and colour come from its style record.
class DiagramTextItem : public QGraphicsTextItem {
    Q_OBJECT
public:
    DiagramTextItem();
    ~DiagramTextItem() override;

    void setItemPaintStatus(ItemPaintStatus status);
    ItemPaintStatus getItemPaintStatus() const { return paintStatus_; }
    bool isCanMove();

    bool contains(QPointF const& point) const override;
    QRectF boundingRect() const override;
    QPainterPath shape() const override;
    void paint(QPainter* painter, QStyleOptionGraphicsItem const* option, QWidget* widget) override;

protected:
    void mouseDoubleClickEvent(QGraphicsSceneMouseEvent* event) override;
    void mousePressEvent(QGraphicsSceneMouseEvent* event) override;
    void mouseMoveEvent(QGraphicsSceneMouseEvent* event) override;
    void mouseReleaseEvent(QGraphicsSceneMouseEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void dragMoveEvent(QGraphicsSceneDragDropEvent* event) override;

private:
    ItemPaintStatus paintStatus_ = PaintStatusCreating;
};

#endif // DIAGRAMTEXTITEM_H
