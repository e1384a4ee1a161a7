#include "pixmapcacheitem.h"

#include <QGraphicsScene>
#include <QPainter>

PixmapCacheItem::PixmapCacheItem() : QGraphicsItem(nullptr) {}

void PixmapCacheItem::setShowPixmap(QPixmap const& pixmap) {
    prepareGeometryChange();
    pixmap_ = pixmap;
    const QRectF sr = scene() ? scene()->sceneRect() : QRectF();
    rect_ = QRectF(-sr.width() / 2, -sr.height() / 2, sr.width(), sr.height());
}

QRectF PixmapCacheItem::boundingRect() const {
    return rect_;
}

QPainterPath PixmapCacheItem::shape() const {
    QPainterPath path;
    path.addRect(boundingRect());
    return path;
}

bool PixmapCacheItem::contains(QPointF const&) const {
    return false;
}

void PixmapCacheItem::paint(QPainter* painter, QStyleOptionGraphicsItem const*, QWidget*) {
    painter->drawPixmap(rect_, pixmap_, QRectF(pixmap_.rect()));
}
