#include "testsupport.h"

#include "arrowgraphicitem.h"
#include "circlegraphicsitem.h"
#include "diagramtextitem.h"
#include "linuxdiagramscene.h"
#include "mainwindow.h"
#include "mosaicgraphicsitem.h"
#include "paintramscene.h"
#include "randomlinegraphicsitem.h"
#include "rectanglegraphicsitem.h"
#include "screentoolframe.h"

class TestScenes : public QObject {
    Q_OBJECT
private slots:
    void cleanup();

    // Area selection, through the real overlay window.
    void zeroSizeDragAndRightButton();

    // Annotation scene on its own view.
    void clickWithoutMoveMakesNothing();
    void dragCreatesOnFirstMove_data();
    void dragCreatesOnFirstMove();
    void pressOnFinishedItemMakesItCurrentAndRaises();
    void mosaicLivesInGroup();
    void textToolClickCreatesEditableText();
    void rightButtonNeverReachesItems();

private:
    void makeWindow();
    void makePaintScene();

    MainWindow* window = nullptr;
    PaintRamScene* paint = nullptr;
    QGraphicsView* view = nullptr;
};

void TestScenes::cleanup() {
    delete window;
    window = nullptr;
    delete view;
    view = nullptr;
    delete paint;
    paint = nullptr;
    ts::resetManager();
}

void TestScenes::makeWindow() {
    ts::resetManager();
    window = new MainWindow;
    window->setMainWindowRect(QRect(0, 0, 2560, 1600));
    window->setScreenPixmap(new QPixmap(QPixmap::fromImage(ts::patternImage(2560, 1600))));
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window));
}

void TestScenes::makePaintScene() {
    ts::resetManager();
    paint = new PaintRamScene;
    paint->setSceneRect(-200, -150, 400, 300);
    view = new QGraphicsView;
    ts::setupView(*view, paint, QSize(400, 300));
    paint->setPaintPixmap(QPixmap::fromImage(ts::patternImage(400, 300)));
}

void TestScenes::zeroSizeDragAndRightButton() {
    makeWindow();
    LinuxDiagramScene* scene = window->selectionScene();
    QWidget* vp = window->selectionView()->viewport();
    // A flat region: selected, but no toolbar and nothing to take.
    ts::dragPx(vp, QPoint(500, 500), QPoint(800, 500));
    QCOMPARE(scene->selectStatus(), 2);
    QCOMPARE(scene->getPixmapRect().height(), 0.0);
    QVERIFY(!window->toolBar()->isVisible());
    QVERIFY(!scene->isCanGetPixmap());
    QVERIFY(window->getPixmap().isNull());
    // Its frame shows as a line.
    QCOMPARE(vp->grab().toImage().pixelColor(600, 500), QColor("#3A91F3"));

    // In a fresh window, a real region is not moved by a right-button drag inside it.
    delete window;
    makeWindow();
    scene = window->selectionScene();
    vp = window->selectionView()->viewport();
    ts::dragPx(vp, QPoint(400, 300), QPoint(900, 700));
    QVERIFY(window->toolBar()->isVisible());
    const QRectF before = scene->getPixmapRect();
    QCOMPARE(before.size(), QSizeF(500, 400));
    QTest::mousePress(vp, Qt::RightButton, {}, QPoint(600, 500));
    QTest::mouseMove(vp, QPoint(700, 650));
    QTest::mouseRelease(vp, Qt::RightButton, {}, QPoint(700, 650));
    QCOMPARE(scene->getPixmapRect(), before);
    QVERIFY(window->toolBar()->isVisible());
}

void TestScenes::clickWithoutMoveMakesNothing() {
    makePaintScene();
    StyleManager* m = StyleManager::instance();
    paint->setPaintShape(PaintShapesRectangle);
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, view->mapFromScene(QPointF(10, 10)));
    QVERIFY(m->getAllItem().isEmpty());

    // With an item current, a click on empty ground finishes it and makes nothing new.
    ts::drag(view, QPointF(-150, -100), QPointF(-50, -20));
    auto* first = static_cast<RectangleGraphicsItem*>(m->getLastItem());
    QCOMPARE(first->getItemPaintStatus(), PaintStatusEditing);
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, view->mapFromScene(QPointF(100, 100)));
    QCOMPARE(m->getAllItem().size(), 1);
    QCOMPARE(first->getItemPaintStatus(), PaintStatusFinished);
    QVERIFY(!m->getCurrentItem());
}

