#ifndef STYLEMANAGER_H
#define STYLEMANAGER_H

#include "drawdefine.h"

#include <QBrush>
#include <QList>
#include <QMap>
#include <QObject>
#include <QPen>
#include <QPoint>
#include <QRect>

class QGraphicsItem;
class QWidget;
class MainWindow;

// Process-wide owner of the annotation items, their styles, the undo order and the style popups.
class StyleManager : public QObject {
    Q_OBJECT
public:
    explicit StyleManager(QObject* parent = nullptr);
    ~StyleManager() override;

    static StyleManager* instance();
    static StyleManager* manager;

    QGraphicsItem* createItem();
    void removeItem(QGraphicsItem* item);
    void undo();
    void cleanAllItem();
    // Back to how a capture starts: no items, no tool, both flags clear, every popup hidden.
    void resetSession();
    void cleanSelectedItem();
    void setCurrentItem(QGraphicsItem* item);
    QGraphicsItem* getCurrentItem();
    PaintShape getCurrentItemShape();
    PaintShape getCurrentDrawingShape();
    void currentDrawingShape(PaintShape shape);
    PaintShape getItemShape(QGraphicsItem* item);
    StyleInfo* getGraphicItemStyleInfo(QGraphicsItem const* item);
    PaintOperate getPaintOperate(QGraphicsItem* item);
    bool containsItem(QGraphicsItem* item);
    QGraphicsItem* getLastItem();
    QList<QGraphicsItem*> getAllItem();
    QList<QWidget*> getAllWidget();
    void setMainWindowList(QList<MainWindow*>& list);
    void updateDynamicRect(MainWindow* window);
    void show(QPoint const& pos, PaintShape shape);
    int getMosaicMultiplier() const { return mosaicMultiplier; }
    QWidget* getPopup(PaintShape shape) const { return widgetMap.value(shape); }

    // Sets the editing or finished status on an item of any kind, by the tool that made it.
    // The pen line is switched only where asked: finishing it leaves its look as it was.
    void setItemStatusByShape(QGraphicsItem* item, ItemPaintStatus status, bool includePen = false);

    QPen selectionPen;
    QPen handlePen;
    QBrush handleBrush;
    int mosaicMultiplier;
    bool textFlag;
    bool selectDoneFlag;
    bool thirdFlag;

signals:
    void sigShapeChange(PaintShape shape);

public slots:
    void slotChange(StyleInfo info);

private:
    QMap<QGraphicsItem const*, StyleInfo*> styleMap;
    QList<QGraphicsItem*> itemList;
    QMap<QGraphicsItem*, PaintShape> shapeMap;
    QMap<PaintShape, QWidget*> widgetMap;
    QList<QWidget*> widgetList;
    PaintShape drawingShape;
    QGraphicsItem* currentItem;
    QPoint popupPos;
    QRect dynamicRect;
    QList<MainWindow*> windowList;
};

#endif // STYLEMANAGER_H
