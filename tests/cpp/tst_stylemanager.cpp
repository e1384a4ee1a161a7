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

namespace {

QGraphicsItem* make(PaintShape shape) {
    StyleManager* m = StyleManager::instance();
    m->currentDrawingShape(shape);
    return m->createItem();
}

// An editing item of type T is current when another tool is chosen, then again when the
// selection is cleaned: both leave it with the expected status and nothing current.
template <typename T> void finishOnToolChange(PaintShape shape, ItemPaintStatus expected) {
    StyleManager* m = StyleManager::instance();
    auto* item = dynamic_cast<T*>(make(shape));
    QVERIFY(item);
    item->setItemPaintStatus(PaintStatusEditing);
    m->currentDrawingShape(PaintShapesMosaic);
    QCOMPARE(item->getItemPaintStatus(), expected);
    QVERIFY(!m->getCurrentItem());
    m->setCurrentItem(item);
    item->setItemPaintStatus(PaintStatusEditing);
    m->cleanSelectedItem();
    QCOMPARE(item->getItemPaintStatus(), expected);
    QVERIFY(!m->getCurrentItem());
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
    void toolWithoutItemCreatesNothing();
    void undoDeletesNewestFirst();
    void choosingToolFinishesCurrent();
    void styleChangeReachesCurrentItemOnly();
    void setCurrentItemSignalsAndPlacesPopup();
};

void TestStyleManager::singleInstanceAndRecreation() {
    QVERIFY(!StyleManager::manager);
    StyleManager* a = StyleManager::instance();
    QCOMPARE(StyleManager::manager, a);
    QCOMPARE(StyleManager::instance(), a);

    const QList<QWidget*> popups = a->getAllWidget();
    // List order rectangle, ellipse, pen, arrow, mosaic, font; all hidden top-level windows.
    const PaintShape order[] = {PaintShapesRectangle, PaintShapesCircle, PaintShapesPen,
                                PaintShapesArrow, PaintShapesMosaic, PaintShapesText};
    QCOMPARE(popups.size(), 6);
    for (int i = 0; i < 6; ++i) {
        QCOMPARE(popups.at(i), a->getPopup(order[i]));
        QVERIFY(popups.at(i)->isWindow() && !popups.at(i)->isVisible());
    }
    QCOMPARE(a->selectionPen.color(), QColor("#3A91F3"));
    QCOMPARE(a->selectionPen.width(), 2);
    QCOMPARE(a->getMosaicMultiplier(), 3);

    make(PaintShapesRectangle);
    ts::resetManager();
    StyleManager* b = StyleManager::instance();
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

    // The inserted style entry is owned by the manager, which deletes its key on clean-up.
    QPointer<DiagramTextItem> orphan = new DiagramTextItem;
    QVERIFY(!m->getGraphicItemStyleInfo(orphan));
    QVERIFY(m->getAllItem().isEmpty());
    m->cleanAllItem();
    QVERIFY(orphan.isNull());

    // A managed item's record is found, not replaced by the look-up.
    QGraphicsItem* r = make(PaintShapesRectangle);
    StyleInfo* info = m->getGraphicItemStyleInfo(r);
    QVERIFY(info);
    QCOMPARE(m->getGraphicItemStyleInfo(r), info);
}

void TestStyleManager::createItemPerTool_data() {
    QTest::addColumn<int>("shape");
    QTest::addColumn<QByteArray>("type");
    QTest::addColumn<QColor>("color");
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("pixelSize");
    const int w = int(5 * ts::scale()), noFont = QFont().pixelSize();
    auto row = [](const char* name, PaintShape shape, std::type_info const& type) -> QTestData& {
        return QTest::newRow(name) << int(shape) << QByteArray(type.name());
    };
    row("ellipse", PaintShapesCircle, typeid(CircleGraphicsItem)) << QColor("red") << w << noFont;
    row("rectangle", PaintShapesRectangle, typeid(RectangleGraphicsItem)) << QColor("red") << w << noFont;
    row("pen", PaintShapesPen, typeid(RandomLineGraphicsItem)) << QColor("red") << w << noFont;
    row("arrow", PaintShapesArrow, typeid(ArrowGraphicItem)) << QColor("red") << w << noFont;
    row("mosaic", PaintShapesMosaic, typeid(MosaicGraphicsItem)) << QColor() << w << noFont;
    row("text", PaintShapesText, typeid(DiagramTextItem)) << QColor("red") << -1 << 24;
}

void TestStyleManager::createItemPerTool() {
    QFETCH(int, shape);
    QFETCH(QByteArray, type);
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
    QCOMPARE(QByteArray(typeid(*item).name()), type);
    QCOMPARE(m->getCurrentItem(), item);
    QCOMPARE(m->getAllItem(), (QList<QGraphicsItem*>{before, item}));
    QCOMPARE(int(m->getCurrentItemShape()), shape);
    QCOMPARE(int(m->getItemShape(before)), int(PaintShapesRectangle));

    StyleInfo* info = m->getGraphicItemStyleInfo(item);
    QVERIFY(info && info != m->getGraphicItemStyleInfo(before));
    QCOMPARE(info->color, color); // invalid for the mosaic
    if (width >= 0)
        QCOMPARE(info->width, width);
    QCOMPARE(info->font.pixelSize(), pixelSize);

    // Becoming current on creation is direct: no signal, no popup shown.
    QCOMPARE(spy.count(), 0);
    for (QWidget* w : m->getAllWidget())
        QVERIFY(!w->isVisible());
}

void TestStyleManager::toolWithoutItemCreatesNothing() {
    StyleManager* m = StyleManager::instance();
    for (int shape : {0, 1, 7}) {
        m->currentDrawingShape(PaintShape(shape));
        QVERIFY(!m->createItem());
        QVERIFY(!m->getCurrentItem());
    }
    // Each was recorded (as null), and one undo takes back one.
    QCOMPARE(m->getAllItem().size(), 3);
    m->undo();
    m->undo();
    m->undo();
    QVERIFY(m->getAllItem().isEmpty());
}

void TestStyleManager::undoDeletesNewestFirst() {
    StyleManager* m = StyleManager::instance();
    m->undo(); // empty: nothing happens
    QVERIFY(m->getAllItem().isEmpty());

    QGraphicsItem* a = make(PaintShapesRectangle);
    QGraphicsItem* b = make(PaintShapesCircle);
    make(PaintShapesArrow);
    m->setCurrentItem(a); // the oldest is current: undo order must not care

    m->undo();
    QCOMPARE(m->getAllItem(), (QList<QGraphicsItem*>{a, b}));
    m->undo();
    QCOMPARE(m->getAllItem(), (QList<QGraphicsItem*>{a}));
    QCOMPARE(m->getCurrentItem(), a);
    m->undo();
    QVERIFY(m->getAllItem().isEmpty());
    QVERIFY(!m->getCurrentItem());

    // Undoing the current (newest) item leaves no current item but keeps the older one.
    QGraphicsItem* d = make(PaintShapesPen);
    QGraphicsItem* e = make(PaintShapesText);
    QCOMPARE(m->getCurrentItem(), e);
    m->undo();
    QVERIFY(!m->getCurrentItem());
    QCOMPARE(m->getAllItem(), (QList<QGraphicsItem*>{d}));
}

void TestStyleManager::choosingToolFinishesCurrent() {
    StyleManager* m = StyleManager::instance();
    m->cleanSelectedItem(); // nothing current: harmless
    finishOnToolChange<RectangleGraphicsItem>(PaintShapesRectangle, PaintStatusFinished);
    finishOnToolChange<CircleGraphicsItem>(PaintShapesCircle, PaintStatusFinished);
    finishOnToolChange<ArrowGraphicItem>(PaintShapesArrow, PaintStatusFinished);
    finishOnToolChange<DiagramTextItem>(PaintShapesText, PaintStatusFinished);
    QVERIFY(!m->textFlag);
    finishOnToolChange<RandomLineGraphicsItem>(PaintShapesPen, PaintStatusEditing);
}

void TestStyleManager::styleChangeReachesCurrentItemOnly() {
    StyleManager* m = StyleManager::instance();
    QGraphicsItem* a = make(PaintShapesRectangle);
    QGraphicsItem* b = make(PaintShapesRectangle);

    StyleInfo blue;
    blue.color = QColor("#00B4FF");
    blue.width = 7;
    m->slotChange(blue);
    QCOMPARE(m->getGraphicItemStyleInfo(b)->color, QColor("#00B4FF"));
    QCOMPARE(m->getGraphicItemStyleInfo(b)->width, 7);
    QCOMPARE(m->getGraphicItemStyleInfo(a)->color, QColor("red"));
    QCOMPARE(m->getGraphicItemStyleInfo(a)->width, int(5 * ts::scale()));

    m->cleanSelectedItem(); // nothing current: nothing changes
    m->slotChange(StyleInfo{QFont(), QColor("#61ED00"), 3});
    QCOMPARE(m->getGraphicItemStyleInfo(a)->color, QColor("red"));
    QCOMPARE(m->getGraphicItemStyleInfo(b)->color, QColor("#00B4FF"));

    // Through the real font popup: only the current text changes.
    QGraphicsItem* t = make(PaintShapesText);
    auto* font = qobject_cast<SelectFontWidget*>(m->getPopup(PaintShapesText));
    font->sizeList()->setCurrentIndex(2); // "Large"
    QCOMPARE(m->getGraphicItemStyleInfo(t)->font.pixelSize(), 64);
    font->colorList()->buttons().at(1)->click();
    QCOMPARE(m->getGraphicItemStyleInfo(t)->color, QColor("#8A31FB"));
    QCOMPARE(m->getGraphicItemStyleInfo(b)->color, QColor("#00B4FF"));
}

void TestStyleManager::setCurrentItemSignalsAndPlacesPopup() {
    // Selecting an item signals its tool and shows that popup, alone, at the last shown place.
    StyleManager* m = StyleManager::instance();
    QGraphicsItem* c = make(PaintShapesCircle);
    make(PaintShapesRectangle);
    m->show(QPoint(300, 200), PaintShapesRectangle);
    QSignalSpy spy(m, &StyleManager::sigShapeChange);
    m->setCurrentItem(c);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).value<PaintShape>(), PaintShapesCircle);
    QCOMPARE(m->getCurrentItem(), c);
    QCOMPARE(int(m->getCurrentDrawingShape()), int(PaintShapesCircle));
    QCOMPARE(m->getPopup(PaintShapesCircle)->pos(), QPoint(300, 200));
    for (QWidget* w : m->getAllWidget())
        QCOMPARE(w->isVisible(), w == m->getPopup(PaintShapesCircle));

    m->setCurrentItem(nullptr);
    QCOMPARE(spy.count(), 1);
    QVERIFY(!m->getCurrentItem());
}

QTEST_MAIN(TestStyleManager)
#include "tst_stylemanager.moc"
