#include "testsupport.h"

#include "arrowgraphicitem.h"
#include "circlegraphicsitem.h"
#include "randomlinegraphicsitem.h"
#include "rectanglegraphicsitem.h"
#include "screenshotgraphicsitem.h"

#include <cmath>

namespace {

// Handle points in search order with their directions, straight from the handle table.
struct Handle {
    QPointF p;
    IremDirection dir;
};
QVector<Handle> refHandles(QRectF const& r) {
    const double x = r.x(), y = r.y(), w = r.width(), h = r.height();
    return {{{x, y}, DirectionTopLeft},          {{x, y + h / 2}, DirectionLeft},
            {{x, y + h}, DirectionBottomLeft},   {{x + w / 2, y + h}, DirectionBottom},
            {{x + w, y + h}, DirectionBottomRight}, {{x + w, y + h / 2}, DirectionRight},
            {{x + w, y}, DirectionTopRight},     {{x + w / 2, y}, DirectionTop}};
}

IremDirection refDirection(QRectF const& r, double d, QPointF p) {
    for (Handle const& h : refHandles(r)) {
        if (p.x() >= h.p.x() - d / 2 && p.x() <= h.p.x() + d / 2 && p.y() >= h.p.y() - d / 2 &&
            p.y() <= h.p.y() + d / 2)
            return h.dir;
    }
    return DirectionNone;
}

template <typename T> T* makeItem(PaintShape shape, int width) {
    StyleManager* m = StyleManager::instance();
    m->currentDrawingShape(shape);
    auto* item = dynamic_cast<T*>(m->createItem());
    StyleInfo info;
    info.color = Qt::red;
    info.width = width;
    m->slotChange(info);
    return item;
}

} // namespace

class TestShapeItems : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void handleSearchOrder_data();
    void handleSearchOrder();
    void resizeByHandle_data();
    void resizeByHandle();
    void moveAndConfinedMove();
    void outlineBandHitTest_data();
    void outlineBandHitTest();
    void arrowGeometry();
    void arrowHitAndHandles();
    void arrowMoveSnapsToWholeUnits();
    void penLopsidedHitSquares();
    void penDragsOnlyWhileEditing();

private:
    QGraphicsScene* scene = nullptr;
    QGraphicsView* view = nullptr;
};

void TestShapeItems::init() {
    ts::resetManager();
    scene = new QGraphicsScene(0, 0, 500, 300);
    view = new QGraphicsView;
    ts::setupView(*view, scene, QSize(800, 600));
}

void TestShapeItems::cleanup() {
    // The manager owns the annotation items: take them out of the scene before it goes.
    for (QGraphicsItem* it : StyleManager::instance()->getAllItem())
        if (it && it->scene() == scene)
            scene->removeItem(it);
    delete view;
    delete scene;
    ts::resetManager();
}

void TestShapeItems::handleSearchOrder_data() {
    QTest::addColumn<QRectF>("box");
    QTest::newRow("normal") << QRectF(100, 80, 200, 120);
    QTest::newRow("narrower than d") << QRectF(100, 80, 6, 9);
    QTest::newRow("flat") << QRectF(60, 100, 150, 0);
}

void TestShapeItems::handleSearchOrder() {
    QFETCH(QRectF, box);
    const double d = 10 * ts::scale();
    auto* item = makeItem<RectangleGraphicsItem>(PaintShapesRectangle, 2);
    item->setRect(box);
    item->setItemPaintStatus(PaintStatusEditing);

    // Where all handles overlap, the first in search order wins.
    if (box.width() < d)
        QCOMPARE(item->getDirection(box.center()), DirectionTopLeft);

    // A grid off the square edges, covering handles, overlaps and the inside.
    int hits = 0;
    for (double y = box.top() - d; y <= box.bottom() + d; y += 1.7) {
        for (double x = box.left() - d; x <= box.right() + d; x += 1.3) {
            const QPointF p(x + 0.05, y + 0.05);
            const IremDirection expected = refDirection(box, d, p);
            QCOMPARE(item->getDirection(p), expected);
            QCOMPARE(item->isCanEdit(p), expected != DirectionNone);
            const bool inGrown = box.adjusted(-d / 2, -d / 2, d / 2, d / 2).contains(p);
            QCOMPARE(item->isContains(p), inGrown || expected != DirectionNone);
            hits += expected != DirectionNone;
        }
    }
    QVERIFY(hits > 0);

    // Handles only catch the mouse while editing.
    item->setItemPaintStatus(PaintStatusFinished);
    QVERIFY(!item->isCanEdit(box.topLeft()));
    QCOMPARE(item->boundingRect(), box.adjusted(-d / 2, -d / 2, d / 2, d / 2));
}

