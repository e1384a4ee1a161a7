#include "testsupport.h"

#include "selectlinewidthwidget.h"
#include "selectmasoicwidget.h"

// The mosaic popup on its own. The toolbar's buttons, the style popups, their sizes and the
// styles that reach the items are checked end to end with real input.
class TestToolBar : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { qRegisterMetaType<StyleInfo>("StyleInfo"); }
    void cleanup() { ts::resetManager(); }

    // A size picked while a stroke is selected must reach it: the popup sends it at once, and
    // only the width (the mosaic has no colour).
    void mosaicPopupSendsItsWidth() {
        SelectMasoicWidget popup;
        popup.show();
        QVERIFY(QTest::qWaitForWindowExposed(&popup));
        QSignalSpy spy(&popup, &SelectMasoicWidget::sigChange);
        SelectLineWidthWidget* list = popup.widthList();
        const QModelIndex third = list->model()->index(2, 0);
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualRect(third).center());
        QCOMPARE(spy.count(), 1);
        const StyleInfo sent = spy.last().at(0).value<StyleInfo>();
        QCOMPARE(sent.width, third.data(Qt::UserRole).toInt());
        QVERIFY(!sent.color.isValid());
    }
};

QTEST_MAIN(TestToolBar)
#include "tst_toolbar.moc"
