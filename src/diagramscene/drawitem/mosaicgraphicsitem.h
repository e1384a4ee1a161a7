#ifndef MOSAICGRAPHICSITEM_H
#define MOSAICGRAPHICSITEM_H

#include "drawdefine.h"

#include <QGraphicsItem>
#include <QImage>
#include <QVector>

// One mosaic stroke: reveals squares of a pixelated copy of the whole screenshot.
class MosaicGraphicsItem : public QGraphicsItem {
public:
    MosaicGraphicsItem();
    ~MosaicGraphicsItem() override;

    QRectF boundingRect() const override;
    bool contains(QPointF const& point) const override;
    void paint(QPainter* painter, QStyleOptionGraphicsItem const* option, QWidget* widget) override;

    void initPoint();
    void setImage(QImage const& image);
    void changePoint(QPointF const& p);
    void mosaic(QImage const& image);
    QImage const& pixelatedImage() const { return mosaicImage_; }
    QVector<QPointF> points() const { return points_; }

    static int blockSize();
    // Block averages over whole b x b blocks; strips narrower than b keep their pixels.
    static QImage pixelate(QImage const& image, int block);
    // The same, pixel by pixel through pixelColor; used for formats the fast path does not know.
    static QImage pixelatePerPixel(QImage const& image, int block);

    static QPointF maxPoint1(QPointF const& a, QPointF const& b);
    static QPointF minPoint1(QPointF const& a, QPointF const& b);
    static void computeMeans(QImage const& image, long& red, long& green, long& blue);
    static QImage adaptImage(QImage const& a, QImage const& b);

private:
    int squareSide() const;
    // The square a stroke point reveals, `side` pixels wide.
    static QRectF squareAt(QPointF const& p, int side);

    QRectF bounding_;
    QVector<QPointF> points_;
    QImage mosaicImage_;
    QImage sourceImage_;
    // Image pixels per scene unit.
    qreal ratio_ = 1;
    QPointF minCorner_;
    QPointF maxCorner_;
};

#endif // MOSAICGRAPHICSITEM_H
