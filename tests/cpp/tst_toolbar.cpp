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

class TestToolBar : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { qRegisterMetaType<StyleInfo>("StyleInfo"); }
    void init();
    void cleanup();

    void buttonsInLayoutOrder();
    void clickChecksToolAndEmits_data();
    void clickChecksToolAndEmits();
    void undoButtonShowsNothingToUndo();
    void shapeChangeFromElsewhere();
    void lineStylePopup();
    void fontPopup();
    void mosaicPopupAndSizeDisplay();
    void fixedSizesAtScale();

private:
    ScreenToolFrame* bar = nullptr;
};

void TestToolBar::init() {
    ts::resetManager();
    bar = new ScreenToolFrame;
    bar->move(10, 10);
    bar->show();
    QVERIFY(QTest::qWaitForWindowExposed(bar));
}

void TestToolBar::cleanup() {
    delete bar;
    ts::resetManager();
}

void TestToolBar::buttonsInLayoutOrder() {
    const QStringList expected{"tool_square", "tool_circle", "tool_arrow", "tool_paintpen",
                               "tool_mosaic", "tool_text",   "tool_back",  "tool_save",
                               "tool_cancel", "tool_confirm"};
    QLayout* layout = bar->layout();
    QCOMPARE(layout->count(), 10);
    for (int i = 0; i < 10; ++i) {
        QWidget* w = layout->itemAt(i)->widget();
        QCOMPARE(w->objectName(), expected.at(i));
        QVERIFY(checkedTogether(static_cast<QPushButton*>(w), w->objectName() == "tool_back"));
    }
    QVERIFY(!bar->currentButton());
}

