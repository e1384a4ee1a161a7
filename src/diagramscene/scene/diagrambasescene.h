#ifndef DIAGRAMBASESCENE_H
#define DIAGRAMBASESCENE_H

#include <QGraphicsScene>
#include <QPixmap>
#include <QVector>

class MainWindow;
class ScreenShotGraphicsItem;
class MagnifyingGlassGraphicsitem;

// Scene on which the region of the frozen screenshot is dragged out and adjusted.
class DiagramBaseScene : public QGraphicsScene {
    Q_OBJECT
public:
    explicit DiagramBaseScene(QObject* parent = nullptr);
    ~DiagramBaseScene() override;

    void setCurrentWidget(MainWindow* window);
    virtual void setScreenRect(QRect const& rect);
    virtual void setScreenPixmap(QPixmap* pixmap);
    virtual void setDynamicRect(QRectF const& rect);
    virtual QPixmap getPixmap();
    virtual bool isCanGetPixmap();
    virtual QRectF getPixmapRect();
    virtual void resumeInitStatus();
    void showToolWidget();
    void hideToolWidget();
    void captureScreentPixmapPress();
    void captureScreentPixmapMove();
    void captureScreentPixmapRelease();
    // Windows (topmost first) and screens, in window coordinates, proposed while hovering.
    void setHoverRegions(QVector<QRectF> const& windows, QVector<QRectF> const& screens);
    // In view coordinates: the topmost window under `scenePos` clipped to its screen, else
    // that screen; null without hover regions.
    QRectF hoverRegion(QPointF const& scenePos) const;
    // Keeps the unrounded pointer position of the view's mouse events (see pointerPos).
    bool eventFilter(QObject* watched, QEvent* event) override;
    // Moves the chosen region by (dx, dy), or with `grow` moves its right and bottom edges;
    // it stays on the desktop. False when no region is chosen.
    bool nudgeSelection(int dx, int dy, bool grow);

    ScreenShotGraphicsItem* selectionItem() const { return screenShotItem_; }
    MagnifyingGlassGraphicsitem* magnifier() const { return glassItem_; }
    int selectStatus() const { return selectStatus_; }
    int mouseStatus() const { return mouseStatus_; }

private:
    QPointF pointerPos(QGraphicsSceneMouseEvent* event) const;

protected:
    void mousePressEvent(QGraphicsSceneMouseEvent* event) override;
    void mouseMoveEvent(QGraphicsSceneMouseEvent* event) override;
    void mouseReleaseEvent(QGraphicsSceneMouseEvent* event) override;
    void mouseDoubleClickEvent(QGraphicsSceneMouseEvent* event) override;

    ScreenShotGraphicsItem* screenShotItem_;
    MainWindow* window_;
    int selectStatus_;
    int mouseStatus_;
    QPointF pressPoint_;
    QPointF currentPoint_;
    bool pixmapReady_;
    QRectF dynamicRect_;
    QPointF viewPos_;
    MagnifyingGlassGraphicsitem* glassItem_;
    QVector<QRectF> hoverWindows_;
    QVector<QRectF> hoverScreens_;
    // The last click took the proposed region (its double click does not confirm).
    bool clickTookRegion_ = false;
};

#endif // DIAGRAMBASESCENE_H
