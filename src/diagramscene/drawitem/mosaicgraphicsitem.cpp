#include "mosaicgraphicsitem.h"

#include "defualtbasedate.h"
#include "stylemanager.h"

#include <QDebug>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QPainter>
#include <QStyleOptionGraphicsItem>
#include <algorithm>
#include <cstring>
#include <vector>

namespace {
// Strokes of one session pixelate the same screenshot: keep one shared result while any
// stroke lives instead of a full-size copy per stroke.
struct PixelCache {
    QImage input;
    QSize size;
    int block = -1;
    QImage source;
    QImage result;
};
PixelCache& pixelCache() {
    static PixelCache cache;
    return cache;
}
int liveItems = 0;
} // namespace

MosaicGraphicsItem::MosaicGraphicsItem() : QGraphicsItem(nullptr) {
    // The exposed rect lets a repaint skip the squares it does not touch.
    setFlag(ItemUsesExtendedStyleOption);
    ++liveItems;
}

MosaicGraphicsItem::~MosaicGraphicsItem() {
    if (--liveItems == 0)
        pixelCache() = PixelCache();
}

int MosaicGraphicsItem::blockSize() {
    return int(DefualtBaseDate::instance()->mosaicCell);
}

QRectF MosaicGraphicsItem::boundingRect() const {
    return bounding_;
}

bool MosaicGraphicsItem::contains(QPointF const&) const {
    return false;
}

void MosaicGraphicsItem::initPoint() {
    prepareGeometryChange();
    const QRectF sr = scene()->sceneRect();
    bounding_ = sr;
    minCorner_ = sr.bottomRight();
    maxCorner_ = sr.topLeft();
}

void MosaicGraphicsItem::setImage(QImage const& image) {
    const QRect r = scene()->sceneRect().toRect();
    const int w = r.width(), h = r.height();
    const int rw = w % 4, rh = h % 4;
    qDebug() << "ff" << (rw > 0 ? w + 4 - rw : rw) << (rh > 0 ? h + 4 - rh : rh);
    PixelCache& cache = pixelCache();
    // Pixelated in the picture's own pixels, in blocks as large on screen as at ratio 1.
    ratio_ = image.devicePixelRatio();
    const QSize size(qRound(w * ratio_), qRound(h * ratio_));
    const int block = int(blockSize() * ratio_);
    if (!cache.input.isNull() && cache.input.cacheKey() == image.cacheKey() && cache.size == size &&
        cache.block == block) {
        sourceImage_ = cache.source;
        mosaicImage_ = cache.result;
        return;
    }
    sourceImage_ = image.size() == size
                       ? image
                       : image.scaled(size, Qt::IgnoreAspectRatio, Qt::FastTransformation);
    mosaicImage_ = pixelate(sourceImage_, block);
    cache = PixelCache{image, size, block, sourceImage_, mosaicImage_};
}

void MosaicGraphicsItem::changePoint(QPointF const& p) {
    points_.append(p);
    // The bounds (the whole region) stay as they are: only the new square needs painting,
    // not every square of every stroke below it.
    update(squareAt(p, squareSide()).adjusted(-1, -1, 1, 1));
}

int MosaicGraphicsItem::squareSide() const {
    StyleManager* manager = StyleManager::instance();
    StyleInfo* style = manager->getGraphicItemStyleInfo(this);
    return (style ? style->width : 0) * manager->getMosaicMultiplier();
}

QRectF MosaicGraphicsItem::squareAt(QPointF const& p, int side) {
    const int half = side / 2;
    return QRectF(int(p.x() - half), int(p.y() - half), side, side);
}

void MosaicGraphicsItem::mosaic(QImage const& image) {
    mosaicImage_ = pixelate(image, blockSize());
}

static inline quint32 blockValue(quint32 red, quint32 green, quint32 blue, quint32 n) {
    return ((red / n) << 16) + ((green / n) << 8) + blue / n;
}

QImage MosaicGraphicsItem::pixelatePerPixel(QImage const& image, int block) {
    QImage out = image.copy();
    if (block <= 0)
        return out;
    const int cols = image.width() / block, rows = image.height() / block;
    if (rows < 1 || cols < 1)
        return out;
    const quint32 n = quint32(block) * quint32(block);
    for (int k = 0; k < rows; ++k) {
        for (int j = 0; j < cols; ++j) {
            quint32 red = 0, green = 0, blue = 0;
            for (int y = k * block; y < k * block + block; ++y) {
                for (int x = j * block; x < j * block + block; ++x) {
                    // The whole ARGB value: the unmasked shift carries alpha into the red sum.
                    const quint32 v = image.pixelColor(x, y).rgba();
                    red += v >> 16;
                    green += (v >> 8) & 0xff;
                    blue += v & 0xff;
                }
            }
            const quint32 value = blockValue(red, green, blue, n);
            for (int y = k * block; y < k * block + block; ++y)
                for (int x = j * block; x < j * block + block; ++x)
                    out.setPixel(x, y, value);
        }
    }
    return out;
}

