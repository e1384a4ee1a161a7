#include "testsupport.h"

#include "colorlistitemwidget.h"
#include "fontlistitemwidget.h"
#include "screentoolframe.h"
#include "selectfontwidget.h"
#include "selectlinewidthwidget.h"
#include "selectmasoicwidget.h"
#include "selectstylewidget.h"
#include "showsizewidget.h"

namespace {

bool checkedTogether(QPushButton* b, bool checked) {
    return b->isChecked() == checked && b->isCheckable() == checked;
}

StyleInfo lastStyle(QSignalSpy const& spy) {
    return spy.last().at(0).value<StyleInfo>();
}

} // namespace

// The toolbar's buttons and the style popups on their own. Clicking them in a real session,
// the undo button's look and the styles that reach the items are checked end to end.
class TestToolBar : public QObject {
    Q_OBJECT
    ScreenToolFrame* bar = nullptr;

private slots:
    void initTestCase() { qRegisterMetaType<StyleInfo>("StyleInfo"); }
    void init() {
        ts::resetManager();
        bar = new ScreenToolFrame;
        bar->show();
        QVERIFY(QTest::qWaitForWindowExposed(bar));
    }
    void cleanup() {
        delete bar;
        ts::resetManager();
    }

    void buttonsInLayoutOrderAndFixedSizes() {
        const QStringList expected{"tool_square", "tool_circle", "tool_arrow", "tool_paintpen",
                                   "tool_mosaic", "tool_text",   "tool_back",  "tool_save",
                                   "tool_cancel", "tool_confirm"};
        QCOMPARE(bar->layout()->count(), 10);
        for (int i = 0; i < 10; ++i) {
            QWidget* w = bar->layout()->itemAt(i)->widget();
            QCOMPARE(w->objectName(), expected.at(i));
            QVERIFY(checkedTogether(static_cast<QPushButton*>(w), w->objectName() == "tool_back"));
        }
        QVERIFY(!bar->currentButton());
        const double s = ts::scale();
        SelectStyleWidget line;
        SelectFontWidget font;
        SelectMasoicWidget mosaic;
        ShowSizeWidget size;
        auto fixed = [](QWidget& w) {
            return w.minimumSize() == w.maximumSize() ? w.minimumSize() : QSize();
        };
        QCOMPARE(fixed(*bar->button("tool_mosaic")), QSize(int(16 * s), int(16 * s)));
        QCOMPARE(fixed(line), QSize(int(244 * s), int(46 * s)));
        QCOMPARE(fixed(font), QSize(int(265 * s), int(46 * s)));
        QCOMPARE(fixed(mosaic), QSize(int(113 * s), int(46 * s)));
        QCOMPARE(fixed(size), QSize(int(std::round(100 * s)), int(std::round(20 * s))));
    }

