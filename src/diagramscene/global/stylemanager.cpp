#include "stylemanager.h"

#include "arrowgraphicitem.h"
#include "circlegraphicsitem.h"
#include "diagramtextitem.h"
#include "mainwindow.h"
#include "mosaicgraphicsitem.h"
#include "randomlinegraphicsitem.h"
#include "rectanglegraphicsitem.h"
#include "selectfontwidget.h"
#include "selectmasoicwidget.h"
#include "selectstylewidget.h"

#include <QDebug>
#include <QGraphicsItem>

StyleManager* StyleManager::manager = nullptr;

StyleManager* StyleManager::instance() {
    if (!manager)
        manager = new StyleManager(nullptr);
    return manager;
}

StyleManager::StyleManager(QObject* parent)
    : QObject(parent), mosaicMultiplier(3), textFlag(false), selectDoneFlag(false),
      thirdFlag(false), drawingShape(PaintShapesNone), currentItem(nullptr), popupPos(0, 0) {
    qRegisterMetaType<StyleInfo>("StyleInfo");
    qRegisterMetaType<PaintShape>("PaintShape");

    auto* circleWidget = new SelectStyleWidget(nullptr);
    auto* rectWidget = new SelectStyleWidget(nullptr);
    auto* penWidget = new SelectStyleWidget(nullptr);
    auto* arrowWidget = new SelectStyleWidget(nullptr);
    auto* mosaicWidget = new SelectMasoicWidget(nullptr);
    auto* fontWidget = new SelectFontWidget(nullptr);
    for (QWidget* w : {static_cast<QWidget*>(circleWidget), static_cast<QWidget*>(rectWidget),
                       static_cast<QWidget*>(penWidget), static_cast<QWidget*>(arrowWidget),
                       static_cast<QWidget*>(mosaicWidget), static_cast<QWidget*>(fontWidget)})
        w->setVisible(false);

    for (SelectStyleWidget* w : {circleWidget, rectWidget, penWidget, arrowWidget})
        connect(w, &SelectStyleWidget::sigChange, this, &StyleManager::slotChange);
    connect(mosaicWidget, &SelectMasoicWidget::sigChange, this, &StyleManager::slotChange);
    // Twice on purpose: the slot only copies values, so applying a change twice is harmless.
    connect(fontWidget, &SelectFontWidget::sigChange, this, &StyleManager::slotChange);
    connect(fontWidget, &SelectFontWidget::sigChange, this, &StyleManager::slotChange);

    widgetMap.insert(PaintShapesCircle, circleWidget);
    widgetMap.insert(PaintShapesRectangle, rectWidget);
    widgetMap.insert(PaintShapesPen, penWidget);
    widgetMap.insert(PaintShapesArrow, arrowWidget);
    widgetMap.insert(PaintShapesMosaic, mosaicWidget);
    widgetMap.insert(PaintShapesText, fontWidget);
    widgetList << rectWidget << circleWidget << penWidget << arrowWidget << mosaicWidget
               << fontWidget;

    selectionPen = QPen(QColor("#3A91F3"), 2);
    handlePen = QPen(QColor("#3A91F3"), 2);
    handleBrush = QBrush(Qt::white, Qt::SolidPattern);
}

StyleManager::~StyleManager() {
    qDeleteAll(widgetList);
    widgetList.clear();
    widgetMap.clear();
    for (auto it = styleMap.begin(); it != styleMap.end(); ++it) {
        delete it.value();
        delete it.key();
    }
    styleMap.clear();
    qDebug() << "~StyleManager";
}

QGraphicsItem* StyleManager::createItem() {
    auto* info = new StyleInfo;
    auto styleOf = [this](PaintShape shape) -> StyleInfo {
        QWidget* w = widgetMap.value(shape);
        if (auto* s = qobject_cast<SelectStyleWidget*>(w))
            return s->getStyle();
        if (auto* m = qobject_cast<SelectMasoicWidget*>(w))
            return m->getStyle();
        if (auto* f = qobject_cast<SelectFontWidget*>(w))
            return f->getStyle();
        return StyleInfo();
    };
    QGraphicsItem* made = nullptr;
    switch (drawingShape) {
    case PaintShapesMosaic:
        qDebug() << "PaintShapesMosaic";
        made = new MosaicGraphicsItem();
        break;
    case PaintShapesCircle:
        made = new CircleGraphicsItem();
        break;
    case PaintShapesRectangle:
        made = new RectangleGraphicsItem();
        break;
    case PaintShapesText:
        made = new DiagramTextItem();
        break;
    case PaintShapesPen:
        made = new RandomLineGraphicsItem();
        break;
    case PaintShapesArrow:
        made = new ArrowGraphicItem();
        break;
    default:
        // No tool: nothing is made, and the current item (even a null one) is recorded again.
        break;
    }
    if (made) {
        currentItem = made;
        *info = styleOf(drawingShape);
    }
    // Replacing a record must not leak the old one.
    if (StyleInfo* old = styleMap.value(currentItem, nullptr))
        delete old;
    styleMap.insert(currentItem, info);
    itemList.append(currentItem);
    shapeMap.insert(currentItem, drawingShape);
    return currentItem;
}

