#include "testsupport.h"

#include "mainwindow.h"
#include "screentoolframe.h"

// The overlay window on a 2560 x 1600 screen (layout scale 2): the popups keep clear of the
// toolbar, repaints stay small, and the exits that leave the clipboard alone.
class TestMainWindow : public QObject {
    Q_OBJECT
    MainWindow* window = nullptr;
    QImage shot = ts::patternImage(2560, 1600);

    void select(QPoint from, QPoint to) {
        ts::dragPx(window->selectionView()->viewport(), from, to);
        QTest::qWait(20); // let the frame repaint: the crop is taken from the last paint
    }
    // Area the overlay repainted (its children are transparent, so it paints under them too).
    struct PaintArea : QObject {
        QWidget* target = nullptr;
        qint64 area = 0;
        bool eventFilter(QObject* o, QEvent* e) override {
            if (o == target && e->type() == QEvent::Paint)
                for (QRect const& r : static_cast<QPaintEvent*>(e)->region())
                    area += qint64(r.width()) * r.height();
            return false;
        }
    };
    static void settle() {
        for (int i = 0; i < 3; ++i) {
            QCoreApplication::processEvents();
            QCoreApplication::sendPostedEvents();
        }
    }
    // The largest area one of the moves from `from` to `to` (on `w`) repainted, leaving out the
    // first `uncounted` ones.
    qint64 largestRepaint(QWidget* w, QPoint from, QPoint to, int steps, int uncounted = 0) {
        PaintArea counter;
        counter.target = window;
        qApp->installEventFilter(&counter);
        qint64 largest = 0;
        QTest::mousePress(w, Qt::LeftButton, {}, from);
        settle();
        for (int i = 1; i <= steps; ++i) {
            counter.area = 0;
            QTest::mouseMove(w, from + (to - from) * i / steps);
            settle();
            if (i > uncounted)
                largest = std::max(largest, counter.area);
        }
        QTest::mouseRelease(w, Qt::LeftButton, {}, to);
        settle();
        qApp->removeEventFilter(&counter);
        return largest;
    }
    // What the X server shows equals a whole repaint of the window. Stale pixels stay stale;
    // a busy machine may only be late with the last paint, so it gets a moment.
    bool screenIsWholeRepaint() {
        settle();
        const QImage screen = window->screen()->grabWindow(window->winId()).toImage();
        return screen.convertToFormat(QImage::Format_RGB32) ==
               window->grab().toImage().convertToFormat(QImage::Format_RGB32);
    }
    void compareScreenWithWholeRepaint() { QTRY_VERIFY_WITH_TIMEOUT(screenIsWholeRepaint(), 2000); }
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

    // The style popup keeps clear of the toolbar, both on the screen, wherever the region is.
    void popupClearOfToolbar_data() {
        QTest::addColumn<QRect>("region");
        QTest::newRow("room below") << QRect(1000, 600, 503, 301);
        QTest::newRow("at the bottom") << QRect(1000, 1300, 500, 150);
        QTest::newRow("tall") << QRect(1000, 100, 500, 1400);
    }
    void popupClearOfToolbar() {
        QFETCH(QRect, region);
        select(region.topLeft(), region.bottomRight() + QPoint(1, 1));
        QTest::mouseClick(window->toolBar()->button("tool_square"), Qt::LeftButton);
        QWidget* popup = StyleManager::instance()->getPopup(PaintShapesRectangle);
        QVERIFY(popup->isVisible());
        const QRect bar = window->toolBar()->geometry(), pop = popup->geometry();
        QVERIFY(window->rect().contains(bar) && window->rect().contains(pop));
        QCOMPARE(pop.left(), bar.left());
        QVERIFY2(pop.top() > bar.bottom() + 1 || pop.bottom() < bar.top() - 1, "popup touches");
    }

    // At 4K a whole repaint of a large frame takes longer than a frame: the frame and the mosaic
    // repaint what changed, and what reaches the screen is still what a whole repaint gives.
    void frameMovesRepaintOnlyWhatChanged_data() {
        QTest::addColumn<QPoint>("from");
        QTest::addColumn<QPoint>("to");
        QTest::newRow("grow by a corner") << QPoint(2200, 1400) << QPoint(2400, 1500);
        QTest::newRow("shrink by a corner") << QPoint(2200, 1400) << QPoint(1900, 1100);
        QTest::newRow("top edge up") << QPoint(1200, 200) << QPoint(1200, 120);
        QTest::newRow("left edge past the right") << QPoint(200, 800) << QPoint(2400, 800);
        QTest::newRow("move") << QPoint(1000, 700) << QPoint(800, 500);
    }
    void frameMovesRepaintOnlyWhatChanged() {
        QFETCH(QPoint, from);
        QFETCH(QPoint, to);
        const QRect frame(QPoint(200, 200), QPoint(2200, 1400));
        select(frame.topLeft(), frame.bottomRight() + QPoint(1, 1));
        compareScreenWithWholeRepaint();
        const qint64 largest = largestRepaint(window->selectionView()->viewport(), from, to, 20);
        QVERIFY2(largest < qint64(frame.width()) * frame.height() / 4,
                 "a move repainted the frame");
        compareScreenWithWholeRepaint();
    }
    void mosaicSquaresRepaintAlone() {
        select(QPoint(200, 200), QPoint(2200, 1400));
        window->slotInsertMosaic();
        QWidget* paint = window->annotationView()->viewport();
        for (int y = 100; y < 1000; y += 200)
            ts::dragPx(paint, QPoint(100, y), QPoint(1800, y + 50), 6);
        // A new stroke's first square repaints the region once (a new item); the rest do not.
        QVERIFY2(largestRepaint(paint, QPoint(100, 1100), QPoint(1800, 1050), 10, 1) <
                     2000 * 1200 / 20,
                 "a mosaic square repainted the region");
        compareScreenWithWholeRepaint();
    }

    // A click where nothing is proposed, or a flat drag, takes nothing; the frame shows as a line.
    void flatSelectionTakesNothing() {
        QTest::mouseClick(window->selectionView()->viewport(), Qt::LeftButton, {},
                          QPoint(300, 300));
        select(QPoint(500, 500), QPoint(800, 500));
        QVERIFY(!window->toolBar()->isVisible());
        QVERIFY(window->getPixmap().isNull());
        QCOMPARE(window->selectionView()->viewport()->grab().toImage().pixelColor(600, 500),
                 QColor("#3A91F3"));
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
