#include "paintramscene.h"

#include "arrowgraphicitem.h"
#include "diagramtextitem.h"
#include "mainwindow.h"
#include "mosaicgraphicsitem.h"
#include "pixmapcacheitem.h"
#include "randomlinegraphicsitem.h"
#include "shapebasegraphicsitem.h"
#include "stylemanager.h"

#include <QDebug>
#include <QGraphicsSceneMouseEvent>

ItemGroup::ItemGroup(QGraphicsItem* parent) : QGraphicsItemGroup(parent), rect_(0, 0, 0, 0) {}

QRectF ItemGroup::boundingRect() const {
    return rect_;
}

bool ItemGroup::contains(QPointF const&) const {
    return false;
}

void ItemGroup::setRect() {
    prepareGeometryChange();
    const QRectF sr = scene() ? scene()->sceneRect() : QRectF();
    rect_ = QRectF(-sr.width() / 2, -sr.height() / 2, sr.width(), sr.height());
}

PaintRamScene::PaintRamScene(QObject* parent)
    : QGraphicsScene(parent), pixmapItem_(new PixmapCacheItem()), group_(new ItemGroup(nullptr)),
      paintOperate_(FinishOperate), mouseStatus_(0), resetCounter_(0), doubleClickArmed_(false),
      drewItem_(false), pressedOnItem_(false), window_(nullptr) {
    setItemIndexMethod(QGraphicsScene::NoIndex);
    addItem(pixmapItem_);
    addItem(group_);
    setFocusOnTouch(false);
}

PaintRamScene::~PaintRamScene() {
    // Annotation items belong to the style manager; let go of them before the scene deletes
    // whatever is left in it.
    StyleManager* manager = StyleManager::manager;
    if (manager) {
        for (QGraphicsItem* item : manager->getAllItem()) {
            if (item && item->scene() == this)
                removeItem(item);
        }
    }
    delete pixmapItem_;
    delete group_;
}

void PaintRamScene::setCurrentWidget(MainWindow* window) {
    window_ = window;
}

void PaintRamScene::setPaintPixmap(QPixmap const& pixmap) {
    paintPixmap_ = pixmap;
    paintImage_ = pixmap.toImage();
    pixmapItem_->setShowPixmap(pixmap);
    group_->setRect();
}

void PaintRamScene::setPaintShape(PaintShape shape) {
    qDebug() << int(shape);
    StyleManager::instance()->currentDrawingShape(shape);
}

PaintOperate PaintRamScene::getPaintOperate(QGraphicsItem* item) {
    StyleManager* manager = StyleManager::instance();
    QGraphicsItem* current = manager->getCurrentItem();
    if (!current && !item) {
        qDebug() << "CreateNewOperate";
        return CreateNewOperate;
    }
    if (item == current)
        return EditOperate;
    const bool managed = item && manager->containsItem(item);
    if (managed)
        manager->setItemStatusByShape(item, PaintStatusEditing, true);
    if (current)
        manager->setItemStatusByShape(current, PaintStatusFinished, true);
    if (managed) {
        manager->setCurrentItem(item);
        // Re-adding puts it above every other item.
        removeItem(item);
        addItem(item);
        return EditOperate;
    }
    if (item)
        return CreateNewOperate;
    manager->setCurrentItem(nullptr);
    return FinishOperate;
}

void PaintRamScene::paintUndo() {
    StyleManager::instance()->undo();
}

void PaintRamScene::finishPaint() {
    StyleManager::instance()->cleanSelectedItem();
}

void PaintRamScene::resumeInitStatus() {
    resetCounter_ = 0;
    if (QGraphicsItem* grabber = mouseGrabberItem())
        grabber->ungrabMouse();
    clearFocus();
    paintOperate_ = FinishOperate;
    mouseStatus_ = 0;
    doubleClickArmed_ = drewItem_ = pressedOnItem_ = false;
    paintPixmap_ = QPixmap();
    paintImage_ = QImage();
    pixmapItem_->setShowPixmap(QPixmap());
}

void PaintRamScene::mousePressEvent(QGraphicsSceneMouseEvent* event) {
    qDebug() << "mousePressEvent";
    if (event->button() == Qt::RightButton)
        return;
    doubleClickArmed_ = true;
    drewItem_ = false;
    pressPoint_ = lastPoint_ = event->scenePos();
    mouseStatus_ = 1;
    paintOperate_ = getPaintOperate(itemAt(pressPoint_, QTransform()));
    pressedOnItem_ = paintOperate_ == EditOperate;
    StyleManager* manager = StyleManager::instance();
    if ((paintOperate_ == FinishOperate || paintOperate_ == CreateNewOperate) &&
        manager->getCurrentDrawingShape() == PaintShapesText) {
        QGraphicsItem* item = manager->createItem();
        addItem(item);
        if (auto* text = dynamic_cast<DiagramTextItem*>(item)) {
            text->setItemPaintStatus(PaintStatusCreating);
            text->setPos(pressPoint_);
        }
        if (window_)
            window_->updateUndo();
        paintOperate_ = CreateNewOperate;
        return;
    }
    if (paintOperate_ == CreateNewOperate)
        return;
    QGraphicsScene::mousePressEvent(event);
}

