#include "testsupport.h"

#include "arrowgraphicitem.h"
#include "circlegraphicsitem.h"
#include "diagramtextitem.h"
#include "fontlistitemwidget.h"
#include "mosaicgraphicsitem.h"
#include "randomlinegraphicsitem.h"
#include "rectanglegraphicsitem.h"
#include "screentoolframe.h"
#include "colorlistitemwidget.h"
#include "selectfontwidget.h"
#include "selectstylewidget.h"

namespace {

bool hasClassOf(QGraphicsItem* item, PaintShape shape) {
    switch (shape) {
    case PaintShapesCircle:
        return dynamic_cast<CircleGraphicsItem*>(item);
    case PaintShapesRectangle:
        return dynamic_cast<RectangleGraphicsItem*>(item);
    case PaintShapesMosaic:
        return dynamic_cast<MosaicGraphicsItem*>(item);
    case PaintShapesPen:
        return dynamic_cast<RandomLineGraphicsItem*>(item);
    case PaintShapesText:
        return dynamic_cast<DiagramTextItem*>(item);
    case PaintShapesArrow:
        return dynamic_cast<ArrowGraphicItem*>(item);
    default:
        return false;
    }
}

// Calls f with the item as the class that declares its paint status.
template <typename F> void asStatusHolder(QGraphicsItem* item, F f) {
    if (auto* shape = dynamic_cast<ShapeBaseGraphicsItem*>(item))
        f(shape);
    else if (auto* arrow = dynamic_cast<ArrowGraphicItem*>(item))
        f(arrow);
    else if (auto* pen = dynamic_cast<RandomLineGraphicsItem*>(item))
        f(pen);
    else if (auto* text = dynamic_cast<DiagramTextItem*>(item))
        f(text);
}

int statusOf(QGraphicsItem* item) {
    int status = -1;
    asStatusHolder(item, [&](auto* i) { status = i->getItemPaintStatus(); });
    return status;
}

void setStatus(QGraphicsItem* item, ItemPaintStatus s) {
    asStatusHolder(item, [&](auto* i) { i->setItemPaintStatus(s); });
}

QGraphicsItem* make(PaintShape shape) {
    StyleManager* m = StyleManager::instance();
    m->currentDrawingShape(shape);
    return m->createItem();
}

} // namespace

class TestStyleManager : public QObject {
    Q_OBJECT
private slots:
    void init() { ts::resetManager(); }
    void cleanupTestCase() { ts::resetManager(); }

    void singleInstanceAndRecreation();
    void unknownItemLookupsInsertDefaults();
    void createItemPerTool_data();
    void createItemPerTool();
    void toolWithoutItemCreatesNothing_data();
    void toolWithoutItemCreatesNothing();
    void undoDeletesNewestFirst();
    void choosingToolFinishesCurrent_data();
    void choosingToolFinishesCurrent();
    void styleChangeReachesCurrentItemOnly();
    void showHidesOthersAndPlacesExactly();
    void setCurrentItemSignalsAndMovesPopup();
    void paintOperateOfManager();
};

void TestStyleManager::singleInstanceAndRecreation() {
    QVERIFY(!StyleManager::manager);
    StyleManager* a = StyleManager::instance();
    QCOMPARE(StyleManager::manager, a);
    QCOMPARE(StyleManager::instance(), a);
    QVERIFY(!a->parent());

    const QList<QWidget*> popups = a->getAllWidget();
    QCOMPARE(popups.size(), 6);
    for (QWidget* w : popups) {
        QVERIFY(w->isWindow());
        QVERIFY(!w->isVisible());
    }
    // List order rectangle, ellipse, pen, arrow, mosaic, font.
    const PaintShape order[] = {PaintShapesRectangle, PaintShapesCircle, PaintShapesPen,
                                PaintShapesArrow, PaintShapesMosaic, PaintShapesText};
    for (int i = 0; i < 6; ++i)
        QCOMPARE(popups.at(i), a->getPopup(order[i]));
    QCOMPARE(a->selectionPen.color(), QColor("#3A91F3"));
    QCOMPARE(a->selectionPen.width(), 2);
    QCOMPARE(a->handleBrush.color(), QColor(Qt::white));
    QCOMPARE(a->getMosaicMultiplier(), 3);
    QVERIFY(!a->textFlag && !a->selectDoneFlag);

    make(PaintShapesRectangle);
    QCOMPARE(a->getAllItem().size(), 1);

    ts::resetManager();
    StyleManager* b = StyleManager::instance();
    QVERIFY(b);
    QCOMPARE(StyleManager::manager, b);
    QVERIFY(b->getAllItem().isEmpty());
    QVERIFY(!b->getCurrentItem());
}

