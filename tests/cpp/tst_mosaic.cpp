#include "testsupport.h"

#include "mosaicgraphicsitem.h"

namespace {

// Whole b x b blocks only; the "red" sum keeps the alpha byte (value >> 16, unmasked).
QImage referencePixelate(QImage const& in, int b) {
    QImage out = in.copy();
    if (b <= 0)
        return out;
    for (int y0 = 0; y0 + b <= in.height(); y0 += b) {
        for (int x0 = 0; x0 + b <= in.width(); x0 += b) {
            quint32 r = 0, g = 0, bl = 0;
            for (int y = y0; y < y0 + b; ++y) {
                for (int x = x0; x < x0 + b; ++x) {
                    const quint32 v = in.pixel(x, y);
                    r += v >> 16;
                    g += (v >> 8) & 0xff;
                    bl += v & 0xff;
                }
            }
            const quint32 n = quint32(b * b);
            const quint32 value = ((r / n) << 16) + ((g / n) << 8) + bl / n;
            for (int y = y0; y < y0 + b; ++y)
                for (int x = x0; x < x0 + b; ++x)
                    out.setPixel(x, y, value);
        }
    }
    return out;
}

} // namespace

class TestMosaic : public QObject {
    Q_OBJECT
private slots:
    void cleanup() { ts::resetManager(); }

    void pixelateMatchesReference_data();
    void pixelateMatchesReference();
    void alphaRidesInTheRedSum();
    void setImageScalesToSceneAndPixelates();
    void meansAndAdaptation();
};

void TestMosaic::pixelateMatchesReference_data() {
    QTest::addColumn<int>("format");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<int>("block");
    const QSize sizes[] = {{37, 23}, {64, 48}, {5, 5}, {4, 9}, {1, 1}, {81, 17}};
    for (QImage::Format f : {QImage::Format_ARGB32, QImage::Format_RGB32})
        for (QSize sz : sizes)
            for (int b : {0, 1, 5, 8})
                QTest::addRow("%s %dx%d b%d", f == QImage::Format_ARGB32 ? "argb" : "rgb",
                              sz.width(), sz.height(), b)
                    << int(f) << sz << b;
}

void TestMosaic::pixelateMatchesReference() {
    QFETCH(int, format);
    QFETCH(QSize, size);
    QFETCH(int, block);
    const QImage src = ts::randomImage(size.width(), size.height(), QImage::Format(format),
                                       quint32(size.width() * 131 + size.height() * 7 + block));
    const QImage expected = referencePixelate(src, block);
    QCOMPARE(MosaicGraphicsItem::pixelate(src, block), expected);
    QCOMPARE(MosaicGraphicsItem::pixelatePerPixel(src, block), expected);
}

void TestMosaic::alphaRidesInTheRedSum() {
    // One 2x2 block: two opaque pixels, two fully transparent ones.
    QImage img(2, 2, QImage::Format_ARGB32);
    img.setPixel(0, 0, qRgba(200, 10, 20, 255));
    img.setPixel(1, 0, qRgba(100, 30, 40, 255));
    img.setPixel(0, 1, qRgba(0, 50, 60, 0));
    img.setPixel(1, 1, qRgba(0, 70, 80, 0));
    const QImage out = MosaicGraphicsItem::pixelate(img, 2);
    // red sum = 2 * 0xff00 + 300 = 0x1FF2C; / 4 = 0x7FCB -> alpha 0x7F, red 0xCB.
    QCOMPARE(out.pixel(1, 1), qRgba(0xCB, 40, 50, 0x7F));
}

void TestMosaic::setImageScalesToSceneAndPixelates() {
    const int b = int(4 * ts::scale());
    QCOMPARE(MosaicGraphicsItem::blockSize(), b);
    QGraphicsScene scene(-20, -12, 42, 26);
    auto* item = new MosaicGraphicsItem;
    scene.addItem(item);
    item->initPoint();
    QCOMPARE(item->boundingRect(), QRectF(-20, -12, 42, 26));
    QVERIFY(!item->contains(QPointF(0, 0)));

    const QImage src = ts::randomImage(90, 50, QImage::Format_RGB32, 11);
    item->setImage(src);
    const QImage scaled = src.scaled(42, 26, Qt::IgnoreAspectRatio, Qt::FastTransformation);
    QCOMPARE(item->pixelatedImage(), referencePixelate(scaled, b));
    scene.removeItem(item);
    delete item;
}

void TestMosaic::meansAndAdaptation() {
    QImage a(2, 2, QImage::Format_RGB32);
    a.setPixel(0, 0, qRgb(10, 20, 30));
    a.setPixel(1, 0, qRgb(30, 40, 50));
    a.setPixel(0, 1, qRgb(50, 60, 70));
    a.setPixel(1, 1, qRgb(71, 81, 91)); // sums 161, 201, 241: means truncate to 40, 50, 60
    long r, g, bl;
    MosaicGraphicsItem::computeMeans(a, r, g, bl);
    QCOMPARE((QVector<long>{r, g, bl}), (QVector<long>{40, 50, 60}));
    MosaicGraphicsItem::computeMeans(QImage(), r, g, bl);
    QCOMPARE(r + g + bl, 0L);

    // Adapting a to b's means (250, 200, 1) shifts red by +210 and blue by -59, clamped;
    // green stays.
    QImage b(1, 3, QImage::Format_RGB32);
    b.fill(qRgb(250, 200, 1));
    const QImage out = MosaicGraphicsItem::adaptImage(a, b);
    QCOMPARE(out.pixel(0, 0), qRgb(220, 20, 0));
    QCOMPARE(out.pixel(1, 0), qRgb(240, 40, 0));
    QCOMPARE(out.pixel(0, 1), qRgb(255, 60, 11));
    QCOMPARE(out.pixel(1, 1), qRgb(255, 81, 32));
}

QTEST_MAIN(TestMosaic)
#include "tst_mosaic.moc"
