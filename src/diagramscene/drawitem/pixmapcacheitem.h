#ifndef PIXMAPCACHEITEM_H
#define PIXMAPCACHEITEM_H

#include <QGraphicsItem>
#include <QPixmap>

// Background of the annotation scene: the region, stretched over the whole scene.
class PixmapCacheItem : public QGraphicsItem {
public:
    PixmapCacheItem();

    void setShowPixmap(QPixmap const& pixmap);
    QRectF boundingRect() const override;
    QPainterPath shape() const override;
    bool contains(QPointF const& point) const override;
    void paint(QPainter* painter, QStyleOptionGraphicsItem const* option, QWidget* widget) override;

private:
    QPixmap pixmap_;
    QRectF rect_;
};

#endif // PIXMAPCACHEITEM_H
