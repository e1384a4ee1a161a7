#include "testsupport.h"

#include "diagrambasescene.h"
#include "linuxdiagramscene.h"
#include "mainwindow.h"
#include "paintramscene.h"
#include "screentoolframe.h"
#include "showsizewidget.h"

namespace {
const int W = 2560, H = 1600;
}

class TestMainWindow : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void toolbarPlacement_data();
    void toolbarPlacement();
    void popupPlacement_data();
    void popupPlacement();
    void annotationViewGeometry();
    void confirmCopiesCropAndResets();
    void cancelAndEmptyConfirm();

private:
    // Drags out a region between two viewport pixels of the selection view.
    void select(QPoint from, QPoint to);

    MainWindow* window = nullptr;
    QImage shot;
    int T = 0, TW = 0;
};

void TestMainWindow::init() {
    ts::resetManager();
    const double s = ts::scale();
    TW = int(338 * s);
    T = int(42 * s);
    window = new MainWindow;
    shot = ts::patternImage(W, H);
    window->setMainWindowRect(QRect(0, 0, W, H));
    window->setScreenPixmap(new QPixmap(QPixmap::fromImage(shot)));
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window));
}

void TestMainWindow::cleanup() {
    delete window; // also deletes the shared manager
    window = nullptr;
    QVERIFY(!StyleManager::manager);
}

void TestMainWindow::select(QPoint from, QPoint to) {
    ts::dragPx(window->selectionView()->viewport(), from, to);
    QTest::qWait(20); // let the frame repaint: the crop is taken from the last paint
}

void TestMainWindow::toolbarPlacement_data() {
    // Below the region's bottom-right corner, right-aligned to it (x clamped at 0); when the
    // corner is within T + 10 of the bottom, above the region, or inside it if that has no room
    // either. After the region is moved by (-30, -20) the toolbar follows.
    const int tw = int(338 * ts::scale()), t = int(42 * ts::scale());
    QTest::addColumn<QPoint>("from");
    QTest::addColumn<QPoint>("to");
    QTest::addColumn<QPoint>("expected");
    QTest::addColumn<QPoint>("afterMove");
    QTest::newRow("middle") << QPoint(1000, 600) << QPoint(1500, 900) << QPoint(1500 - tw, 910)
                            << QPoint(1470 - tw, 890);
    QTest::newRow("dragged up-left") << QPoint(1500, 900) << QPoint(1000, 600)
                                     << QPoint(1500 - tw, 910) << QPoint(1470 - tw, 890);
    QTest::newRow("right edge left of toolbar width")
        << QPoint(100, 600) << QPoint(400, 900) << QPoint(0, 910) << QPoint(0, 890);
    QTest::newRow("touching the bottom: above") << QPoint(1000, 1200) << QPoint(1500, 1590)
                                                << QPoint(1500 - tw, 1200 - t - 10)
                                                << QPoint(1470 - tw, 1180 - t - 10);
    QTest::newRow("tall, touching bottom and top: inside")
        << QPoint(1000, 40) << QPoint(1500, 1590) << QPoint(1500 - tw, 1590 - t - 10)
        << QPoint(1470 - tw, 1570 - t - 10);
}

void TestMainWindow::toolbarPlacement() {
    QFETCH(QPoint, from);
    QFETCH(QPoint, to);
    QFETCH(QPoint, expected);
    QFETCH(QPoint, afterMove);
    QVERIFY(!window->toolBar()->isVisible());
    select(from, to);
    QVERIFY(window->toolBar()->isVisible());
    QCOMPARE(window->toolBar()->size(), QSize(TW, T));
    QCOMPARE(window->toolBar()->pos(), expected);

    // Pressing inside the region hides the toolbar; the release brings it back at the
    // region's new corner.
    QWidget* vp = window->selectionView()->viewport();
    const QPoint grab((from.x() + to.x()) / 2, (from.y() + to.y()) / 2);
    QTest::mousePress(vp, Qt::LeftButton, {}, grab);
    QVERIFY(!window->toolBar()->isVisible());
    QTest::mouseMove(vp, grab + QPoint(-30, -20));
    QTest::mouseRelease(vp, Qt::LeftButton, {}, grab + QPoint(-30, -20));
    QVERIFY(window->toolBar()->isVisible());
    QCOMPARE(window->toolBar()->pos(), afterMove);
}