QImage MosaicGraphicsItem::pixelate(QImage const& image, int block) {
    const QImage::Format format = image.format();
    // Lanes of 16 bits hold one row of a block: wider blocks take the plain path.
    if ((format != QImage::Format_RGB32 && format != QImage::Format_ARGB32) || block > 256)
        return pixelatePerPixel(image, block);
    const int width = image.width(), height = image.height();
    const int cols = block > 0 ? width / block : 0, rows = block > 0 ? height / block : 0;
    if (rows < 1 || cols < 1)
        return image.copy();
    QImage out(width, height, format);
    out.setDevicePixelRatio(image.devicePixelRatio());
    out.setDotsPerMeterX(image.dotsPerMeterX());
    out.setDotsPerMeterY(image.dotsPerMeterY());
    // RGB32 reads as opaque whatever its padding byte holds.
    const quint32 alphaMask = format == QImage::Format_RGB32 ? 0xff000000u : 0u;
    const quint32 n = quint32(block) * quint32(block);
    const int span = cols * block;
    const size_t strip = size_t(width - span) * sizeof(quint32);
    std::vector<quint32> alpha(static_cast<size_t>(cols)), red(alpha), green(alpha), blue(alpha);
    std::vector<quint32> packedRB(alpha), packedAG(alpha);
    std::vector<quint32> fill(static_cast<size_t>(span));
    // Two channels per 32-bit word (red|blue and alpha|green); a 16-bit lane holds up to
    // 257 pixels, so the packed sums are unpacked every that many rows of a block.
    const int rowsPerUnpack = std::max(1, 256 / block);
    auto unpack = [&]() {
        for (int j = 0; j < cols; ++j) {
            alpha[size_t(j)] += packedAG[size_t(j)] >> 16;
            green[size_t(j)] += packedAG[size_t(j)] & 0xffffu;
            red[size_t(j)] += packedRB[size_t(j)] >> 16;
            blue[size_t(j)] += packedRB[size_t(j)] & 0xffffu;
            packedRB[size_t(j)] = packedAG[size_t(j)] = 0;
        }
    };
    for (int k = 0; k < rows; ++k) {
        std::fill(alpha.begin(), alpha.end(), 0u);
        std::fill(red.begin(), red.end(), 0u);
        std::fill(green.begin(), green.end(), 0u);
        std::fill(blue.begin(), blue.end(), 0u);
        for (int i = 0; i < block; ++i) {
            const quint32* line =
                reinterpret_cast<const quint32*>(image.constScanLine(k * block + i));
            for (int j = 0; j < cols; ++j) {
                quint32 rb = packedRB[size_t(j)], ag = packedAG[size_t(j)];
                const quint32* p = line + j * block;
                for (int x = 0; x < block; ++x) {
                    const quint32 v = p[x] | alphaMask;
                    rb += v & 0x00ff00ffu;
                    ag += (v >> 8) & 0x00ff00ffu;
                }
                packedRB[size_t(j)] = rb;
                packedAG[size_t(j)] = ag;
            }
            if ((i + 1) % rowsPerUnpack == 0 || i + 1 == block)
                unpack();
        }
        for (int j = 0; j < cols; ++j) {
            // The red sum keeps the alpha byte above it (alpha * 256 + red), as the shifted
            // ARGB value does, so the average alpha lands back in the top byte.
            const quint32 redSum = alpha[size_t(j)] * 256u + red[size_t(j)];
            const quint32 value =
                blockValue(redSum, green[size_t(j)], blue[size_t(j)], n) | alphaMask;
            std::fill_n(fill.begin() + j * block, block, value);
        }
        for (int y = k * block; y < k * block + block; ++y) {
            uchar* dst = out.scanLine(y);
            std::memcpy(dst, fill.data(), size_t(span) * sizeof(quint32));
            if (strip)
                std::memcpy(dst + size_t(span) * sizeof(quint32),
                            image.constScanLine(y) + size_t(span) * sizeof(quint32), strip);
        }
    }
    for (int y = rows * block; y < height; ++y)
        std::memcpy(out.scanLine(y), image.constScanLine(y), size_t(width) * sizeof(quint32));
    return out;
}

void MosaicGraphicsItem::paint(QPainter* painter, QStyleOptionGraphicsItem const* option,
                               QWidget*) {
    if (points_.isEmpty() || !scene() || scene()->views().isEmpty())
        return;
    const int m = squareSide(), half = m / 2;
    QGraphicsView* view = scene()->views().at(0);
    const QRectF exposed = option ? option->exposedRect : boundingRect();
    for (QPointF const& p : points_) {
        const QRectF target = squareAt(p, m);
        if (!target.intersects(exposed))
            continue;
        const QPoint q = view->mapFromScene(p);
        const QRectF source((q.x() - half) * ratio_, (q.y() - half) * ratio_, m * ratio_,
                            m * ratio_);
        painter->drawImage(target, mosaicImage_, source);
    }
}

QPointF MosaicGraphicsItem::maxPoint1(QPointF const& a, QPointF const& b) {
    return QPointF(std::max(a.x(), b.x()), std::max(a.y(), b.y()));
}

QPointF MosaicGraphicsItem::minPoint1(QPointF const& a, QPointF const& b) {
    return QPointF(std::min(a.x(), b.x()), std::min(a.y(), b.y()));
}

void MosaicGraphicsItem::computeMeans(QImage const& image, long& red, long& green, long& blue) {
    red = green = blue = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QRgb v = image.pixel(x, y);
            red += qRed(v);
            green += qGreen(v);
            blue += qBlue(v);
        }
    }
    const qint64 n = qint64(qint32(image.width() * image.height()));
    if (n == 0)
        return;
    red = long(qint64(red) / n);
    green = long(qint64(green) / n);
    blue = long(qint64(blue) / n);
}

QImage MosaicGraphicsItem::adaptImage(QImage const& a, QImage const& b) {
    long rb, gb, bb, ra, ga, ba;
    computeMeans(b, rb, gb, bb);
    computeMeans(a, ra, ga, ba);
    QImage out = a.copy();
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            const QRgb v = a.pixel(x, y);
            const long r = std::clamp(long(qRed(v)) + rb - ra, 0L, 255L);
            const long bl = std::clamp(long(qBlue(v)) + bb - ba, 0L, 255L);
            // Green is left as it is, although its means are known.
            out.setPixel(x, y,
                         0xFF000000u | quint32(r << 16) | quint32(qGreen(v) << 8) | quint32(bl));
        }
    }
    return out;
}