void TestStyleManager::unknownItemLookupsInsertDefaults() {
    StyleManager* m = StyleManager::instance();
    QCOMPARE(int(m->getItemShape(nullptr)), 0);

    RectangleGraphicsItem foreign;
    QCOMPARE(int(m->getItemShape(&foreign)), 0);
    QCOMPARE(int(m->getItemShape(&foreign)), 0);
    QVERIFY(!m->containsItem(&foreign));
    QVERIFY(!m->containsItem(nullptr));
    QVERIFY(m->getAllItem().isEmpty());
    QVERIFY(!m->getLastItem());

    // The inserted style entry is owned by the manager, which deletes its key on clean-up.
    auto* orphan = new CircleGraphicsItem;
    QVERIFY(!m->getGraphicItemStyleInfo(orphan));
    QVERIFY(!m->getGraphicItemStyleInfo(orphan));
    QVERIFY(m->getAllItem().isEmpty());

    // A managed item's record is found, not replaced by the look-up.
    QGraphicsItem* r = make(PaintShapesRectangle);
    StyleInfo* info = m->getGraphicItemStyleInfo(r);
    QVERIFY(info);
    QCOMPARE(m->getGraphicItemStyleInfo(r), info);
}

void TestStyleManager::createItemPerTool_data() {
    QTest::addColumn<int>("shape");
    QTest::addColumn<QColor>("color");
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("pixelSize");
    const int w = int(5 * ts::scale());
    const int noFont = QFont().pixelSize();
    QTest::newRow("ellipse") << int(PaintShapesCircle) << QColor("red") << w << noFont;
    QTest::newRow("rectangle") << int(PaintShapesRectangle) << QColor("red") << w << noFont;
    QTest::newRow("pen") << int(PaintShapesPen) << QColor("red") << w << noFont;
    QTest::newRow("arrow") << int(PaintShapesArrow) << QColor("red") << w << noFont;
    QTest::newRow("mosaic") << int(PaintShapesMosaic) << QColor() << w << noFont;
    QTest::newRow("text") << int(PaintShapesText) << QColor("red") << -1 << 24;
}

void TestStyleManager::createItemPerTool() {
    QFETCH(int, shape);
    QFETCH(QColor, color);
    QFETCH(int, width);
    QFETCH(int, pixelSize);
    StyleManager* m = StyleManager::instance();
    QSignalSpy spy(m, &StyleManager::sigShapeChange);

    // An earlier item of another tool must not be disturbed.
    QGraphicsItem* before = make(PaintShapesRectangle);
    m->currentDrawingShape(PaintShape(shape));
    QVERIFY(!m->getCurrentItem());
    QGraphicsItem* item = m->createItem();
    QVERIFY(item);
    QVERIFY(hasClassOf(item, PaintShape(shape)));
    QCOMPARE(m->getCurrentItem(), item);
    QCOMPARE(m->getLastItem(), item);
    QCOMPARE(m->getAllItem(), (QList<QGraphicsItem*>{before, item}));
    QCOMPARE(int(m->getItemShape(item)), shape);
    QCOMPARE(int(m->getCurrentItemShape()), shape);
    QCOMPARE(int(m->getItemShape(before)), int(PaintShapesRectangle));

    StyleInfo* info = m->getGraphicItemStyleInfo(item);
    QVERIFY(info);
    QVERIFY(info != m->getGraphicItemStyleInfo(before));
    QCOMPARE(info->color.isValid(), color.isValid());
    if (color.isValid())
        QCOMPARE(info->color, color);
    if (width >= 0)
        QCOMPARE(info->width, width);
    QCOMPARE(info->font.pixelSize(), pixelSize);

    // Becoming current on creation is direct: no signal, no popup shown.
    QCOMPARE(spy.count(), 0);
    for (QWidget* w : m->getAllWidget())
        QVERIFY(!w->isVisible());
}

void TestStyleManager::toolWithoutItemCreatesNothing_data() {
    QTest::addColumn<int>("shape");
    QTest::newRow("0") << 0;
    QTest::newRow("1") << 1;
    QTest::newRow("7") << 7;
}

