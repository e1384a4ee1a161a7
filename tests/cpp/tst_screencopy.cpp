#include "testsupport.h"

#include "wlroots/screencopy.h"

// A copy made upside down or of a turned output comes out the way the desktop shows it (the
// plain turns are compared with grim by the Wayland end-to-end tests; sway never copies
// upside down).
class TestScreencopy : public QObject {
    Q_OBJECT

    using Rows = QVector<QVector<int>>;

    static Rows rows(const QImage& image) {
        Rows out;
        for (int y = 0; y < image.height(); ++y) {
            out << QVector<int>();
            for (int x = 0; x < image.width(); ++x)
                out.last() << qRed(image.pixel(x, y));
        }
        return out;
    }

private slots:
    void orientation_data() {
        QTest::addColumn<int>("transform");
        QTest::addColumn<bool>("yInverted");
        QTest::addColumn<Rows>("shown");
        QTest::newRow("upside down") << 0 << true << Rows{{4, 5, 6}, {1, 2, 3}};
        QTest::newRow("90, upside down") << 1 << true << Rows{{1, 4}, {2, 5}, {3, 6}};
        QTest::newRow("flipped 90") << 5 << false << Rows{{1, 4}, {2, 5}, {3, 6}};
        QTest::newRow("flipped 270, upside down") << 7 << true << Rows{{3, 6}, {2, 5}, {1, 4}};
    }

    void orientation() {
        QFETCH(int, transform);
        QFETCH(bool, yInverted);
        QFETCH(Rows, shown);
        QImage copy(3, 2, QImage::Format_RGB32);
        for (int i = 0; i < 6; ++i)
            copy.setPixel(i % 3, i / 3, qRgb(i + 1, 0, 0));
        QCOMPARE(rows(Screencopy::orient(copy, transform, yInverted)), shown);
    }
};

QTEST_MAIN(TestScreencopy)
#include "tst_screencopy.moc"
