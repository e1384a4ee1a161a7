#include "testsupport.h"

#include "desktopplatform.h"
#include "x11/x11screengrab.h"

// Reading the screen through shared memory, on the test's Xvfb: the same pixels as Qt's own
// grab, opaque, nothing outside the root, and no mapping left behind.
class TestScreenGrab : public QObject {
    Q_OBJECT

    static int grabMappings() {
        QFile maps("/proc/self/maps");
        if (!maps.open(QIODevice::ReadOnly))
            return -1;
        return maps.readAll().count("screencapture-grab");
    }

private slots:
    void samePixelsAsQtsGrab() {
        // A picture with every pixel distinct, on screen at a known place.
        const QImage pattern = ts::patternImage(400, 300);
        QLabel label;
        label.setWindowFlags(Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint);
        label.setPixmap(QPixmap::fromImage(pattern));
        label.setGeometry(130, 70, 400, 300);
        label.show();
        QVERIFY(QTest::qWaitForWindowExposed(&label));
        QScreen* screen = QGuiApplication::primaryScreen();
        QTRY_COMPARE(screen->grabWindow(0, 130, 70, 400, 300)
                         .toImage()
                         .convertToFormat(QImage::Format_RGB32),
                     pattern);

        for (const QRect& r :
             {QRect(100, 50, 600, 400), QRect(QPoint(), screen->size()), QRect(131, 71, 1, 1)}) {
            const QImage grabbed = X11ScreenGrab::grab(r);
            QCOMPARE(grabbed.format(), QImage::Format_RGB32);
            QCOMPARE(grabbed.size(), r.size());
            QCOMPARE(grabbed, screen->grabWindow(0, r.x(), r.y(), r.width(), r.height())
                                  .toImage()
                                  .convertToFormat(QImage::Format_RGB32));
            // Opaque whatever the server left in the byte above the colour.
            for (int y = 0; y < grabbed.height(); y += 7) {
                const QRgb* line = reinterpret_cast<const QRgb*>(grabbed.constScanLine(y));
                for (int x = 0; x < grabbed.width(); ++x)
                    QCOMPARE(qAlpha(line[x]), 255);
            }
        }
        QCOMPARE(X11ScreenGrab::grab(QRect(100, 50, 600, 400)).copy(30, 20, 400, 300), pattern);
    }

    void outsideTheRootGivesNothing() {
        const QSize root = QGuiApplication::primaryScreen()->size();
        QVERIFY(X11ScreenGrab::grab(QRect()).isNull());
        QVERIFY(X11ScreenGrab::grab(QRect(QPoint(-1, 0), root)).isNull());
        QVERIFY(X11ScreenGrab::grab(QRect(QPoint(1, 0), root)).isNull());
        QVERIFY(X11ScreenGrab::grab(QRect(0, root.height(), 10, 1)).isNull());
        // The whole desktop, and the overlay over all of it.
        FrozenDesktop frozen;
        QString why;
        QVERIFY(DesktopPlatform::current().freeze(0, &frozen, &why));
        QCOMPARE(frozen.picture.size(), root);
        QCOMPARE(frozen.rect, QRect(QPoint(), root));
    }

    // The picture owns its mapping: it goes with the last copy, and a pixmap keeps it.
    void mappingLivesWithThePicture() {
        QCOMPARE(grabMappings(), 0);
        {
            QImage image = X11ScreenGrab::grab(QRect(0, 0, 64, 64));
            QVERIFY(!image.isNull());
            QCOMPARE(grabMappings(), 1);
            const QPixmap pixmap = QPixmap::fromImage(std::move(image));
            QCOMPARE(grabMappings(), 1);
        }
        QCOMPARE(grabMappings(), 0);
        for (int i = 0; i < 20; ++i)
            QVERIFY(!X11ScreenGrab::grab(QRect(0, 0, 256, 256)).isNull());
        QCOMPARE(grabMappings(), 0);
    }
};

QTEST_MAIN(TestScreenGrab)
#include "tst_screengrab.moc"
