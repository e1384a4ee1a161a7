#include "testsupport.h"

#include "arrowgraphicitem.h"
#include "circlegraphicsitem.h"
#include "diagramtextitem.h"
#include "randomlinegraphicsitem.h"
#include "rectanglegraphicsitem.h"

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
    for (int round = 0; round < 2; ++round) {
        m->setCurrentItem(item);
        item->setItemPaintStatus(PaintStatusEditing);
        round ? m->cleanSelectedItem() : m->currentDrawingShape(PaintShapesMosaic);
        QCOMPARE(item->getItemPaintStatus(), expected);
        QVERIFY(!m->getCurrentItem());
    }
}

} // namespace

// The manager's records of items, styles and popups. Making each item in its default style,
// restyling through the popups, undo (newest first, nothing when empty) and later sessions are
// checked end to end.
class TestStyleManager : public QObject {
    Q_OBJECT
private slots:
    void init() { ts::resetManager(); }
    void cleanupTestCase() { ts::resetManager(); }

    void choosingToolFinishesCurrent() {
        StyleManager* m = StyleManager::instance();
        m->cleanSelectedItem(); // nothing current: harmless
        finishOnToolChange<RectangleGraphicsItem>(PaintShapesRectangle, PaintStatusFinished);
        finishOnToolChange<CircleGraphicsItem>(PaintShapesCircle, PaintStatusFinished);
        finishOnToolChange<ArrowGraphicItem>(PaintShapesArrow, PaintStatusFinished);
        finishOnToolChange<DiagramTextItem>(PaintShapesText, PaintStatusFinished);
        finishOnToolChange<RandomLineGraphicsItem>(PaintShapesPen, PaintStatusEditing);
    }

    void setCurrentItemSignalsAndPlacesPopup() {
        // Selecting an item signals its tool and shows that popup, alone, at the last shown place.
        StyleManager* m = StyleManager::instance();
        QGraphicsItem* c = make(PaintShapesCircle);
        make(PaintShapesRectangle);
        m->show(QPoint(300, 200), PaintShapesRectangle);
        QSignalSpy spy(m, &StyleManager::sigShapeChange);
        m->setCurrentItem(c);
        QCOMPARE(spy.count(), 1);
        QCOMPARE(spy.at(0).at(0).value<PaintShape>(), PaintShapesCircle);
        QCOMPARE(int(m->getCurrentDrawingShape()), int(PaintShapesCircle));
        QCOMPARE(m->getPopup(PaintShapesCircle)->pos(), QPoint(300, 200));
        for (QWidget* w : m->getAllWidget())
            QCOMPARE(w->isVisible(), w == m->getPopup(PaintShapesCircle));
        m->setCurrentItem(nullptr);
        QCOMPARE(spy.count(), 1);
        QVERIFY(!m->getCurrentItem());
    }
};

QTEST_MAIN(TestStyleManager)
#include "tst_stylemanager.moc"
