#include "testsupport.h"

#include "colorlistitemwidget.h"
#include "screentoolframe.h"
#include "selectlinewidthwidget.h"
#include "selectmasoicwidget.h"
#include "selectstylewidget.h"

namespace {

bool checkedTogether(QPushButton* b, bool checked) {
    return b->isChecked() == checked && b->isCheckable() == checked;
}

StyleInfo lastStyle(QSignalSpy const& spy) {
    return spy.last().at(0).value<StyleInfo>();
}

} // namespace

// The toolbar's buttons and the style popups on their own. Clicking them in a real session,
// their sizes (literally, on a 16:9 screen), the undo button's look and the styles that reach
// the items are checked end to end.
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

    void clickChecksOneToolOnPress() {
        // What each button then does is checked end to end, each clicked with real input.
        const QList<CustomButton*> all = bar->findChildren<CustomButton*>();
        for (CustomButton* b : all) {
            if (b->objectName() == "tool_back")
                continue;
            QTest::mousePress(b, Qt::LeftButton);
            QCOMPARE(bar->currentButton(), b);
            QTest::mouseRelease(b, Qt::LeftButton);
            QTest::mouseClick(b, Qt::LeftButton); // the same button again stays checked
            for (CustomButton* o : all)
                QVERIFY(o->objectName() == "tool_back" || checkedTogether(o, o == b));
        }
        bar->resumeInitStatus();
        QVERIFY(!bar->currentButton());
        for (CustomButton* o : all)
            QVERIFY(checkedTogether(o, o->objectName() == "tool_back"));
    }

    void lineStylePopup() {
        const double s = ts::scale();
        SelectStyleWidget popup;
        popup.show();
        QVERIFY(QTest::qWaitForWindowExposed(&popup));
        QCOMPARE(popup.getStyle().color, QColor("red"));
        QCOMPARE(popup.getStyle().width, int(5 * s));
        QSignalSpy spy(&popup, &SelectStyleWidget::sigChange); // widths: see the mosaic popup
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
            QCOMPARE(lastStyle(spy).width, int(5 * s));
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