void TestToolBar::clickChecksToolAndEmits_data() {
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

void TestToolBar::clickChecksToolAndEmits() {
    QFETCH(QString, name);
    QFETCH(QByteArray, signal);
    QSignalSpy spy(bar, signal.constData());
    QSignalSpy undo(bar, SIGNAL(undo()));
    const QString other = name == "tool_circle" ? "tool_square" : "tool_circle";
    CustomButton* first = bar->button(other);
    CustomButton* b = bar->button(name);

    QTest::mouseClick(first, Qt::LeftButton);
    QTest::mousePress(b, Qt::LeftButton); // acts on press
    QCOMPARE(spy.count(), 1);
    QTest::mouseRelease(b, Qt::LeftButton);
    QCOMPARE(spy.count(), 1);
    QVERIFY(checkedTogether(b, true));
    QVERIFY(checkedTogether(first, false));
    QCOMPARE(bar->currentButton(), b);

    QTest::mouseClick(b, Qt::LeftButton); // the same button again stays checked
    QCOMPARE(spy.count(), 2);
    QVERIFY(checkedTogether(b, true));
    QCOMPARE(undo.count(), 0);

    bar->resumeInitStatus();
    QVERIFY(checkedTogether(b, false));
    QVERIFY(!bar->currentButton());
}

void TestToolBar::undoButtonShowsNothingToUndo() {
    StyleManager* m = StyleManager::instance();
    connect(bar, &ScreenToolFrame::undo, m, &StyleManager::undo);
    CustomButton* back = bar->button("tool_back");
    QSignalSpy undo(bar, &ScreenToolFrame::undo);

    QTest::mouseClick(bar->button("tool_arrow"), Qt::LeftButton);
    m->currentDrawingShape(PaintShapesRectangle);
    m->createItem();
    m->createItem();
    QVERIFY(checkedTogether(back, true)); // not told yet
    bar->updateUndo();
    QVERIFY(checkedTogether(back, false));

    QTest::mouseClick(back, Qt::LeftButton);
    QCOMPARE(undo.count(), 1);
    QCOMPARE(m->getAllItem().size(), 1);
    QVERIFY(checkedTogether(back, false));
    QTest::mouseClick(back, Qt::LeftButton);
    QCOMPARE(m->getAllItem().size(), 0);
    QVERIFY(checkedTogether(back, true));
    // Undo never touches the current tool.
    QVERIFY(checkedTogether(bar->button("tool_arrow"), true));
    m->createItem();
    bar->updateUndo();
    QVERIFY(checkedTogether(back, false));
}

void TestToolBar::shapeChangeFromElsewhere() {
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
    CustomButton* previous = save;
    for (auto [shape, name] : tools) {
        bar->slotShapeChange(PaintShape(shape));
        bar->slotShapeChange(PaintShape(shape));
        CustomButton* target = bar->button(name);
        QCOMPARE(bar->currentButton(), target);
        QVERIFY(checkedTogether(target, true));
        QVERIFY(checkedTogether(previous, false));
        int checkedCount = 0;
        for (CustomButton* b : bar->findChildren<CustomButton*>())
            checkedCount += b->isChecked() && b->objectName() != "tool_back";
        QCOMPARE(checkedCount, 1);
        previous = target;
    }
}

void TestToolBar::lineStylePopup() {
    const double s = ts::scale();
    SelectStyleWidget popup;
    popup.show();
    QVERIFY(QTest::qWaitForWindowExposed(&popup));
    QCOMPARE(popup.getStyle().color, QColor("red"));
    QCOMPARE(popup.getStyle().width, int(5 * s));
    QCOMPARE(popup.getStyle().font, QFont());

    // Width rows 5, 10, 14 (scaled), picked by clicking.
    SelectLineWidthWidget* list = popup.widthList();
    QCOMPARE(list->model()->rowCount(), 3);
    QSignalSpy spy(&popup, &SelectStyleWidget::sigChange);
    for (auto [row, width] : {std::pair{2, 14}, {1, 10}}) {
        const QRect cell = list->visualRect(list->model()->index(row, 0));
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, cell.center());
        QCOMPARE(lastStyle(spy).width, int(width * s));
        QCOMPARE(popup.getIndex(), row);
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

void TestToolBar::fontPopup() {
    SelectFontWidget popup;
    popup.show();
    QVERIFY(QTest::qWaitForWindowExposed(&popup));
    QCOMPARE(popup.getStyle().font.pixelSize(), 24);
    QCOMPARE(popup.getStyle().color, QColor("red"));

    FontListItemWidget* sizes = popup.sizeList();
    QCOMPARE(sizes->count(), 3);
    QCOMPARE(sizes->itemText(2), QString("Large"));

    QSignalSpy spy(&popup, &SelectFontWidget::sigChange);
    sizes->setFocus();
    QTest::keyClick(sizes, Qt::Key_Down);
    QTest::keyClick(sizes, Qt::Key_Down);
    QCOMPARE(sizes->currentIndex(), 2);
    QCOMPARE(spy.count(), 2);
    QCOMPARE(lastStyle(spy).font.pixelSize(), 64);
    QCOMPARE(popup.getTextSize(), QString("64"));
    sizes->setCurrentIndex(1);
    QCOMPARE(lastStyle(spy).font.pixelSize(), 48);

    QTest::mouseClick(popup.colorList()->buttons().at(2), Qt::LeftButton);
    QCOMPARE(lastStyle(spy).color, QColor("#00B4FF"));
    QCOMPARE(lastStyle(spy).font.pixelSize(), 48);
}

void TestToolBar::mosaicPopupAndSizeDisplay() {
    const double s = ts::scale();
    SelectMasoicWidget popup;
    popup.show();
    QVERIFY(QTest::qWaitForWindowExposed(&popup));
    QCOMPARE(popup.getStyle().width, int(5 * s));
    QVERIFY(!popup.getStyle().color.isValid());
    QSignalSpy spy(&popup, &SelectMasoicWidget::sigChange);
    SelectLineWidthWidget* list = popup.widthList();
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                      list->visualRect(list->model()->index(2, 0)).center());
    QCOMPARE(spy.count(), 1);
    QCOMPARE(lastStyle(spy).width, int(14 * s));
    QVERIFY(!lastStyle(spy).color.isValid());

    ShowSizeWidget size;
    QCOMPARE(size.text(), QString("-1 x -1"));
    size.setSelectSize(QSize(1920, 1080));
    QCOMPARE(size.text(), QString("1920 x 1080"));
}

void TestToolBar::fixedSizesAtScale() {
    const double s = ts::scale();
    SelectStyleWidget line;
    SelectFontWidget font;
    SelectMasoicWidget mosaic;
    ShowSizeWidget size;
    auto fixed = [](QWidget& w) { return w.minimumSize() == w.maximumSize() ? w.minimumSize() : QSize(); };
    QCOMPARE(fixed(*bar->button("tool_mosaic")), QSize(int(16 * s), int(16 * s)));
    QCOMPARE(fixed(line), QSize(int(244 * s), int(46 * s)));
    QCOMPARE(fixed(font), QSize(int(265 * s), int(46 * s)));
    QCOMPARE(fixed(mosaic), QSize(int(113 * s), int(46 * s)));
    QCOMPARE(fixed(size), QSize(int(std::round(100 * s)), int(std::round(20 * s))));
}

QTEST_MAIN(TestToolBar)
#include "tst_toolbar.moc"
