#ifndef SCREENSHOTGRAPHICSITEM_H
#define SCREENSHOTGRAPHICSITEM_H

#include "shapebasegraphicsitem.h"

#include <QRegion>

class MagnifyingGlassGraphicsitem;
class QGraphicsView;

// The selection frame: shows the chosen part of the screenshot, its size and the magnifier.
class ScreenShotGraphicsItem : public ShapeBaseGraphicsItem {
public:
    ScreenShotGraphicsItem();
    ~ScreenShotGraphicsItem() override;

    void setScreenRect(QRect const& rect);
    void setScreenPixmap(QPixmap* pixmap);
    QPixmap getPixmap();
    void setShowSize(bool show);
    bool isShowSize() const { return showSize_; }
    void setMagnifyingGlassItem(MagnifyingGlassGraphicsitem* item);
    void setMagnifyingGlassPosition(QPointF const& pos, bool flag);
    void adjustPoint(QPointF& glassPos, QPointF const& cursor);
    int showMouseStyle(QPointF const& pos);
    QRectF sourceRect() const { return sourceRect_; }
    QRectF magnifierBounds() const { return glassBounds_; }
    // Picture pixels per overlay pixel, the picture's own device pixel ratio.
    qreal ratio() const { return ratio_; }

    QRectF boundingRect() const override;
    void customPaint(QPainter* painter, QRectF const& rect) override;

protected:
    void changeRect(QRectF const& next) override;
    void mousePressEvent(QGraphicsSceneMouseEvent* event) override;
    void mouseMoveEvent(QGraphicsSceneMouseEvent* event) override;
    void mouseReleaseEvent(QGraphicsSceneMouseEvent* event) override;

private:
    QGraphicsView* firstView() const;
    // The part of the screenshot under r, and r's corners in view coordinates.
    bool updateSourceRect(QRectF const& r, int& vx, int& vy, int& vr, int& vb);
    // What must be repainted when the frame goes from `from` to `to`, in scene coordinates;
    // empty when only a whole repaint is right.
    QRegion changedArea(QRectF const& from, QRectF const& to) const;
    void followHandle();
    void placeMagnifier(QPointF const& cursor, QPoint const& viewPoint, QPointF const& pixmapPoint);

    QRectF sourceRect_;
    QRect screenRect_;
    QRectF glassBounds_;
    qreal ratio_;
    int glassWidth_;
    int glassHeight_;
    bool showSize_;
    QPixmap* screenPixmap_;
    MagnifyingGlassGraphicsitem* glass_;
};

// Corner-by-corner rounding of a real rectangle, as QRectF::toRect does it.
QRect roundedRect(QRectF const& r);

#endif // SCREENSHOTGRAPHICSITEM_H
