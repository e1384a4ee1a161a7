#include "testsupport.h"

#include "linuxdiagramscene.h"
#include "mainwindow.h"
#include "paintramscene.h"
#include "screentoolframe.h"
#include "showsizewidget.h"

// The overlay window on a 2560 x 1600 screen (layout scale 2). Toolbar placement, the crop put
// on the clipboard and the annotation frame are checked end to end; here: where the popups go,
// the odd-sized annotation view, and the exits that leave the clipboard alone.
class TestMainWindow : public QObject {
    Q_OBJECT
    MainWindow* window = nullptr;
    QImage shot = ts::patternImage(2560, 1600);

    void select(QPoint from, QPoint to) {
        ts::dragPx(window->selectionView()->viewport(), from, to);
        QTest::qWait(20); // let the frame repaint: the crop is taken from the last paint
    }
    void reset() {
        window->setMainWindowRect(QRect(0, 0, 2560, 1600));
        window->setScreenPixmap(new QPixmap(QPixmap::fromImage(shot)));
    }

private slots:
    void init() {
        ts::resetManager();
        window = new MainWindow;
        reset();
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window));
    }
    void cleanup() {
        delete window; // also deletes the shared manager
        QVERIFY(!StyleManager::manager);
    }

    void popupPlacement_data() {
        QTest::addColumn<QPoint>("from");
        QTest::addColumn<QPoint>("to");
        QTest::addColumn<QPoint>("toolbar");
        QTest::addColumn<QPoint>("popup");
        const int tw = int(338 * ts::scale()), t = int(42 * ts::scale()), p = int(46 * ts::scale());
        QTest::newRow("below the toolbar")
            << QPoint(1000, 600) << QPoint(1503, 901) << QPoint(1503 - tw, 911)
            << QPoint(1503 - tw, 911 + t + 10);
        QTest::newRow("toolbar moves above for the popup")
            << QPoint(1000, 1300) << QPoint(1500, 1450) << QPoint(1500 - tw, 1300 - t - 10)
            << QPoint(1500 - tw, 1300 - t - 20 - p);
        QTest::newRow("tall region: both inside")
            << QPoint(1000, 100) << QPoint(1500, 1500) << QPoint(1500 - tw, 1500 - t - 10)
            << QPoint(1500 - tw, 1500 - t - 20 - p);
    }
    void popupPlacement() {
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
        if (from != QPoint(1000, 600))
            return;
        // An odd-sized region: the scene's origin sits on a half pixel at the region's centre.
        QCOMPARE(window->annotationFrame()->geometry(), QRect(999, 599, 505, 303));
        QCOMPARE(window->annotationView()->geometry(), QRect(1, 1, 503, 301));
        QCOMPARE(window->annotationScene()->sceneRect(), QRectF(-251.5, -150.5, 503, 301));
        QCOMPARE(window->sizeDisplay()->text(), QString("503 x 301"));
        QVERIFY(!window->selectionView()->isVisible());
    }

    void cancelAndEmptyConfirmKeepTheClipboard() {
        QSignalSpy exits(window, &MainWindow::mainWindowExit);
        QImage sentinel(3, 3, QImage::Format_RGB32);
        sentinel.fill(qRgb(9, 8, 7));
        QApplication::clipboard()->setImage(sentinel);
        window->slotFinishScreenshots(); // nothing selected: exit 0
        reset();
        select(QPoint(700, 500), QPoint(900, 650));
        QTest::mouseClick(window->toolBar()->button("tool_cancel"), Qt::LeftButton);
        QCOMPARE(QList<QList<QVariant>>(exits), (QList<QList<QVariant>>{{0}, {0}}));
        QCOMPARE(QApplication::clipboard()->image().convertToFormat(QImage::Format_RGB32),
                 sentinel);
        QVERIFY(!window->toolBar()->isVisible());
    }
};

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