void TestStyleManager::toolWithoutItemCreatesNothing() {
    QFETCH(int, shape);
    StyleManager* m = StyleManager::instance();
    m->currentDrawingShape(PaintShape(shape));
    QVERIFY(!m->createItem());
    QVERIFY(!m->getCurrentItem());
    for (QGraphicsItem* it : m->getAllItem())
        QVERIFY(!it);
    // Undo copes with whatever was recorded.
    while (!m->getAllItem().isEmpty())
        m->undo();
    QVERIFY(!m->getLastItem());
}

void TestStyleManager::undoDeletesNewestFirst() {
    StyleManager* m = StyleManager::instance();
    m->undo(); // empty: nothing happens
    QVERIFY(m->getAllItem().isEmpty());

    QGraphicsItem* a = make(PaintShapesRectangle);
    QGraphicsItem* b = make(PaintShapesCircle);
    QGraphicsItem* c = make(PaintShapesArrow);
    m->setCurrentItem(a); // the oldest is current: undo order must not care

    m->undo();
    QCOMPARE(m->getAllItem(), (QList<QGraphicsItem*>{a, b}));
    QVERIFY(!m->containsItem(c));
    QCOMPARE(m->getCurrentItem(), a);
    m->undo();
    QCOMPARE(m->getAllItem(), (QList<QGraphicsItem*>{a}));
    QCOMPARE(m->getLastItem(), a);
    QCOMPARE(m->getCurrentItem(), a);
    m->undo();
    QVERIFY(m->getAllItem().isEmpty());
    QVERIFY(!m->getCurrentItem());
    m->undo();
    QVERIFY(m->getAllItem().isEmpty());

    // Undoing the current (newest) item leaves no current item but keeps the older one.
    QGraphicsItem* d = make(PaintShapesPen);
    QGraphicsItem* e = make(PaintShapesText);
    QCOMPARE(m->getCurrentItem(), e);
    m->undo();
    QVERIFY(!m->getCurrentItem());
    QCOMPARE(m->getAllItem(), (QList<QGraphicsItem*>{d}));
}

void TestStyleManager::choosingToolFinishesCurrent_data() {
    QTest::addColumn<int>("shape");
    QTest::addColumn<int>("expected");
    QTest::newRow("rectangle") << int(PaintShapesRectangle) << int(PaintStatusFinished);
    QTest::newRow("ellipse") << int(PaintShapesCircle) << int(PaintStatusFinished);
    QTest::newRow("arrow") << int(PaintShapesArrow) << int(PaintStatusFinished);
    QTest::newRow("text") << int(PaintShapesText) << int(PaintStatusFinished);
    QTest::newRow("pen keeps its status") << int(PaintShapesPen) << int(PaintStatusEditing);
}

void TestStyleManager::choosingToolFinishesCurrent() {
    QFETCH(int, shape);
    QFETCH(int, expected);
    StyleManager* m = StyleManager::instance();
    m->cleanSelectedItem(); // nothing current: harmless
    QVERIFY(!m->getCurrentItem());

    QGraphicsItem* item = make(PaintShape(shape));
    setStatus(item, PaintStatusEditing);
    m->currentDrawingShape(PaintShapesMosaic);
    QCOMPARE(statusOf(item), expected);
    QVERIFY(!m->getCurrentItem());
    QCOMPARE(int(m->getCurrentDrawingShape()), int(PaintShapesMosaic));
    if (shape == PaintShapesText)
        QVERIFY(!m->textFlag);

    // cleanSelectedItem follows the same rule.
    m->setCurrentItem(item);
    setStatus(item, PaintStatusEditing);
    m->cleanSelectedItem();
    QCOMPARE(statusOf(item), expected);
    QVERIFY(!m->getCurrentItem());
}

