#ifndef PAINTRAMSCENE_H
#define PAINTRAMSCENE_H

#include "drawdefine.h"

#include <QGraphicsItemGroup>
#include <QGraphicsScene>
#include <QImage>
#include <QPixmap>

class MainWindow;
class PixmapCacheItem;

// Container of the mosaic strokes; never itself the item under the mouse.
class ItemGroup : public QGraphicsItemGroup {
public:
    explicit ItemGroup(QGraphicsItem* parent = nullptr);
    QRectF boundingRect() const override;
    bool contains(QPointF const& point) const override;
    void setRect();

private:
    QRectF rect_;
};

// Scene on which the chosen region is annotated.
class PaintRamScene : public QGraphicsScene {
    Q_OBJECT
public:
    explicit PaintRamScene(QObject* parent = nullptr);
    ~PaintRamScene() override;

    void setCurrentWidget(MainWindow* window);
    void setPaintPixmap(QPixmap const& pixmap);
    void setPaintShape(PaintShape shape);
    PaintOperate getPaintOperate(QGraphicsItem* item);
    void paintUndo();
    void finishPaint();
    void resumeInitStatus();
    ItemGroup* mosaicGroup() const { return group_; }
    PixmapCacheItem* pixmapItem() const { return pixmapItem_; }

signals:
    void sigDoubleClick();

protected:
    void mousePressEvent(QGraphicsSceneMouseEvent* event) override;
    void mouseMoveEvent(QGraphicsSceneMouseEvent* event) override;
    void mouseReleaseEvent(QGraphicsSceneMouseEvent* event) override;
    void mouseDoubleClickEvent(QGraphicsSceneMouseEvent* event) override;

private:
    PixmapCacheItem* pixmapItem_;
    ItemGroup* group_;
    QPointF pressPoint_;
    QPointF currentPoint_;
    QPointF lastPoint_;
    PaintOperate paintOperate_;
    int mouseStatus_;
    int resetCounter_;
    QPixmap paintPixmap_;
    // Converted once per region so every mosaic stroke shares one image.
    QImage paintImage_;
    bool doubleClickArmed_;
    bool drewItem_;
    // The last press landed on an annotation that was already there.
    bool pressedOnItem_;
    MainWindow* window_;
};

#endif // PAINTRAMSCENE_H