void TestScenes::dragCreatesOnFirstMove_data() {
    QTest::addColumn<int>("shape");
    QTest::newRow("rectangle") << int(PaintShapesRectangle);
    QTest::newRow("ellipse") << int(PaintShapesCircle);
    QTest::newRow("arrow") << int(PaintShapesArrow);
    QTest::newRow("pen") << int(PaintShapesPen);
}

void TestScenes::dragCreatesOnFirstMove() {
    QFETCH(int, shape);
    makePaintScene();
    StyleManager* m = StyleManager::instance();
    paint->setPaintShape(PaintShape(shape));
    const QPointF a(60, 40), b(-80, -70);
    ts::press(view, a);
    QVERIFY(m->getAllItem().isEmpty());
    ts::move(view, (a + b) / 2);
    QCOMPARE(m->getAllItem().size(), 1);
    QGraphicsItem* item = m->getLastItem();
    QCOMPARE(item->scene(), paint);
    ts::move(view, b);
    QCOMPARE(m->getAllItem().size(), 1);
    ts::release(view, b);

    if (auto* box = dynamic_cast<ShapeBaseGraphicsItem*>(item)) {
        QCOMPARE(box->getRect(), QRectF(-80, -70, 140, 110));
        QCOMPARE(box->getItemPaintStatus(), PaintStatusEditing);
    } else if (auto* arrow = dynamic_cast<ArrowGraphicItem*>(item)) {
        QCOMPARE(arrow->startPoint(), a);
        QCOMPARE(arrow->endPoint(), b);
        QCOMPARE(arrow->getItemPaintStatus(), PaintStatusEditing);
    } else {
        auto* pen = static_cast<RandomLineGraphicsItem*>(item);
        QCOMPARE(pen->points(), (QVector<QPointF>{a, (a + b) / 2, b}));
        QCOMPARE(pen->getItemPaintStatus(), PaintStatusEditing);
    }

    // A drag on empty ground finishes the current item and starts another.
    ts::drag(view, QPointF(150, 100), QPointF(180, 130));
    QCOMPARE(m->getAllItem().size(), 2);
    QCOMPARE(m->getCurrentItem(), m->getLastItem());
    QVERIFY(m->getLastItem() != item);
}

void TestScenes::pressOnFinishedItemMakesItCurrentAndRaises() {
    makePaintScene();
    StyleManager* m = StyleManager::instance();
    QSignalSpy shapes(m, &StyleManager::sigShapeChange);
    paint->setPaintShape(PaintShapesCircle);
    ts::drag(view, QPointF(-150, -100), QPointF(-50, -20)); // ellipse box (-150,-100,100,80)
    auto* circle = static_cast<CircleGraphicsItem*>(m->getLastItem());
    paint->setPaintShape(PaintShapesRectangle);
    ts::drag(view, QPointF(-30, -30), QPointF(80, 60)); // clear of the ellipse's band
    auto* rect = static_cast<RectangleGraphicsItem*>(m->getLastItem());
    auto above = [&](QGraphicsItem* x, QGraphicsItem* y) {
        const QList<QGraphicsItem*> topFirst =
            paint->items(paint->sceneRect(), Qt::IntersectsItemBoundingRect, Qt::DescendingOrder);
        return topFirst.indexOf(x) < topFirst.indexOf(y);
    };
    QVERIFY(above(rect, circle));
    QCOMPARE(circle->getItemPaintStatus(), PaintStatusFinished);
    QCOMPARE(shapes.count(), 0);

    // The ellipse's leftmost point lies on its outline and nowhere on the rectangle's.
    ts::press(view, QPointF(-150, -60));
    QCOMPARE(m->getCurrentItem(), circle);
    QCOMPARE(circle->getItemPaintStatus(), PaintStatusEditing);
    QCOMPARE(rect->getItemPaintStatus(), PaintStatusFinished);
    QCOMPARE(shapes.count(), 1);
    QCOMPARE(int(m->getCurrentDrawingShape()), int(PaintShapesCircle));
    QVERIFY(above(circle, rect));
    // The press went on to the ellipse, onto its left handle: dragging resizes it.
    ts::move(view, QPointF(-140, -50));
    ts::release(view, QPointF(-140, -50));
    QCOMPARE(circle->getRect(), QRectF(-140, -100, 90, 80));
    QCOMPARE(m->getAllItem().size(), 2);
}

