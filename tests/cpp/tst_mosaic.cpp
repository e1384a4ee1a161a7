#include "testsupport.h"

#include "mosaicgraphicsitem.h"

namespace {

// Whole b x b blocks only; the "red" sum keeps the alpha byte (value >> 16, unmasked).
QImage referencePixelate(QImage const& in, int b) {
    QImage out = in.copy();
    for (int y0 = 0; b > 0 && y0 + b <= in.height(); y0 += b) {
        for (int x0 = 0; x0 + b <= in.width(); x0 += b) {
            quint32 r = 0, g = 0, bl = 0;
            for (int y = y0; y < y0 + b; ++y) {
                for (int x = x0; x < x0 + b; ++x) {
                    const quint32 v = in.pixel(x, y);
                    r += v >> 16, g += (v >> 8) & 0xff, bl += v & 0xff;
                }
            }
            const quint32 n = quint32(b * b), value = ((r / n) << 16) + ((g / n) << 8) + bl / n;
            for (int y = y0; y < y0 + b; ++y)
                for (int x = x0; x < x0 + b; ++x)
                    out.setPixel(x, y, value);
        }
    }
    return out;
}

} // namespace

// Both pixelation paths against a plain reference, on sizes and formats the end-to-end test
// (RGB32 at one block size) does not reach.
class TestMosaic : public QObject {
    Q_OBJECT
private slots:
    void cleanup() { ts::resetManager(); }

    void pixelateMatchesReference_data() {
        QTest::addColumn<int>("format");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<int>("block");
        for (QImage::Format f : {QImage::Format_ARGB32, QImage::Format_RGB32})
            for (QSize sz : {QSize(37, 23), QSize(64, 48), QSize(5, 5), QSize(4, 9), QSize(1, 1)})
                for (int b : {0, 1, 5, 8})
                    QTest::addRow("%d %dx%d b%d", int(f), sz.width(), sz.height(), b)
                        << int(f) << sz << b;
    }
    void pixelateMatchesReference() {
        QFETCH(int, format);
        QFETCH(QSize, size);
        QFETCH(int, block);
        const QImage src = ts::randomImage(size.width(), size.height(), QImage::Format(format),
                                           quint32(size.width() * 131 + size.height() * 7 + block));
        const QImage expected = referencePixelate(src, block);
        QCOMPARE(MosaicGraphicsItem::pixelate(src, block), expected);
        QCOMPARE(MosaicGraphicsItem::pixelatePerPixel(src, block), expected);
    }

    void setImageScalesToSceneAndPixelates() {
        QGraphicsScene scene(-20, -12, 42, 26);
        auto* item = new MosaicGraphicsItem;
        scene.addItem(item);
        item->initPoint();
        QCOMPARE(item->boundingRect(), QRectF(-20, -12, 42, 26));
        const QImage src = ts::randomImage(90, 50, QImage::Format_RGB32, 11);
        item->setImage(src);
        const QImage scaled = src.scaled(42, 26, Qt::IgnoreAspectRatio, Qt::FastTransformation);
        QCOMPARE(item->pixelatedImage(), referencePixelate(scaled, int(4 * ts::scale())));
        scene.removeItem(item);
        delete item;
    }
};

QTEST_MAIN(TestMosaic)
#include "tst_mosaic.moc"