void TestShapeItems::resizeByHandle_data() {
    QTest::addColumn<int>("handle"); // index in search order
    QTest::addColumn<QPointF>("to");
    QTest::addColumn<QRectF>("expected");
    QTest::addColumn<int>("direction");
    // Box (100, 100, 200, 100): left 100, top 100, right 300, bottom 200.
    QTest::newRow("top-left inside") << 0 << QPointF(150, 130) << QRectF(150, 130, 150, 70)
                                     << int(DirectionTopLeft);
    QTest::newRow("top-left past bottom-right")
        << 0 << QPointF(350, 260) << QRectF(300, 200, 50, 60) << int(DirectionBottomRight);
    QTest::newRow("left past right") << 1 << QPointF(380, 170) << QRectF(300, 100, 80, 100)
                                     << int(DirectionRight);
    QTest::newRow("bottom-left past top-right")
        << 2 << QPointF(340, 60) << QRectF(300, 60, 40, 40) << int(DirectionTopRight);
    QTest::newRow("bottom outward") << 3 << QPointF(180, 260) << QRectF(100, 100, 200, 160)
                                    << int(DirectionBottom);
    QTest::newRow("bottom past top") << 3 << QPointF(220, 40) << QRectF(100, 40, 200, 60)
                                     << int(DirectionTop);
    QTest::newRow("bottom-right past top-left")
        << 4 << QPointF(40, 50) << QRectF(40, 50, 60, 50) << int(DirectionTopLeft);
    QTest::newRow("bottom-right onto anchor column")
        << 4 << QPointF(100, 50) << QRectF(100, 50, 0, 50) << int(DirectionTopLeft);
    QTest::newRow("bottom-right onto anchor row")
        << 4 << QPointF(150, 100) << QRectF(100, 100, 50, 0) << int(DirectionBottomRight);
    QTest::newRow("bottom-right below-left")
        << 4 << QPointF(60, 240) << QRectF(60, 100, 40, 140) << int(DirectionBottomLeft);
    QTest::newRow("right past left") << 5 << QPointF(40, 130) << QRectF(40, 100, 60, 100)
                                     << int(DirectionLeft);
    QTest::newRow("top-right past bottom-left")
        << 6 << QPointF(50, 250) << QRectF(50, 200, 50, 50) << int(DirectionBottomLeft);
    QTest::newRow("top past bottom") << 7 << QPointF(170, 280) << QRectF(100, 200, 200, 80)
                                     << int(DirectionBottom);
}

void TestShapeItems::resizeByHandle() {
    QFETCH(int, handle);
    QFETCH(QPointF, to);
    QFETCH(QRectF, expected);
    QFETCH(int, direction);
    const QRectF box(100, 100, 200, 100);
    auto* item = makeItem<RectangleGraphicsItem>(PaintShapesRectangle, 2);
    scene->addItem(item);
    item->setRect(box);
    item->setItemPaintStatus(PaintStatusEditing);

    const QPointF from = refHandles(box).at(handle).p;
    ts::press(view, from);
    QCOMPARE(item->dragMode(), 2);
    for (int i = 1; i <= 5; ++i)
        ts::move(view, from + (to - from) * (i / 5.0));
    QCOMPARE(int(item->currentDirection()), direction);
    ts::release(view, to);
    QCOMPARE(item->getRect(), expected);
    // Release refreshes the handles around the new box.
    QCOMPARE(item->getDirection(expected.topLeft()), DirectionTopLeft);
}

void TestShapeItems::moveAndConfinedMove() {
    // An annotation moves freely, by the mouse's travel.
    auto* rect = makeItem<RectangleGraphicsItem>(PaintShapesRectangle, 4);
    scene->addItem(rect);
    rect->setRect(QRectF(100, 100, 200, 100));
    rect->setItemPaintStatus(PaintStatusEditing);
    ts::drag(view, QPointF(150, 100), QPointF(590, 520)); // grabbed on the top edge
    QCOMPARE(rect->dragMode(), 1);
    QCOMPARE(rect->getRect(), QRectF(540, 520, 200, 100));
    scene->removeItem(rect);

    // The selection frame stays inside the scene rectangle (0, 0, 500, 300).
    auto* frame = new ScreenShotGraphicsItem;
    scene->addItem(frame);
    frame->setRect(QRectF(100, 50, 200, 100));
    frame->setItemPaintStatus(PaintStatusEditing);
    ts::drag(view, QPointF(200, 100), QPointF(700, 550));
    QCOMPARE(frame->getRect(), QRectF(300, 200, 200, 100));
    ts::drag(view, QPointF(400, 250), QPointF(5, 5));
    QCOMPARE(frame->getRect(), QRectF(0, 0, 200, 100));
    delete frame;
}

