#include "testsupport.h"

#include "mosaicgraphicsitem.h"

// The packed fast path against the plain one, on sizes, formats and block sizes the end-to-end
// test (RGB32 at one block size, block means checked pixel by pixel) does not reach.
class TestMosaic : public QObject {
    Q_OBJECT
private slots:
    void fastPathMatchesPlainPath_data() {
        QTest::addColumn<int>("format");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<int>("block");
        for (QImage::Format f : {QImage::Format_ARGB32, QImage::Format_RGB32})
            for (QSize sz : {QSize(37, 23), QSize(64, 48), QSize(5, 5), QSize(4, 9), QSize(1, 1)})
                for (int b : {0, 1, 5, 8})
                    QTest::addRow("%d %dx%d b%d", int(f), sz.width(), sz.height(), b)
                        << int(f) << sz << b;
    }
    void fastPathMatchesPlainPath() {
        QFETCH(int, format);
        QFETCH(QSize, size);
        QFETCH(int, block);
        const QImage src = ts::randomImage(size.width(), size.height(), QImage::Format(format),
                                           quint32(size.width() * 131 + size.height() * 7 + block));
        QCOMPARE(MosaicGraphicsItem::pixelate(src, block),
                 MosaicGraphicsItem::pixelatePerPixel(src, block));
    }
};

QTEST_MAIN(TestMosaic)
#include "tst_mosaic.moc"
