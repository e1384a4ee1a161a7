#include "diagrambasescene.h"

#include "magnifyingglassgraphicsitem.h"
#include "mainwindow.h"
#include "screenshotgraphicsitem.h"
#include "stylemanager.h"

#include <QGraphicsSceneMouseEvent>
#include <QGraphicsView>
#include <QMouseEvent>
#include <QPainterPath>
#include <QWidget>

DiagramBaseScene::DiagramBaseScene(QObject* parent)
    : QGraphicsScene(parent), screenShotItem_(new ScreenShotGraphicsItem()), window_(nullptr),
      selectStatus_(0), mouseStatus_(0), pixmapReady_(false), dynamicRect_(),
      glassItem_(new MagnifyingGlassGraphicsitem()) {
    // A handful of items that change geometry on every move: no index to keep up to date.
    setItemIndexMethod(QGraphicsScene::NoIndex);
    screenShotItem_->setItemPaintStatus(PaintStatusFinished);
    screenShotItem_->setMagnifyingGlassItem(glassItem_);
    addItem(screenShotItem_);
    addItem(glassItem_);
}

DiagramBaseScene::~DiagramBaseScene() = default;

void DiagramBaseScene::setCurrentWidget(MainWindow* window) {
    window_ = window;
}

void DiagramBaseScene::setScreenRect(QRect const& rect) {
    screenShotItem_->setScreenRect(rect);
}

void DiagramBaseScene::setScreenPixmap(QPixmap* pixmap) {
    pixmapReady_ = true;
    screenShotItem_->setScreenPixmap(pixmap);
}

void DiagramBaseScene::setDynamicRect(QRectF const& rect) {
    dynamicRect_ = rect;
}

void DiagramBaseScene::setHoverRegions(QVector<QRectF> const& windows,
                                       QVector<QRectF> const& screens) {
    hoverWindows_ = windows;
    hoverScreens_ = screens;
}

QRectF DiagramBaseScene::hoverRegion(QPointF const& scenePos) const {
    if (hoverScreens_.isEmpty() || views().isEmpty() || !window_)
        return QRectF();
    const QGraphicsView* view = views().first();
    const QPoint offset = view->viewport()->mapFrom(window_, QPoint(0, 0));
    const QPointF p = view->viewportTransform().map(scenePos) - offset;
    // Right and bottom edges belong to the neighbour.
    auto inside = [&p](QRectF const& r) {
        return p.x() >= r.left() && p.x() < r.right() && p.y() >= r.top() && p.y() < r.bottom();
    };
    QRectF screen;
    for (QRectF const& s : hoverScreens_) {
        if (inside(s)) {
            screen = s;
            break;
        }
    }
    QRectF region = screen;
    for (QRectF const& w : hoverWindows_) {
        if (inside(w)) {
            region = screen.isNull() ? w : w & screen;
            break;
        }
    }
    return region.translated(offset);
}

bool DiagramBaseScene::nudgeSelection(int dx, int dy, bool grow) {
    QRectF r = screenShotItem_->getRect();
    if (selectStatus_ != 2 || r.width() <= 0 || r.height() <= 0 || views().isEmpty() || !window_)
        return false;
    const QGraphicsView* view = views().first();
    const QRectF desk(view->mapToScene(view->viewport()->mapFrom(window_, QPoint(0, 0))),
                      QSizeF(window_->size()));
    if (grow) {
        r.setWidth(qBound(1.0, r.width() + dx, desk.right() - r.left()));
        r.setHeight(qBound(1.0, r.height() + dy, desk.bottom() - r.top()));
    } else {
        r.moveLeft(qMax(desk.left(), qMin(r.left() + dx, desk.right() - r.width())));
        r.moveTop(qMax(desk.top(), qMin(r.top() + dy, desk.bottom() - r.height())));
    }
    screenShotItem_->setRect(r);
    showToolWidget();
    return true;
}

QPixmap DiagramBaseScene::getPixmap() {
    return QPixmap();
}

bool DiagramBaseScene::isCanGetPixmap() {
    const QRectF r = screenShotItem_->getRect();
    return selectStatus_ == 2 && r.width() > 0 && r.height() > 0;
}

QRectF DiagramBaseScene::getPixmapRect() {
    return screenShotItem_->getRect();
}

void DiagramBaseScene::captureScreentPixmapPress() {
    if (selectStatus_ != 0) {
        screenShotItem_->setRect(QRectF(pressPoint_, QSizeF(0, 0)));
        return;
    }
    if (views().isEmpty())
        return;
    QGraphicsView* view = views().first();
    QPainterPath path;
    path.addRect(dynamicRect_);
    screenShotItem_->setRect(view->mapToScene(path).boundingRect());
    screenShotItem_->setMagnifyingGlassPosition(currentPoint_, true);
}

void DiagramBaseScene::captureScreentPixmapMove() {
    const double x = std::min(pressPoint_.x(), currentPoint_.x());
    const double y = std::min(pressPoint_.y(), currentPoint_.y());
    screenShotItem_->setRect(QRectF(x, y, std::abs(currentPoint_.x() - pressPoint_.x()),
                                    std::abs(currentPoint_.y() - pressPoint_.y())));
    screenShotItem_->setMagnifyingGlassPosition(currentPoint_, false);
}

void DiagramBaseScene::captureScreentPixmapRelease() {
    screenShotItem_->setItemPaintStatus(PaintStatusEditing);
}

bool DiagramBaseScene::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseMove:
        // Widgets get whole positions; the window's own one is unrounded.
        if (auto* viewport = qobject_cast<QWidget*>(watched))
            viewPos_ = static_cast<QMouseEvent*>(event)->windowPos() -
                       QPointF(viewport->mapTo(viewport->window(), QPoint(0, 0)));
        break;
    default:
        break;
    }
    return QGraphicsScene::eventFilter(watched, event);
}