void TestStyleManager::styleChangeReachesCurrentItemOnly() {
    StyleManager* m = StyleManager::instance();
    const int w0 = int(5 * ts::scale());
    QGraphicsItem* a = make(PaintShapesRectangle);
    QGraphicsItem* b = make(PaintShapesRectangle);
    QCOMPARE(m->getCurrentItem(), b);

    StyleInfo blue;
    blue.color = QColor("#00B4FF");
    blue.width = 7;
    m->slotChange(blue);
    QCOMPARE(m->getGraphicItemStyleInfo(b)->color, QColor("#00B4FF"));
    QCOMPARE(m->getGraphicItemStyleInfo(b)->width, 7);
    QCOMPARE(m->getGraphicItemStyleInfo(a)->color, QColor("red"));
    QCOMPARE(m->getGraphicItemStyleInfo(a)->width, w0);

    m->cleanSelectedItem();
    StyleInfo green;
    green.color = QColor("#61ED00");
    green.width = 3;
    m->slotChange(green);
    QCOMPARE(m->getGraphicItemStyleInfo(a)->color, QColor("red"));
    QCOMPARE(m->getGraphicItemStyleInfo(b)->color, QColor("#00B4FF"));

    // Through the real font popup (connected twice): only the current text changes.
    QGraphicsItem* t = make(PaintShapesText);
    auto* font = qobject_cast<SelectFontWidget*>(m->getPopup(PaintShapesText));
    QVERIFY(font);
    font->sizeList()->setCurrentIndex(2); // "Large"
    QCOMPARE(m->getGraphicItemStyleInfo(t)->font.pixelSize(), 64);
    CustomButton* purple = font->colorList()->buttons().at(1);
    purple->click();
    QCOMPARE(m->getGraphicItemStyleInfo(t)->color, QColor("#8A31FB"));
    QCOMPARE(m->getGraphicItemStyleInfo(b)->color, QColor("#00B4FF"));
    QCOMPARE(m->getGraphicItemStyleInfo(a)->font.pixelSize(), QFont().pixelSize());
}

void TestStyleManager::showHidesOthersAndPlacesExactly() {
    StyleManager* m = StyleManager::instance();
    for (auto [at, shape] : {std::pair{QPoint(123, 456), PaintShapesArrow}, {QPoint(7, 9), PaintShapesText}}) {
        m->show(at, shape);
        QCOMPARE(int(m->getCurrentDrawingShape()), int(shape));
        QWidget* popup = m->getPopup(shape);
        QCOMPARE(popup->pos(), at);
        for (QWidget* w : m->getAllWidget())
            QCOMPARE(w->isVisible(), w == popup);
    }
}

void TestStyleManager::setCurrentItemSignalsAndMovesPopup() {
    StyleManager* m = StyleManager::instance();
    m->show(QPoint(50, 60), PaintShapesRectangle);
    QGraphicsItem* c = make(PaintShapesCircle);
    QGraphicsItem* r = make(PaintShapesRectangle);
    Q_UNUSED(r);
    m->show(QPoint(300, 200), PaintShapesRectangle);

    QSignalSpy spy(m, &StyleManager::sigShapeChange);
    m->setCurrentItem(c);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).value<PaintShape>(), PaintShapesCircle);
    QCOMPARE(m->getCurrentItem(), c);
    QCOMPARE(int(m->getCurrentDrawingShape()), int(PaintShapesCircle));
    QWidget* circlePopup = m->getPopup(PaintShapesCircle);
    QVERIFY(circlePopup->isVisible());
    QCOMPARE(circlePopup->pos(), QPoint(300, 200)); // the stored popup place
    QVERIFY(!m->getPopup(PaintShapesRectangle)->isVisible());

    m->setCurrentItem(nullptr);
    QCOMPARE(spy.count(), 1);
    QVERIFY(!m->getCurrentItem());
}

void TestStyleManager::paintOperateOfManager() {
    StyleManager* m = StyleManager::instance();
    QSignalSpy spy(m, &StyleManager::sigShapeChange);
    QCOMPARE(m->getPaintOperate(nullptr), CreateNewOperate);
    RectangleGraphicsItem foreign;
    QCOMPARE(m->getPaintOperate(&foreign), CreateNewOperate);

    auto* a = static_cast<RectangleGraphicsItem*>(make(PaintShapesRectangle));
    auto* b = static_cast<ArrowGraphicItem*>(make(PaintShapesArrow));
    QCOMPARE(m->getPaintOperate(b), EditOperate); // already current
    a->setItemPaintStatus(PaintStatusFinished);
    b->setItemPaintStatus(PaintStatusEditing);
    QCOMPARE(m->getPaintOperate(a), EditOperate);
    QCOMPARE(m->getCurrentItem(), a);
    QCOMPARE(a->getItemPaintStatus(), PaintStatusEditing);
    QCOMPARE(b->getItemPaintStatus(), PaintStatusFinished);

    m->cleanSelectedItem();
    QCOMPARE(a->getItemPaintStatus(), PaintStatusFinished);
    QCOMPARE(m->getPaintOperate(b), EditOperate);
    QCOMPARE(m->getCurrentItem(), b);
    QCOMPARE(b->getItemPaintStatus(), PaintStatusEditing);
    QCOMPARE(a->getItemPaintStatus(), PaintStatusFinished);
    QCOMPARE(spy.count(), 0);
}

QTEST_MAIN(TestStyleManager)
#include "tst_stylemanager.moc"