    void clickChecksToolAndEmits_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("signal");
        QTest::newRow("square") << "tool_square" << QByteArray(SIGNAL(insertRectangle()));
        QTest::newRow("circle") << "tool_circle" << QByteArray(SIGNAL(insertCircle()));
        QTest::newRow("arrow") << "tool_arrow" << QByteArray(SIGNAL(insertArrow()));
        QTest::newRow("pen") << "tool_paintpen" << QByteArray(SIGNAL(insertPaintePen()));
        QTest::newRow("mosaic") << "tool_mosaic" << QByteArray(SIGNAL(insertMosaic()));
        QTest::newRow("text") << "tool_text" << QByteArray(SIGNAL(insertText()));
        QTest::newRow("save") << "tool_save" << QByteArray(SIGNAL(saveAs()));
        QTest::newRow("cancel") << "tool_cancel" << QByteArray(SIGNAL(exitScreenshots()));
        QTest::newRow("confirm") << "tool_confirm" << QByteArray(SIGNAL(finishScreenshots()));
    }
    void clickChecksToolAndEmits() {
        QFETCH(QString, name);
        QFETCH(QByteArray, signal);
        QSignalSpy spy(bar, signal.constData());
        QSignalSpy undo(bar, SIGNAL(undo()));
        CustomButton* first = bar->button(name == "tool_circle" ? "tool_square" : "tool_circle");
        CustomButton* b = bar->button(name);
        QTest::mouseClick(first, Qt::LeftButton);
        QTest::mousePress(b, Qt::LeftButton); // acts on press
        QCOMPARE(spy.count(), 1);
        QTest::mouseRelease(b, Qt::LeftButton);
        QTest::mouseClick(b, Qt::LeftButton); // the same button again stays checked
        QCOMPARE(spy.count(), 2);
        QVERIFY(checkedTogether(b, true) && checkedTogether(first, false));
        QCOMPARE(bar->currentButton(), b);
        QCOMPARE(undo.count(), 0);
        bar->resumeInitStatus();
        QVERIFY(checkedTogether(b, false));
        QVERIFY(!bar->currentButton());
    }

    void shapeChangeFromElsewhere() {
        CustomButton* save = bar->button("tool_save");
        QTest::mouseClick(save, Qt::LeftButton);
        for (int none : {0, 1, 7}) { // no tool of their own: nothing changes
            bar->slotShapeChange(PaintShape(none));
            QCOMPARE(bar->currentButton(), save);
        }
        // Each tool in turn (twice: the same tool again stays checked); only one checked at a time.
        const std::pair<int, const char*> tools[] = {{2, "tool_circle"}, {3, "tool_square"},
                                                     {4, "tool_mosaic"}, {5, "tool_paintpen"},
                                                     {6, "tool_text"},   {8, "tool_arrow"}};
        for (auto [shape, name] : tools) {
            bar->slotShapeChange(PaintShape(shape));
            bar->slotShapeChange(PaintShape(shape));
            QCOMPARE(bar->currentButton(), bar->button(name));
            for (CustomButton* b : bar->findChildren<CustomButton*>())
                QVERIFY(b->objectName() == "tool_back" ||
                        checkedTogether(b, b->objectName() == name));
        }
    }

    void lineStylePopup() {
        const double s = ts::scale();
        SelectStyleWidget popup;
        popup.show();
        QVERIFY(QTest::qWaitForWindowExposed(&popup));
        QCOMPARE(popup.getStyle().color, QColor("red"));
        QCOMPARE(popup.getStyle().width, int(5 * s));
        // Width rows 5, 10, 14 (scaled), picked by clicking.
        SelectLineWidthWidget* list = popup.widthList();
        QSignalSpy spy(&popup, &SelectStyleWidget::sigChange);
        for (auto [row, width] : {std::pair{2, 14}, {1, 10}}) {
            QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                              list->visualRect(list->model()->index(row, 0)).center());
            QCOMPARE(lastStyle(spy).width, int(width * s));
        }
        // Colour buttons, right to left so each click moves the check; a checked one re-sends.
        const QList<CustomButton*> buttons = popup.colorList()->buttons();
        const QStringList colors{"red", "#8A31FB", "#00B4FF", "#61ED00", "#FFEB03", "#676767"};
        QCOMPARE(buttons.size(), colors.size());
        for (int i = colors.size() - 1; i >= 0; --i) {
            const int before = spy.count();
            QTest::mouseClick(buttons.at(i), Qt::LeftButton);
            QTest::mouseClick(buttons.at(i), Qt::LeftButton);
            QCOMPARE(spy.count(), before + 2);
            QCOMPARE(lastStyle(spy).color, QColor(colors.at(i)));
            QCOMPARE(lastStyle(spy).width, int(10 * s));
            for (CustomButton* b : buttons)
                QCOMPARE(b->isChecked(), b == buttons.at(i));
            QCOMPARE(popup.widthList()->delegate()->getColor(), QColor(colors.at(i)));
        }
    }

    void mosaicPopupSendsItsWidth() {
        SelectMasoicWidget popup;
        popup.show();
        QVERIFY(QTest::qWaitForWindowExposed(&popup));
        QSignalSpy spy(&popup, &SelectMasoicWidget::sigChange);
        SelectLineWidthWidget* list = popup.widthList();
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                          list->visualRect(list->model()->index(2, 0)).center());
        QCOMPARE(spy.count(), 1);
        QCOMPARE(lastStyle(spy).width, int(14 * ts::scale()));
        QVERIFY(!lastStyle(spy).color.isValid());
    }
};

QTEST_MAIN(TestToolBar)
#include "tst_toolbar.moc"
