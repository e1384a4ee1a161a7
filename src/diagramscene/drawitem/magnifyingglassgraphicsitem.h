#ifndef MAGNIFYINGGLASSGRAPHICSITEM_H
#define MAGNIFYINGGLASSGRAPHICSITEM_H

#include <QGraphicsItem>
#include <QPixmap>

// Enlarged 30 x 30 piece around the cursor with its position and colour.
class MagnifyingGlassGraphicsitem : public QGraphicsItem {
public:
    MagnifyingGlassGraphicsitem();
    ~MagnifyingGlassGraphicsitem() override;

    void setPixmap(QPointF const& topLeft, QPoint const& viewPoint, QPointF const& pixmapPoint,
                   QPixmap const& piece);
    static bool isChinese();
    // The four lines shown under the piece.
    QString infoText() const;
    QRectF panelRect() const { return rect_; }
    QPixmap piece() const { return piece_; }

    QRectF boundingRect() const override;
    bool contains(QPointF const& point) const override;
    void paint(QPainter* painter, QStyleOptionGraphicsItem const* option, QWidget* widget) override;

private:
    QRectF rect_;
    QPixmap piece_;
    QPoint viewPoint_;
    QPointF pixmapPoint_;
};

#endif // MAGNIFYINGGLASSGRAPHICSITEM_H
