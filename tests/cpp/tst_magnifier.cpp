#include "testsupport.h"

#include "magnifyingglassgraphicsitem.h"
#include "screenshotgraphicsitem.h"
#include "screenshotsizegraphicitem.h"

#include <cstdio>

namespace {

const char* const kProbe = "--locale-probe";

// Runs in a child started with a given locale: reports what the panel made of it.
int runLocaleProbe(int argc, char** argv) {
    QApplication app(argc, argv);
    QImage piece(30, 30, QImage::Format_RGB32);
    piece.fill(qRgb(1, 2, 3));
    piece.setPixel(15, 15, qRgb(0xAB, 0x0C, 0xEF));
    MagnifyingGlassGraphicsitem glass;
    glass.setPixmap(QPointF(5, 6), QPoint(812, 440), QPointF(812, 440), QPixmap::fromImage(piece));
    std::printf("%.3f\n%s", glass.panelRect().width() - 100 * DefualtBaseDate::instance()->scale,
                glass.infoText().toUtf8().constData());
    return 0;
}

} // namespace

// The magnifier's text and panel width follow the system locale; its piece is the 30 x 30
// device pixels around the cursor, black beyond the screenshot. Placement and the cursor
// pixel at scale 1 are checked end to end.
class TestMagnifier : public QObject {
    Q_OBJECT
private slots:
    void cleanup() { ts::resetManager(); }

    void panelFollowsSystemLocale_data() {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QString>("expected");
        const QString en =
            "15.000\nPOS:(812,440)\nRGB:#ab0cef\nHold down the mouse\nto select the area";
        QTest::newRow("en_US") << "en_US.UTF-8" << en;
        QTest::newRow("zh_CN")
            << "zh_CN.UTF-8"
            << QString::fromUtf8(
                   "0.000\n坐标: (812,440)\nRGB:#ab0cef\n按住鼠标左键选择\n截图区域 ");
        QTest::newRow("zh_TW is not Chinese here") << "zh_TW.UTF-8" << en;
    }
    void panelFollowsSystemLocale() {
        QFETCH(QString, locale);
        QFETCH(QString, expected);
        QProcess child;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("LC_ALL", locale);
        env.insert("LANG", locale);
        env.insert("LANGUAGE", locale.left(5));
        child.setProcessEnvironment(env);
        child.start(QCoreApplication::applicationFilePath(), {kProbe});
        QVERIFY(child.waitForFinished(60000));
        QCOMPARE(child.exitCode(), 0);
        QCOMPARE(QString::fromUtf8(child.readAllStandardOutput()).trimmed(), expected.trimmed());
    }

    void cropAroundCursor_data() {
        QTest::addColumn<int>("ratio");
        QTest::addColumn<QPointF>("cursor");
        QTest::newRow("1x top-left corner") << 1 << QPointF(1, 1);
        QTest::newRow("2x middle") << 2 << QPointF(123, 77);
        QTest::newRow("2x near right edge") << 2 << QPointF(395, 290);
    }
    void cropAroundCursor() {
        QFETCH(int, ratio);
        QFETCH(QPointF, cursor);
        QGraphicsScene scene(0, 0, 400, 300);
        QGraphicsView view;
        ts::setupView(view, &scene, QSize(400, 300));
        auto* frame = new ScreenShotGraphicsItem;
        auto* glass = new MagnifyingGlassGraphicsitem;
        scene.addItem(frame);
        scene.addItem(glass);
        frame->setMagnifyingGlassItem(glass);
        frame->setScreenRect(QRect(0, 0, 400, 300));
        const QImage shot = ts::patternImage(400 * ratio, 300 * ratio);
        QPixmap pixmap = QPixmap::fromImage(shot);
        pixmap.setDevicePixelRatio(ratio);
        frame->setScreenPixmap(&pixmap);
        frame->setMagnifyingGlassPosition(cursor, false);
        const QPoint v = view.mapFromScene(cursor), q = v * ratio;
        QImage expected(30, 30, QImage::Format_RGB32);
        expected.fill(Qt::black);
        QPainter(&expected).drawImage(0, 0, shot, q.x() - 15, q.y() - 15, 30, 30);
        QCOMPARE(glass->piece().toImage().convertToFormat(QImage::Format_RGB32), expected);
        QCOMPARE(
            glass->infoText().section('\n', 0, 1),
            QString("POS:(%1,%2)\nRGB:%3").arg(v.x()).arg(v.y()).arg(QColor(shot.pixel(q)).name()));
        scene.removeItem(frame);
        delete frame;
    }

    // The region's size box reads over a light desktop: white text on a dark box.
    void sizeBoxIsDark() {
        QImage img(100, 20, QImage::Format_RGB32);
        img.fill(Qt::white);
        QPainter painter(&img);
        paintSizeBox(&painter, QRectF(0, 0, 100, 20), 0, QString());
        painter.end();
        QVERIFY(qGray(img.pixel(50, 10)) < 128);
    }
};

int main(int argc, char** argv) {
    if (argc > 1 && qstrcmp(argv[1], kProbe) == 0)
        return runLocaleProbe(argc, argv);
    // The checks in this process expect the English panel.
    qputenv("LC_ALL", "en_US.UTF-8");
    qputenv("LANG", "en_US.UTF-8");
    QApplication app(argc, argv);
    TestMagnifier tc;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&tc, argc, argv);
}

#include "tst_magnifier.moc"