void TestScenes::mosaicLivesInGroup() {
    makePaintScene();
    StyleManager* m = StyleManager::instance();
    paint->setPaintShape(PaintShapesMosaic);
    ts::drag(view, QPointF(-50, -50), QPointF(50, 20));
    QCOMPARE(m->getAllItem().size(), 1);
    auto* mosaic = dynamic_cast<MosaicGraphicsItem*>(m->getLastItem());
    QVERIFY(mosaic);
    QCOMPARE(mosaic->parentItem(), static_cast<QGraphicsItem*>(paint->mosaicGroup()));
    QCOMPARE(mosaic->boundingRect(), paint->sceneRect());
    QCOMPARE(mosaic->points().first(), QPointF(-50, -50));
    QCOMPARE(mosaic->points().last(), QPointF(50, 20));
    QCOMPARE(mosaic->pixelatedImage().size(), QSize(400, 300));
    // A press on the stroke does not pick the mosaic.
    ts::drag(view, QPointF(0, 0), QPointF(30, 30));
    QCOMPARE(m->getAllItem().size(), 2);
}

void TestScenes::textToolClickCreatesEditableText() {
    makePaintScene();
    StyleManager* m = StyleManager::instance();
    paint->setPaintShape(PaintShapesText);
    const QPointF at(-30, 40);
    ts::press(view, at);
    QCOMPARE(m->getAllItem().size(), 1); // exists from the press
    auto* text = dynamic_cast<DiagramTextItem*>(m->getLastItem());
    QVERIFY(text);
    QCOMPARE(text->getItemPaintStatus(), PaintStatusCreating);
    ts::release(view, at);
    QCOMPARE(text->pos(), at);
    QCOMPARE(text->getItemPaintStatus(), PaintStatusEditing);
    QCOMPARE(text->textInteractionFlags(), Qt::TextEditorInteraction);
    QVERIFY(m->textFlag);

    // Choosing a tool ends the editing.
    paint->setPaintShape(PaintShapesRectangle);
    QCOMPARE(text->textInteractionFlags(), Qt::NoTextInteraction);

    // A double click on the background confirms, although its first click made a text there.
    QSignalSpy confirmed(paint, &PaintRamScene::sigDoubleClick);
    paint->setPaintShape(PaintShapesText);
    QTest::mouseDClick(view->viewport(), Qt::LeftButton, {}, view->mapFromScene(QPointF(100, -80)));
    QCOMPARE(m->getAllItem().size(), 2);
    QCOMPARE(confirmed.count(), 1);
}

void TestScenes::rightButtonNeverReachesItems() {
    makePaintScene();
    StyleManager* m = StyleManager::instance();
    paint->setPaintShape(PaintShapesRectangle);
    ts::drag(view, QPointF(-100, -100), QPointF(0, 0));
    auto* first = static_cast<RectangleGraphicsItem*>(m->getLastItem());
    ts::drag(view, QPointF(50, 50), QPointF(150, 120));
    auto* second = static_cast<RectangleGraphicsItem*>(m->getLastItem());
    QCOMPARE(first->getItemPaintStatus(), PaintStatusFinished);

    // Right-dragging a finished item's edge neither selects nor moves it.
    ts::drag(view, QPointF(-50, -100), QPointF(-20, -60), 3, Qt::RightButton);
    QCOMPARE(first->getRect(), QRectF(-100, -100, 100, 100));
    QCOMPARE(first->getItemPaintStatus(), PaintStatusFinished);
    QCOMPARE(m->getCurrentItem(), static_cast<QGraphicsItem*>(second));
    // Nor does it resize the current one by a handle.
    ts::drag(view, QPointF(150, 120), QPointF(180, 140), 3, Qt::RightButton);
    QCOMPARE(second->getRect(), QRectF(50, 50, 100, 70));
    QCOMPARE(m->getAllItem().size(), 2);
}

QTEST_MAIN(TestScenes)
#include "tst_scenes.moc"