void PaintRamScene::mouseMoveEvent(QGraphicsSceneMouseEvent* event) {
    currentPoint_ = event->scenePos();
    StyleManager* manager = StyleManager::instance();
    if (paintOperate_ == FinishOperate)
        paintOperate_ = CreateNewOperate;
    switch (paintOperate_) {
    case CreateNewOperate: {
        const PaintShape tool = manager->getCurrentDrawingShape();
        if (tool == PaintShapesText) {
            QGraphicsScene::mouseMoveEvent(event);
            return;
        }
        QGraphicsItem* item = nullptr;
        if (mouseStatus_ == 1) {
            mouseStatus_ = 2;
            item = manager->createItem();
            if (window_)
                window_->updateUndo();
            if (tool == PaintShapesMosaic) {
                auto* mosaic = static_cast<MosaicGraphicsItem*>(item);
                group_->addToGroup(mosaic);
                mosaic->setImage(paintImage_);
                mosaic->initPoint();
                mosaic->changePoint(pressPoint_);
            } else if (item) {
                addItem(item);
                if (tool == PaintShapesPen)
                    static_cast<RandomLineGraphicsItem*>(item)->changePoint(pressPoint_);
            }
        } else {
            item = manager->getLastItem();
        }
        if (!item || mouseStatus_ != 2) {
            // Buttons up (hover) or nothing to feed: only the default handling.
            QGraphicsScene::mouseMoveEvent(event);
            return;
        }
        switch (tool) {
        case PaintShapesMosaic:
            qDebug() << item;
            static_cast<MosaicGraphicsItem*>(item)->changePoint(currentPoint_);
            break;
        case PaintShapesCircle:
        case PaintShapesRectangle: {
            const double x = std::min(pressPoint_.x(), currentPoint_.x());
            const double y = std::min(pressPoint_.y(), currentPoint_.y());
            static_cast<ShapeBaseGraphicsItem*>(item)->setRect(
                QRectF(x, y, std::abs(currentPoint_.x() - pressPoint_.x()),
                       std::abs(currentPoint_.y() - pressPoint_.y())));
            break;
        }
        case PaintShapesPen:
            static_cast<RandomLineGraphicsItem*>(item)->changePoint(currentPoint_);
            break;
        case PaintShapesArrow:
            static_cast<ArrowGraphicItem*>(item)->setArrowPoint(pressPoint_, currentPoint_);
            break;
        default:
            QGraphicsScene::mouseMoveEvent(event);
            break;
        }
        return;
    }
    case EditOperate: {
        if (manager->getCurrentItemShape() == PaintShapesText) {
            auto* text = dynamic_cast<DiagramTextItem*>(manager->getCurrentItem());
            if (text && text->isCanMove()) {
                text->setPos(text->scenePos() + (currentPoint_ - lastPoint_));
                lastPoint_ = currentPoint_;
            }
        }
        QGraphicsScene::mouseMoveEvent(event);
        return;
    }
    default:
        QGraphicsScene::mouseMoveEvent(event);
        return;
    }
}

void PaintRamScene::mouseReleaseEvent(QGraphicsSceneMouseEvent* event) {
    currentPoint_ = event->scenePos();
    StyleManager* manager = StyleManager::instance();
    if (paintOperate_ == CreateNewOperate && mouseStatus_ != 3) {
        QGraphicsItem* item = manager->getLastItem();
        switch (manager->getCurrentItemShape()) {
        case PaintShapesPen:
        case PaintShapesCircle:
        case PaintShapesRectangle:
        case PaintShapesArrow:
            if (mouseStatus_ == 2)
                manager->setItemStatusByShape(item, PaintStatusEditing, true);
            break;
        case PaintShapesText:
            if (auto* text = dynamic_cast<DiagramTextItem*>(item)) {
                text->setItemPaintStatus(PaintStatusEditing);
                text->setPos(pressPoint_);
                text->setTextInteractionFlags(Qt::TextEditorInteraction);
                text->setFocus(Qt::OtherFocusReason);
            }
            break;
        default:
            break;
        }
    }
    // Qt delivers the second press of a double click after this release: remember that this
    // gesture drew an item, so a quick click on its end does not confirm the capture.
    drewItem_ = paintOperate_ == CreateNewOperate && mouseStatus_ == 2;
    mouseStatus_ = 3;
    QGraphicsScene::mouseReleaseEvent(event);
}

void PaintRamScene::mouseDoubleClickEvent(QGraphicsSceneMouseEvent* event) {
    // A double click on an annotation that was there before it belongs to that annotation (a
    // text opens for editing); on the background it confirms, even where its first click just
    // made a text.
    if (doubleClickArmed_ && mouseStatus_ != 2 && !drewItem_ && !pressedOnItem_) {
        doubleClickArmed_ = false;
        emit sigDoubleClick();
    }
    QGraphicsScene::mouseDoubleClickEvent(event);
}