void TestShapeItems::outlineBandHitTest_data() {
    QTest::addColumn<bool>("ellipse");
    QTest::addColumn<int>("width");
    QTest::newRow("rectangle w4") << false << 4;
    QTest::newRow("rectangle w10") << false << 10;
    QTest::newRow("ellipse w4") << true << 4;
    QTest::newRow("ellipse w10") << true << 10;
}

void TestShapeItems::outlineBandHitTest() {
    QFETCH(bool, ellipse);
    QFETCH(int, width);
    const double h = width * ts::scale() / 2; // half the pen
    ShapeBaseGraphicsItem* item =
        ellipse ? static_cast<ShapeBaseGraphicsItem*>(
                      makeItem<CircleGraphicsItem>(PaintShapesCircle, width))
                : makeItem<RectangleGraphicsItem>(PaintShapesRectangle, width);
    item->setRect(QRectF(100, 80, 240, 140)); // centre (220, 150), half-axes 120 and 70
    item->setItemPaintStatus(PaintStatusFinished);

    // Across the left and the top of the outline: a band of the pen's width centred on it.
    for (double o : {h - 0.5, 0.5 - h}) {
        QVERIFY(item->contains(QPointF(100 + o, 150)));
        QVERIFY(item->contains(QPointF(220, 80 + o)));
    }
    for (double o : {h + 0.5, -0.5 - h}) {
        QVERIFY(!item->contains(QPointF(100 + o, 150)));
        QVERIFY(!item->contains(QPointF(220, 80 + o)));
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

void TestShapeItems::arrowGeometry() {
    // Width 4, from (0, 0) to (100, 0): a head of length and width 8 at the end, and a wedge
    // from the start to a base of 8 / 3 truncated to 2 each side on the head's base line.
    QPolygonF head, shaft;
    ArrowGraphicItem::arrowPolygons(QPointF(0, 0), QPointF(100, 0), 4, head, shaft);
    QCOMPARE(head, QPolygonF(QVector<QPointF>{{100, 0}, {92, 4}, {92, -4}}));
    QCOMPARE(shaft, QPolygonF(QVector<QPointF>{{0, 0}, {92, 2}, {92, -2}}));
    // Straight down with width 10: the same figure turned a quarter (length 20, half-width 10,
    // wedge offset trunc(20 / 3) = 6).
    ArrowGraphicItem::arrowPolygons(QPointF(50, 10), QPointF(50, 110), 10, head, shaft);
    QCOMPARE(head, QPolygonF(QVector<QPointF>{{50, 110}, {40, 90}, {60, 90}}));
    QCOMPARE(shaft, QPolygonF(QVector<QPointF>{{50, 10}, {46, 90}, {54, 90}}));
}

void TestShapeItems::arrowHitAndHandles() {
    const double d = 10 * ts::scale();
    auto* arrow = makeItem<ArrowGraphicItem>(PaintShapesArrow, 4);
    scene->addItem(arrow);
    arrow->setArrowPoint(QPointF(100, 100), QPointF(300, 100));
    arrow->setItemPaintStatus(PaintStatusFinished);
    QCOMPARE(arrow->boundingRect(), QRectF(100 - d, 100 - d, 200 + 2 * d, 2 * d));
    QCOMPARE(arrow->shape().boundingRect(), QRectF(90, 90, 220, 20));

    QVERIFY(arrow->contains(QPointF(293, 103)));   // in the head
    QVERIFY(arrow->contains(QPointF(200, 100.5))); // on the shaft
    QVERIFY(!arrow->contains(QPointF(200, 103)));  // beside the shaft's middle
    QVERIFY(!arrow->contains(QPointF(100 + d / 4, 100 + d / 4)));
    arrow->setItemPaintStatus(PaintStatusEditing);
    QVERIFY(arrow->contains(QPointF(100 + d / 4, 100 + d / 4))); // start handle while editing

    // Dragging the end handle moves only the end.
    ts::drag(view, QPointF(300 + d / 4, 100 - d / 4), QPointF(350, 250));
    QCOMPARE(arrow->startPoint(), QPointF(100, 100));
    QCOMPARE(arrow->endPoint(), QPointF(350, 250));
    // A very short arrow: both handles overlap, the end wins.
    arrow->setArrowPoint(QPointF(200, 200), QPointF(204, 200));
    ts::drag(view, QPointF(202, 200), QPointF(260, 240));
    QCOMPARE(arrow->startPoint(), QPointF(200, 200));
    QCOMPARE(arrow->endPoint(), QPointF(260, 240));
    // The start handle alone picks the start.
    ts::drag(view, QPointF(200 - d / 4, 200), QPointF(150, 120));
    QCOMPARE(arrow->startPoint(), QPointF(150, 120));
    QCOMPARE(arrow->endPoint(), QPointF(260, 240));
}

void TestShapeItems::arrowMoveSnapsToWholeUnits() {
    // 5 viewport pixels per scene unit, so the mouse can travel by fractions of a unit.
    view->scale(5, 5);
    view->centerOn(30, 30);
    auto* arrow = makeItem<ArrowGraphicItem>(PaintShapesArrow, 10);
    scene->addItem(arrow);
    arrow->setArrowPoint(QPointF(10, 10), QPointF(50, 50));
    arrow->setItemPaintStatus(PaintStatusEditing);

    const QPointF grab(30, 30); // on the shaft, away from both handles
    QVERIFY(arrow->contains(grab));
    ts::press(view, grab);
    ts::move(view, grab + QPointF(0.6, 0.6));
    QCOMPARE(arrow->startPoint(), QPointF(10, 10));
    ts::move(view, grab + QPointF(1.2, 1.2)); // the last point advanced: again only 0.6
    QCOMPARE(arrow->startPoint(), QPointF(10, 10));
    ts::move(view, grab + QPointF(4.8, -1.2)); // delta (3.6, -2.4): truncation toward zero
    QCOMPARE(arrow->startPoint(), QPointF(13, 7));
    QCOMPARE(arrow->endPoint(), QPointF(53, 47));
    ts::release(view, grab + QPointF(4.8, -1.2));
}

void TestShapeItems::penLopsidedHitSquares() {
    // Each point p catches the closed square from trunc(p - width / 2) to that + width + 4:
    // for width 2 and (10.7, 10.7) that is [9, 15] on both axes; for width 5 and (-3.5, -3.5)
    // it is [trunc(-5.5), -5 + 9] = [-5, 4].
    auto* pen = makeItem<RandomLineGraphicsItem>(PaintShapesPen, 2);
    QVERIFY(!pen->contains(QPointF(10, 10))); // no points: never hit
    pen->changePoint(QPointF(10.7, 10.7));
    for (QPointF in : {QPointF(9, 9), QPointF(14.9, 14.9), QPointF(15, 15), QPointF(9, 12)})
        QVERIFY(pen->contains(in));
    for (QPointF out : {QPointF(8.9, 10), QPointF(15.1, 12), QPointF(12, 8.9), QPointF(12, 15.1)})
        QVERIFY(!pen->contains(out));

    auto* wide = makeItem<RandomLineGraphicsItem>(PaintShapesPen, 5);
    wide->changePoint(QPointF(-3.5, -3.5));
    QVERIFY(wide->contains(QPointF(-5, -5)) && wide->contains(QPointF(4, 4)));
    QVERIFY(!wide->contains(QPointF(-5.1, 0)) && !wide->contains(QPointF(0, 4.1)));
}

void TestShapeItems::penDragsOnlyWhileEditing() {
    auto* pen = makeItem<RandomLineGraphicsItem>(PaintShapesPen, 10);
    scene->addItem(pen);
    const QVector<QPointF> pts{{100, 100}, {150, 120}, {200, 100}};
    for (QPointF const& p : pts)
        pen->changePoint(p);

    for (ItemPaintStatus s : {PaintStatusCreating, PaintStatusFinished}) {
        pen->setItemPaintStatus(s);
        ts::drag(view, QPointF(150, 120), QPointF(250, 220));
        QCOMPARE(pen->points(), pts);
    }
    pen->setItemPaintStatus(PaintStatusEditing);
    ts::drag(view, QPointF(150, 120), QPointF(230, 170));
    QCOMPARE(pen->points(), (QVector<QPointF>{{180, 150}, {230, 170}, {280, 150}}));
}

QTEST_MAIN(TestShapeItems)
#include "tst_shapeitems.moc"
