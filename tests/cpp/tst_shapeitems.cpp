#include "testsupport.h"

#include "arrowgraphicitem.h"
#include "circlegraphicsitem.h"
#include "rectanglegraphicsitem.h"

namespace {

template <typename T> T* makeItem(PaintShape shape, int width) {
    StyleManager* m = StyleManager::instance();
    m->currentDrawingShape(shape);
    auto* item = dynamic_cast<T*>(m->createItem());
    m->slotChange(StyleInfo{QFont(), Qt::red, width});
    return item;
}

} // namespace

// Hit tests and handle drags of the annotation items. Moving and resizing a rectangle, and the
// eight handles of the selection frame (the same base class), are checked end to end.
class TestShapeItems : public QObject {
    Q_OBJECT
    QGraphicsScene* scene = nullptr;
    QGraphicsView* view = nullptr;
    const double d = 10 * ts::scale(); // handle side

private slots:
    void init() {
        ts::resetManager();
        scene = new QGraphicsScene(0, 0, 500, 300);
        view = new QGraphicsView;
        ts::setupView(*view, scene, QSize(800, 600));
    }
    void cleanup() {
        // The manager owns the annotation items: take them out of the scene before it goes.
        for (QGraphicsItem* it : StyleManager::instance()->getAllItem())
            if (it && it->scene() == scene)
                scene->removeItem(it);
        delete view;
        delete scene;
        ts::resetManager();
    }

    void outlineBandHitTest_data() {
        QTest::addColumn<bool>("ellipse");
        QTest::addColumn<int>("width");
        QTest::newRow("rectangle w4") << false << 4;
        QTest::newRow("ellipse w4") << true << 4;
        QTest::newRow("ellipse w10") << true << 10;
    }
    void outlineBandHitTest() {
        QFETCH(bool, ellipse);
        QFETCH(int, width);
        const double h = width * ts::scale() / 2; // half the pen
        ShapeBaseGraphicsItem* item =
            ellipse ? static_cast<ShapeBaseGraphicsItem*>(
                          makeItem<CircleGraphicsItem>(PaintShapesCircle, width))
                    : makeItem<RectangleGraphicsItem>(PaintShapesRectangle, width);
        item->setRect(QRectF(100, 80, 240, 140)); // centre (220, 150), half-axes 120 and 70
        item->setItemPaintStatus(PaintStatusFinished);
        // Across each side of the outline: a band of the pen's width centred on it.
        for (double o : {h - 0.5, 0.5 - h, h + 0.5, -0.5 - h}) {
            QCOMPARE(item->contains(QPointF(100 + o, 150)), qAbs(o) < h);
            QCOMPARE(item->contains(QPointF(340 + o, 150)), qAbs(o) < h);
            QCOMPARE(item->contains(QPointF(220, 80 + o)), qAbs(o) < h);
            QCOMPARE(item->contains(QPointF(220, 220 + o)), qAbs(o) < h);
        }
        QVERIFY(!item->contains(QPointF(220, 150))); // unfilled: the inside never hits
        // (292, 94) = centre + (120 * 0.6, -70 * 0.8) lies on the ellipse and inside the
        // rectangle; the box's corner the other way round.
        QCOMPARE(item->contains(QPointF(292, 94)), ellipse);
        QCOMPARE(item->contains(QPointF(100, 80)), !ellipse);
        // While editing, the corner handle catches the mouse for both.
        item->setItemPaintStatus(PaintStatusEditing);
        QVERIFY(item->contains(QPointF(100, 80)));
    }

    void arrowHitAndHandles() {
        auto* arrow = makeItem<ArrowGraphicItem>(PaintShapesArrow, 4);
        scene->addItem(arrow);
        arrow->setArrowPoint(QPointF(100, 100), QPointF(300, 100));
        arrow->setItemPaintStatus(PaintStatusFinished);
        QVERIFY(arrow->contains(QPointF(293, 103)));   // in the head
        QVERIFY(arrow->contains(QPointF(200, 100.5))); // on the shaft
        QVERIFY(!arrow->contains(QPointF(200, 103)));  // beside the shaft's middle
        QVERIFY(!arrow->contains(QPointF(100 + d / 4, 100 + d / 4)));
        arrow->setItemPaintStatus(PaintStatusEditing);
        QVERIFY(arrow->contains(QPointF(100 + d / 4, 100 + d / 4))); // start handle while editing

        // Dragging the end handle moves only the end.
        ts::drag(view, QPointF(300 + d / 4, 100 - d / 4), QPointF(350, 250));
        QCOMPARE(QLineF(arrow->startPoint(), arrow->endPoint()), QLineF(100, 100, 350, 250));
        // A very short arrow: both handles overlap, the end wins.
        arrow->setArrowPoint(QPointF(200, 200), QPointF(204, 200));
        ts::drag(view, QPointF(202, 200), QPointF(260, 240));
        QCOMPARE(QLineF(arrow->startPoint(), arrow->endPoint()), QLineF(200, 200, 260, 240));
        // The start handle alone picks the start.
        ts::drag(view, QPointF(200 - d / 4, 200), QPointF(150, 120));
        QCOMPARE(QLineF(arrow->startPoint(), arrow->endPoint()), QLineF(150, 120, 260, 240));
    }
};

QTEST_MAIN(TestShapeItems)
#include "tst_shapeitems.moc"
