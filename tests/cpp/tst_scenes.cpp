#include "testsupport.h"

#include "circlegraphicsitem.h"
#include "mosaicgraphicsitem.h"
#include "paintramscene.h"

// What the scenes make of presses and drags, read from the items they create. Drawing each
// shape, and the pictures that result, are checked end to end.
class TestScenes : public QObject {
    Q_OBJECT
    PaintRamScene* paint = nullptr;
    QGraphicsView* view = nullptr;
    StyleManager* m = nullptr;

private slots:
    void init() {
        ts::resetManager();
        m = StyleManager::instance();
        paint = new PaintRamScene;
        paint->setSceneRect(-200, -150, 400, 300);
        view = new QGraphicsView;
        ts::setupView(*view, paint, QSize(400, 300));
        paint->setPaintPixmap(QPixmap::fromImage(ts::patternImage(400, 300)));
    }
    void cleanup() {
        delete view;
        delete paint;
        ts::resetManager();
    }

    // A press on a drawn item's outline picks it up, raises it, and its handle resizes it.
    void pressOnDrawnItemRaisesAndResizesIt() {
        paint->setPaintShape(PaintShapesCircle);
        ts::drag(view, QPointF(-150, -100), QPointF(-50, -20)); // ellipse box (-150,-100,100,80)
        auto* circle = static_cast<CircleGraphicsItem*>(m->getLastItem());
        paint->setPaintShape(PaintShapesRectangle);
        ts::drag(view, QPointF(-30, -30), QPointF(80, 60)); // clear of the ellipse's band
        QGraphicsItem* rect = m->getLastItem();
        auto topmost = [&] {
            return paint->items(paint->sceneRect(), Qt::IntersectsItemBoundingRect,
                                Qt::DescendingOrder);
        };
        QVERIFY(topmost().indexOf(rect) < topmost().indexOf(circle));
        // The ellipse's leftmost point lies on its outline and nowhere on the rectangle's.
        ts::drag(view, QPointF(-150, -60), QPointF(-140, -50), 1);
        QVERIFY(topmost().indexOf(circle) < topmost().indexOf(rect));
        QCOMPARE(circle->getRect(), QRectF(-140, -100, 90, 80));
        QCOMPARE(m->getAllItem().size(), 2);
    }

    // A drag over a mosaic stroke draws a new stroke: the mosaic is never picked up.
    void mosaicIsNeverPicked() {
        paint->setPaintShape(PaintShapesMosaic);
        ts::drag(view, QPointF(-50, -50), QPointF(50, 20));
        auto* mosaic = dynamic_cast<MosaicGraphicsItem*>(m->getLastItem());
        QVERIFY(mosaic);
        ts::drag(view, QPointF(0, 0), QPointF(30, 30)); // on the stroke
        QCOMPARE(m->getAllItem().size(), 2);
        QCOMPARE(mosaic->points().last(), QPointF(50, 20));
    }

    // With the text tool, a double click on the background confirms, although its first click
    // made a text there. Enter goes to a text being typed (the flag the key handler reads), and
    // confirms again once that text is finished by choosing a tool, or undone.
    void textToolDoubleClickConfirms() {
        paint->setPaintShape(PaintShapesText);
        QSignalSpy confirmed(paint, &PaintRamScene::sigDoubleClick);
        QTest::mouseDClick(view->viewport(), Qt::LeftButton, {},
                           view->mapFromScene(QPointF(100, -80)));
        QCOMPARE(confirmed.count(), 1);
        for (bool undo : {false, true}) {
            paint->setPaintShape(PaintShapesText);
            const QPointF at(-30, undo ? 100 : 40);
            ts::drag(view, at, at, 0);
            QVERIFY(m->textFlag);
            undo ? m->undo() : paint->setPaintShape(PaintShapesRectangle);
            QVERIFY(!m->textFlag);
        }
    }
};

QTEST_MAIN(TestScenes)
#include "tst_scenes.moc"