// The view hands the scene whole view pixels; at a fractional scale the pointer sits on a
// finer grid, the device's, which the view's own event still has.
QPointF DiagramBaseScene::pointerPos(QGraphicsSceneMouseEvent* event) const {
    if (views().isEmpty())
        return event->scenePos();
    const QGraphicsView* view = views().first();
    if (view->mapToScene(viewPos_.toPoint()) != event->scenePos())
        return event->scenePos();
    return view->viewportTransform().inverted().map(viewPos_);
}

void DiagramBaseScene::mousePressEvent(QGraphicsSceneMouseEvent* event) {
    if (event->button() == Qt::RightButton)
        return;
    if (screenShotItem_->isContains(event->scenePos()))
        hideToolWidget();
    screenShotItem_->setShowSize(true);
    mouseStatus_ = 1;
    clickTookRegion_ = false;
    pressPoint_ = pointerPos(event);
    QGraphicsScene::mousePressEvent(event);
}

void DiagramBaseScene::mouseMoveEvent(QGraphicsSceneMouseEvent* event) {
    if (!pixmapReady_)
        return;
    currentPoint_ = pointerPos(event);
    screenShotItem_->setShowSize(true);
    switch (selectStatus_) {
    case 0:
        StyleManager::instance()->updateDynamicRect(window_);
        glassItem_->show();
        if (mouseStatus_ == 1) {
            selectStatus_ = 1;
            mouseStatus_ = 2;
            captureScreentPixmapPress();
            captureScreentPixmapMove();
            QGraphicsScene::mouseMoveEvent(event);
            return;
        }
        setDynamicRect(hoverRegion(currentPoint_));
        captureScreentPixmapPress();
        // Nothing to propose (no window list on Wayland): no "0 x 0" box before the drag.
        screenShotItem_->setShowSize(!dynamicRect_.isEmpty());
        break;
    case 1:
        captureScreentPixmapMove();
        break;
    case 2:
        if (mouseStatus_ == 1)
            mouseStatus_ = 2;
        break;
    default:
        break;
    }
    QGraphicsScene::mouseMoveEvent(event);
}

void DiagramBaseScene::mouseReleaseEvent(QGraphicsSceneMouseEvent* event) {
    if (!pixmapReady_ || event->button() == Qt::RightButton)
        return;
    currentPoint_ = pointerPos(event);
    glassItem_->setVisible(false);
    if (selectStatus_ == 0 && mouseStatus_ == 1) {
        const QRectF r = screenShotItem_->getRect();
        // A click without a drag takes the hover region, as if it had been dragged out.
        if (r.width() <= 0 || r.height() <= 0) {
            setDynamicRect(hoverRegion(currentPoint_));
            captureScreentPixmapPress();
        }
        const QRectF taken = screenShotItem_->getRect();
        if (taken.width() <= 0 || taken.height() <= 0) {
            // Nothing proposed there: still selecting.
            mouseStatus_ = 0;
            screenShotItem_->setShowSize(false);
            return;
        }
        StyleManager::instance()->selectDoneFlag = true;
        mouseStatus_ = 3;
        selectStatus_ = 2;
        clickTookRegion_ = true;
        captureScreentPixmapRelease();
        showToolWidget();
        return;
    }
    StyleManager::instance()->selectDoneFlag = true;
    if (selectStatus_ == 1 && mouseStatus_ == 2) {
        selectStatus_ = 2;
        captureScreentPixmapRelease();
    }
    const QRectF r = screenShotItem_->getRect();
    if (r.width() > 0 && r.height() > 0) {
        mouseStatus_ = 3;
        showToolWidget();
    }
    QGraphicsScene::mouseReleaseEvent(event);
}

void DiagramBaseScene::showToolWidget() {
    if (!window_)
        return;
    if (!screenShotItem_) {
        window_->showPaintToolWidget(QPointF());
        return;
    }
    const QRectF r = screenShotItem_->getRect();
    QPointF corner(r.x() + r.width(), r.y() + r.height());
    QPoint mapped(0, 0);
    if (!views().isEmpty())
        mapped = views().first()->mapFromScene(corner);
    window_->showPaintToolWidget(QPointF(mapped));
}

void DiagramBaseScene::hideToolWidget() {
    if (window_)
        window_->hidePaintToolWidget();
}

void DiagramBaseScene::mouseDoubleClickEvent(QGraphicsSceneMouseEvent* event) {
    // Not when the first click of this double click took the region.
    const QRectF r = screenShotItem_->getRect();
    if (selectStatus_ == 2 && r.width() > 0 && r.height() > 0 && !clickTookRegion_ && window_)
        window_->slotFinishScreenshots();
    QGraphicsScene::mouseDoubleClickEvent(event);
}

void DiagramBaseScene::resumeInitStatus() {
    // A session may end with the button down (Esc mid-drag), or a double click's second press
    // may arrive after it ended: no gesture carries over.
    if (QGraphicsItem* grabber = mouseGrabberItem())
        grabber->ungrabMouse();
    selectStatus_ = 0;
    mouseStatus_ = 0;
    clickTookRegion_ = false;
    pressPoint_ = currentPoint_ = QPointF();
    screenShotItem_->setItemPaintStatus(PaintStatusFinished);
    screenShotItem_->setShowSize(false);
    screenShotItem_->setRect(QRectF(0, 0, 0, 0));
    screenShotItem_->setScreenPixmap(nullptr);
    screenShotItem_->setScreenRect(QRect());
    update();
    glassItem_->setVisible(false);
    pixmapReady_ = false;
    dynamicRect_ = QRectF();
    hoverWindows_.clear();
    hoverScreens_.clear();
}
