#include "testsupport.h"

#include "magnifyingglassgraphicsitem.h"
#include "screenshotgraphicsitem.h"

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
    std::printf("%s\n%.3f\n%.3f\n", glass.isChinese() ? "zh" : "other",
                glass.panelRect().width(), DefualtBaseDate::instance()->scale);
    std::fputs(glass.infoText().toUtf8().constData(), stdout);
    return 0;
}

} // namespace

class TestMagnifier : public QObject {
    Q_OBJECT
private slots:
    void cleanup() { ts::resetManager(); }

    void panelFollowsSystemLocale_data();
    void panelFollowsSystemLocale();
    void cropAroundCursor_data();
    void cropAroundCursor();
    void placementFlips_data();
    void placementFlips();
};

void TestMagnifier::panelFollowsSystemLocale_data() {
    QTest::addColumn<QString>("locale");
    QTest::addColumn<bool>("chinese");
    QTest::newRow("en_US") << "en_US.UTF-8" << false;
    QTest::newRow("zh_CN") << "zh_CN.UTF-8" << true;
    QTest::newRow("zh_TW is not Chinese here") << "zh_TW.UTF-8" << false;
}

void TestMagnifier::panelFollowsSystemLocale() {
    QFETCH(QString, locale);
    QFETCH(bool, chinese);
    QProcess child;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("LC_ALL", locale);
    env.insert("LANG", locale);
    env.insert("LANGUAGE", locale.left(5));
    child.setProcessEnvironment(env);
    child.start(QCoreApplication::applicationFilePath(), {kProbe});
    QVERIFY(child.waitForFinished(60000));
    QCOMPARE(child.exitCode(), 0);
    const QStringList out = QString::fromUtf8(child.readAllStandardOutput()).split('\n');
    QVERIFY2(out.size() >= 7, qPrintable(out.join('|')));
    QCOMPARE(out.at(0), QString(chinese ? "zh" : "other"));
    const double s = out.at(2).toDouble();
    QCOMPARE(out.at(1).toDouble(), 100 * s + (chinese ? 0 : 15));
    const QStringList info = out.mid(3, 4);
    if (chinese) {
        QCOMPARE(info.at(0), QString::fromUtf8("坐标: (812,440)"));
        QCOMPARE(info.at(2), QString::fromUtf8("按住鼠标左键选择"));
        QCOMPARE(info.at(3), QString::fromUtf8("截图区域 "));
    } else {
        QCOMPARE(info.at(0), QString("POS:(812,440)"));
        QCOMPARE(info.at(2), QString("Hold down the mouse"));
        QCOMPARE(info.at(3), QString("to select the area"));
    }
    QCOMPARE(info.at(1), QString("RGB:#ab0cef"));
}

void TestMagnifier::cropAroundCursor_data() {
    QTest::addColumn<int>("ratio");
    QTest::addColumn<QPointF>("cursor");
    QTest::newRow("1x middle") << 1 << QPointF(200, 150);
    QTest::newRow("2x middle") << 2 << QPointF(123, 77);
    QTest::newRow("1x top-left corner") << 1 << QPointF(1, 1);
    QTest::newRow("2x near right edge") << 2 << QPointF(395, 290);
}

void TestMagnifier::cropAroundCursor() {
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
    frame->setScreenPixmap(&pixmap);
    QCOMPARE(frame->horizontalRatio(), ratio);
    QCOMPARE(frame->verticalRatio(), ratio);

    frame->setMagnifyingGlassPosition(cursor, false);
    const QPoint v = view.mapFromScene(cursor);
    const QPoint q(ratio * v.x(), ratio * v.y());
    const QImage piece = glass->piece().toImage();
    QCOMPARE(piece.size(), QSize(30, 30));
    for (int y = 0; y < 30; ++y) {
        for (int x = 0; x < 30; ++x) {
            // The cursor pixel stays at (15, 15); beyond the screenshot's edges, black.
            const QPoint src(q.x() - 15 + x, q.y() - 15 + y);
            QCOMPARE(piece.pixel(x, y), shot.rect().contains(src) ? shot.pixel(src) : qRgb(0, 0, 0));
        }
    }
    const QStringList lines = glass->infoText().split('\n');
    QCOMPARE(lines.at(0), QString("POS:(%1,%2)").arg(v.x()).arg(v.y()));
    QCOMPARE(lines.at(1), "RGB:" + QColor(shot.pixel(q)).name());
    scene.removeItem(frame);
    delete frame;
}

void TestMagnifier::placementFlips_data() {
    // Panel width pw = int(100 s + 10) and height ph = int(145 s) at the layout scale s.
    const double s = ts::scale();
    const int pw = int(100 * s + 10), ph = int(145 * s);
    QTest::addColumn<QRectF>("selection");
    QTest::addColumn<QPointF>("cursor");
    QTest::addColumn<QPointF>("expected");
    const QRectF none(0, 0, 0, 0), sel(300, 300, 400, 200);
    QTest::newRow("middle: left-below") << none << QPointF(700, 400) << QPointF(700 - pw, 410);
    QTest::newRow("left edge flips right") << none << QPointF(60, 400) << QPointF(70, 410);
    QTest::newRow("bottom flips above") << none << QPointF(700, 960) << QPointF(700 - pw, 960 - ph);
    QTest::newRow("bottom-left both") << none << QPointF(30, 980) << QPointF(40, 980 - ph);
    QTest::newRow("bottom-right corner of selection") << sel << QPointF(700, 500) << QPointF(710, 510);
    QTest::newRow("top-right corner of selection") << sel << QPointF(700, 300) << QPointF(710, 310);
    QTest::newRow("corner too far right") << QRectF(1000, 300, 580, 200) << QPointF(1580, 500)
                                          << QPointF(1580 - pw, 510);
    QTest::newRow("bottom-left corner is not special") << sel << QPointF(300, 500)
                                                       << QPointF(300 - pw, 510);
}

void TestMagnifier::placementFlips() {
    QFETCH(QRectF, selection);
    QFETCH(QPointF, cursor);
    QFETCH(QPointF, expected);
    const double s = ts::scale();
    QGraphicsScene scene(0, 0, 1600, 1000);
    auto* frame = new ScreenShotGraphicsItem;
    scene.addItem(frame);
    frame->setScreenRect(QRect(0, 0, 1600, 1000));
    frame->setRect(selection);
    const int pw = int(100 * s + 10), ph = int(145 * s);
    QCOMPARE(frame->magnifierBounds(), QRectF(10, 0, 1600 - 10 - pw, 1000 - ph));
    QPointF g(cursor.x() - pw, cursor.y() + 10);
    frame->adjustPoint(g, cursor);
    QCOMPARE(g, expected);
}

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