void StyleManager::removeItem(QGraphicsItem* item) {
    if (item == currentItem)
        currentItem = nullptr;
    StyleInfo* info = styleMap.value(item, nullptr);
    styleMap.remove(item);
    shapeMap.remove(item);
    Q_ASSERT(!itemList.isEmpty());
    if (!itemList.isEmpty())
        itemList.removeLast();
    // An item entered twice (a tool-less create) must not stay behind as a dangling entry.
    if (item)
        itemList.removeAll(item);
    delete item;
    delete info;
}

void StyleManager::undo() {
    if (itemList.isEmpty())
        return;
    removeItem(itemList.last());
}

void StyleManager::setItemStatusByShape(QGraphicsItem* item, ItemPaintStatus status,
                                        bool includePen) {
    if (!item)
        return;
    switch (getItemShape(item)) {
    case PaintShapesText:
        if (auto* t = dynamic_cast<DiagramTextItem*>(item))
            t->setItemPaintStatus(status);
        break;
    case PaintShapesArrow:
        static_cast<ArrowGraphicItem*>(item)->setItemPaintStatus(status);
        break;
    case PaintShapesCircle:
    case PaintShapesRectangle:
        static_cast<ShapeBaseGraphicsItem*>(item)->setItemPaintStatus(status);
        break;
    case PaintShapesPen:
        if (includePen)
            static_cast<RandomLineGraphicsItem*>(item)->setItemPaintStatus(status);
        break;
    default:
        break;
    }
}

void StyleManager::cleanSelectedItem() {
    if (currentItem)
        setItemStatusByShape(currentItem, PaintStatusFinished);
    currentItem = nullptr;
}

void StyleManager::cleanAllItem() {
    drawingShape = PaintShapesNone;
    currentItem = nullptr;
    for (auto it = styleMap.begin(); it != styleMap.end(); ++it) {
        delete it.value();
        delete it.key();
    }
    styleMap.clear();
    itemList.clear();
    shapeMap.clear();
}

void StyleManager::resetSession() {
    cleanAllItem();
    textFlag = false;
    selectDoneFlag = false;
    for (QWidget* popup : widgetList)
        popup->hide();
}

void StyleManager::setCurrentItem(QGraphicsItem* item) {
    qDebug() << "current changed to " << item;
    currentItem = item;
    if (!item)
        return;
    PaintShape shape = getItemShape(item);
    drawingShape = shape;
    show(popupPos, shape);
    emit sigShapeChange(shape);
}

QGraphicsItem* StyleManager::getCurrentItem() {
    return currentItem;
}

PaintShape StyleManager::getCurrentItemShape() {
    return getItemShape(getCurrentItem());
}

PaintShape StyleManager::getCurrentDrawingShape() {
    return drawingShape;
}

void StyleManager::currentDrawingShape(PaintShape shape) {
    drawingShape = shape;
    cleanSelectedItem();
}

PaintShape StyleManager::getItemShape(QGraphicsItem* item) {
    if (!item)
        return PaintShapesNone;
    auto it = shapeMap.find(item);
    if (it == shapeMap.end())
        it = shapeMap.insert(item, PaintShapesNone);
    return it.value();
}

StyleInfo* StyleManager::getGraphicItemStyleInfo(QGraphicsItem const* item) {
    auto it = styleMap.find(item);
    if (it == styleMap.end())
        it = styleMap.insert(item, nullptr);
    return it.value();
}

PaintOperate StyleManager::getPaintOperate(QGraphicsItem* item) {
    if (!item || !itemList.contains(item))
        return CreateNewOperate;
    if (item == currentItem)
        return EditOperate;
    setItemStatusByShape(item, PaintStatusEditing);
    if (currentItem)
        setItemStatusByShape(currentItem, PaintStatusFinished);
    currentItem = item;
    return EditOperate;
}

bool StyleManager::containsItem(QGraphicsItem* item) {
    return item && itemList.contains(item);
}

QGraphicsItem* StyleManager::getLastItem() {
    return itemList.isEmpty() ? nullptr : itemList.last();
}

QList<QGraphicsItem*> StyleManager::getAllItem() {
    return itemList;
}

QList<QWidget*> StyleManager::getAllWidget() {
    return widgetList;
}

void StyleManager::setMainWindowList(QList<MainWindow*>& list) {
    if (&list != &windowList)
        windowList = list;
}

void StyleManager::updateDynamicRect(MainWindow* window) {
    for (MainWindow* w : windowList) {
        if (w != window)
            w->setDynamicRect(QRect());
    }
}

void StyleManager::show(QPoint const& pos, PaintShape shape) {
    drawingShape = shape;
    popupPos = pos;
    auto it = widgetMap.find(shape);
    if (it == widgetMap.end())
        it = widgetMap.insert(shape, nullptr);
    QWidget* popup = it.value();
    for (QWidget* w : widgetMap) {
        if (w)
            w->setVisible(false);
    }
    if (popup) {
        popup->move(pos);
        popup->setVisible(true);
    }
}

void StyleManager::slotChange(StyleInfo info) {
    if (!currentItem)
        return;
    auto it = styleMap.find(currentItem);
    if (it == styleMap.end())
        it = styleMap.insert(currentItem, nullptr);
    if (it.value()) {
        it.value()->font = info.font;
        it.value()->color = info.color;
        it.value()->width = info.width;
    }
    currentItem->update(QRectF());
    if (drawingShape == PaintShapesText) {
        qDebug() << "focus text";
        currentItem->focusItem();
    }
}
