#include "diagramtextitem.h"

#include "stylemanager.h"

#include <QDebug>
#include <QGraphicsSceneMouseEvent>
#include <QPainter>
#include <QStyleOptionGraphicsItem>
#include <QTextCursor>

DiagramTextItem::DiagramTextItem() : QGraphicsTextItem(nullptr) {
    setAcceptHoverEvents(false);
    setAcceptTouchEvents(true);
    StyleManager::instance()->textFlag = true;
}

DiagramTextItem::~DiagramTextItem() {
    // Undone or dropped while being typed in: Enter must confirm again. (Only one text is
    // open at a time; the manager may itself be going away.)
    if (paintStatus_ != PaintStatusFinished && StyleManager::manager)
        StyleManager::manager->textFlag = false;
}

void DiagramTextItem::setItemPaintStatus(ItemPaintStatus status) {
    prepareGeometryChange();
    paintStatus_ = status;
    if (status == PaintStatusFinished) {
        clearFocus();
        QTextCursor cursor = textCursor();
        cursor.clearSelection();
        setTextCursor(cursor);
        setTextInteractionFlags(Qt::NoTextInteraction);
        StyleManager::instance()->textFlag = false;
    }
}

bool DiagramTextItem::isCanMove() {
    return paintStatus_ == PaintStatusEditing &&
           (textInteractionFlags() & Qt::TextEditorInteraction) == 0;
}

bool DiagramTextItem::contains(QPointF const&) const {
    return true;
}

QRectF DiagramTextItem::boundingRect() const {
    return QGraphicsTextItem::boundingRect().adjusted(-5, -5, 5, 5);
}

QPainterPath DiagramTextItem::shape() const {
    QPainterPath path;
    path.addRect(QGraphicsTextItem::boundingRect());
    return path;
}

void DiagramTextItem::paint(QPainter* painter, QStyleOptionGraphicsItem const*, QWidget* widget) {
    StyleInfo* style = StyleManager::instance()->getGraphicItemStyleInfo(this);
    if (style) {
        // Comparing first avoids a relayout on every paint.
        if (font() != style->font)
            setFont(style->font);
        setDefaultTextColor(style->color);
        if (paintStatus_ != PaintStatusFinished) {
            painter->setPen(QPen(style->color));
            const QRectF frame = boundingRect();
            painter->drawRects(&frame, 1);
        }
    }
    QStyleOptionGraphicsItem plain;
    plain.state &= ~QStyle::State_HasFocus;
    QGraphicsTextItem::paint(painter, &plain, widget);
}

void DiagramTextItem::mouseDoubleClickEvent(QGraphicsSceneMouseEvent* event) {
    paintStatus_ = PaintStatusEditing;
    setTextInteractionFlags(Qt::TextEditorInteraction);
    setFocus(Qt::OtherFocusReason);
    StyleManager::instance()->textFlag = true;
    prepareGeometryChange();
    QGraphicsTextItem::mouseDoubleClickEvent(event);
}

void DiagramTextItem::mousePressEvent(QGraphicsSceneMouseEvent* event) {
    event->accept();
    QGraphicsTextItem::mousePressEvent(event);
}

void DiagramTextItem::mouseMoveEvent(QGraphicsSceneMouseEvent* event) {
    QGraphicsTextItem::mouseMoveEvent(event);
}

void DiagramTextItem::mouseReleaseEvent(QGraphicsSceneMouseEvent* event) {
    QGraphicsTextItem::mouseReleaseEvent(event);
}

void DiagramTextItem::focusInEvent(QFocusEvent* event) {
    QGraphicsTextItem::focusInEvent(event);
}

void DiagramTextItem::focusOutEvent(QFocusEvent* event) {
    QGraphicsTextItem::focusOutEvent(event);
}

void DiagramTextItem::dragMoveEvent(QGraphicsSceneDragDropEvent*) {
    qDebug() << "ddd";
}