void TestMainWindow::popupPlacement_data() {
    QTest::addColumn<QPoint>("from");
    QTest::addColumn<QPoint>("to");
    QTest::addColumn<QPoint>("toolbar");
    QTest::addColumn<QPoint>("popup");
    const int tw = int(338 * ts::scale()), t = int(42 * ts::scale()), p = int(46 * ts::scale());
    QTest::newRow("below the toolbar") << QPoint(1000, 600) << QPoint(1500, 900)
                                       << QPoint(1500 - tw, 910) << QPoint(1500 - tw, 910 + t + 10);
    QTest::newRow("toolbar moves above for the popup")
        << QPoint(1000, 1300) << QPoint(1500, 1450) << QPoint(1500 - tw, 1300 - t - 10)
        << QPoint(1500 - tw, 1300 - t - 20 - p);
    QTest::newRow("tall region: both inside")
        << QPoint(1000, 100) << QPoint(1500, 1500) << QPoint(1500 - tw, 1500 - t - 10)
        << QPoint(1500 - tw, 1500 - t - 20 - p);
}

void TestMainWindow::popupPlacement() {
    QFETCH(QPoint, from);
    QFETCH(QPoint, to);
    QFETCH(QPoint, toolbar);
    QFETCH(QPoint, popup);
    select(from, to);
    QTest::mouseClick(window->toolBar()->button("tool_square"), Qt::LeftButton);
    QCOMPARE(window->toolBar()->pos(), toolbar);
    QWidget* rectPopup = StyleManager::instance()->getPopup(PaintShapesRectangle);
    QVERIFY(rectPopup->isVisible());
    QCOMPARE(rectPopup->pos(), popup);

    // A second tool keeps the annotation view and swaps the popup in place.
    QTest::mouseClick(window->toolBar()->button("tool_text"), Qt::LeftButton);
    QVERIFY(!rectPopup->isVisible());
    QWidget* fontPopup = StyleManager::instance()->getPopup(PaintShapesText);
    QVERIFY(fontPopup->isVisible());
    QCOMPARE(fontPopup->pos(), popup);
}

void TestMainWindow::annotationViewGeometry() {
    select(QPoint(1000, 600), QPoint(1503, 901));
    QTest::mouseClick(window->toolBar()->button("tool_circle"), Qt::LeftButton);
    // The window places its children by the selection view's own coordinates.
    const QPoint p(1000, 600);
    QCOMPARE(window->annotationFrame()->geometry(), QRect(p.x() - 1, p.y() - 1, 505, 303));
    QCOMPARE(window->annotationView()->geometry(), QRect(1, 1, 503, 301));
    QCOMPARE(window->annotationScene()->sceneRect(), QRectF(-251.5, -150.5, 503, 301));
    QCOMPARE(window->sizeDisplay()->pos(),
             QPoint(p.x() - 1, int(p.y() - 20 * ts::scale() - 10)));
    QCOMPARE(window->sizeDisplay()->text(), QString("503 x 301"));
    QVERIFY(window->annotationView()->isVisible());
    QVERIFY(!window->selectionView()->isVisible());
}

void TestMainWindow::confirmCopiesCropAndResets() {
    QSignalSpy exits(window, &MainWindow::mainWindowExit);
    select(QPoint(1000, 600), QPoint(1500, 900));
    QTest::mouseClick(window->toolBar()->button("tool_confirm"), Qt::LeftButton);
    QCOMPARE(exits.count(), 1);
    QCOMPARE(exits.at(0).at(0).toInt(), 1);

    QCOMPARE(ts::rgb32(QApplication::clipboard()->image()), shot.copy(1000, 600, 500, 300));

    // Back to the initial state.
    QVERIFY(!window->toolBar()->isVisible());
    QCOMPARE(window->selectionScene()->selectStatus(), 0);
    QVERIFY(!window->selectionScene()->isCanGetPixmap());
}

void TestMainWindow::cancelAndEmptyConfirm() {
    QSignalSpy exits(window, &MainWindow::mainWindowExit);
    QImage sentinel(3, 3, QImage::Format_RGB32);
    sentinel.fill(qRgb(9, 8, 7));
    QApplication::clipboard()->setImage(sentinel);

    // Nothing selected: exit 0 and the clipboard keeps what it had.
    window->slotFinishScreenshots();
    QCOMPARE(exits.count(), 1);
    QCOMPARE(exits.at(0).at(0).toInt(), 0);
    QCOMPARE(ts::rgb32(QApplication::clipboard()->image()), sentinel);

    // A fresh session, then cancel from the toolbar.
    window->setMainWindowRect(QRect(0, 0, W, H));
    window->setScreenPixmap(new QPixmap(QPixmap::fromImage(shot)));
    select(QPoint(700, 500), QPoint(900, 650));
    QVERIFY(window->toolBar()->isVisible());
    QTest::mouseClick(window->toolBar()->button("tool_cancel"), Qt::LeftButton);
    QCOMPARE(exits.count(), 2);
    QCOMPARE(exits.at(1).at(0).toInt(), 0);
    QCOMPARE(ts::rgb32(QApplication::clipboard()->image()), sentinel);
    QVERIFY(!window->toolBar()->isVisible());
}

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
