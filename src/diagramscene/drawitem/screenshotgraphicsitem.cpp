#include "screenshotgraphicsitem.h"

#include "defualtbasedate.h"
#include "magnifyingglassgraphicsitem.h"
#include "screenshotsizegraphicitem.h"
#include "stylemanager.h"

#include <QDebug>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QPainter>
#include <algorithm>
#include <cmath>

QRect roundedRect(QRectF const& r) {
    const int left = qRound(r.x()), top = qRound(r.y());
    const int right = qRound(r.x() + r.width()) - 1, bottom = qRound(r.y() + r.height()) - 1;
    return QRect(QPoint(left, top), QPoint(right, bottom));
}

ScreenShotGraphicsItem::ScreenShotGraphicsItem()
    : ratio_(1), glassWidth_(int(DefualtBaseDate::instance()->magnifierWidth + 10)),
      glassHeight_(int(DefualtBaseDate::instance()->magnifierHeight)), showSize_(false),
      screenPixmap_(nullptr), glass_(nullptr) {
    dragMode_ = 1;
    confineToScene_ = true;
}

ScreenShotGraphicsItem::~ScreenShotGraphicsItem() = default;

QGraphicsView* ScreenShotGraphicsItem::firstView() const {
    if (!scene() || scene()->views().isEmpty())
        return nullptr;
    return scene()->views().first();
}

void ScreenShotGraphicsItem::setScreenRect(QRect const& rect) {
    screenRect_ = rect;
    const QRectF sr = scene() ? scene()->sceneRect() : QRectF();
    glassBounds_ =
        QRectF(sr.x() + 10, sr.y(), sr.width() - 10 - glassWidth_, sr.height() - glassHeight_);
}

void ScreenShotGraphicsItem::setScreenPixmap(QPixmap* pixmap) {
    screenPixmap_ = pixmap;
    // Whoever took the picture knows how it maps onto the overlay, fractional or not.
    ratio_ = pixmap ? pixmap->devicePixelRatioF() : 1;
}

bool ScreenShotGraphicsItem::updateSourceRect(QRectF const& r, int& vx, int& vy, int& vr, int& vb) {
    QGraphicsView* view = firstView();
    if (!view)
        return false;
    const QRect ir = roundedRect(r);
    const int w = ir.width(), h = ir.height();
    const QPoint v = view->mapFromScene(QPointF(ir.left(), ir.top()));
    vx = v.x();
    vy = v.y();
    vr = vx + w - 1;
    vb = vy + h - 1;
    // Whole picture pixels, from the unrounded frame: at a fractional ratio its edges lie
    // between overlay pixels but on picture pixels.
    const QPointF at = view->viewportTransform().map(r.topLeft());
    sourceRect_ = roundedRect(
        QRectF(at.x() * ratio_, at.y() * ratio_, r.width() * ratio_, r.height() * ratio_));
    return true;
}

QPixmap ScreenShotGraphicsItem::getPixmap() {
    if (!screenPixmap_)
        return QPixmap();
    // A confirm can arrive before the repaint that follows the last change.
    int vx, vy, vr, vb;
    updateSourceRect(rect_, vx, vy, vr, vb);
    return screenPixmap_->copy(roundedRect(sourceRect_));
}

void ScreenShotGraphicsItem::setShowSize(bool show) {
    if (show == showSize_)
        return;
    prepareGeometryChange();
    showSize_ = show;
}

void ScreenShotGraphicsItem::setMagnifyingGlassItem(MagnifyingGlassGraphicsitem* item) {
    glass_ = item;
}

void ScreenShotGraphicsItem::setMagnifyingGlassPosition(QPointF const& pos, bool) {
    QGraphicsView* view = firstView();
    if (!view) {
        qDebug() << "no view available";
        return;
    }
    const QPoint v = view->mapFromScene(pos);
    const QPointF at = view->viewportTransform().map(pos);
    placeMagnifier(pos, v, QPointF(std::floor(at.x() * ratio_), std::floor(at.y() * ratio_)));
}

void ScreenShotGraphicsItem::placeMagnifier(QPointF const& cursor, QPoint const& viewPoint,
                                            QPointF const& pixmapPoint) {
    QPointF glassPos(cursor.x() - glassWidth_, cursor.y() + 10);
    adjustPoint(glassPos, cursor);
    if (!screenPixmap_ || !glass_)
        return;
    const QRect want(int(pixmapPoint.x() - 15), int(pixmapPoint.y() - 15), 30, 30);
    QPixmap piece = screenPixmap_->copy(want);
    // Thirty by thirty picture pixels, whatever the picture's scale.
    piece.setDevicePixelRatio(1);
    if (piece.size() != want.size()) {
        // QPixmap::copy clips at the screenshot's edges; keep the cursor pixel at (15, 15).
        QPixmap full(want.size());
        full.fill(Qt::black);
        if (!piece.isNull()) {
            QPainter painter(&full);
            const QPoint at = want.intersected(screenPixmap_->rect()).topLeft() - want.topLeft();
            painter.drawPixmap(QRect(at, piece.size()), piece, piece.rect());
        }
        piece = full;
    }
    glass_->setPixmap(glassPos, viewPoint, pixmapPoint, piece);
}

void ScreenShotGraphicsItem::adjustPoint(QPointF& glassPos, QPointF const& cursor) {
    const QRectF& b = glassBounds_;
    if (glassPos.x() < b.left())
        glassPos.rx() += glassWidth_ + 10;
    if (glassPos.y() > b.top() + b.height())
        glassPos.ry() -= glassHeight_ + 10;
    const QRectF& r = rect_;
    if (r.width() > 0 && r.height() > 0 &&
        (cursor == QPointF(r.x() + r.width(), r.y() + r.height()) ||
         cursor == QPointF(r.x() + r.width(), r.y())) &&
        cursor.x() < b.left() + b.width())
        glassPos.setX(cursor.x() + 10);
}

int ScreenShotGraphicsItem::showMouseStyle(QPointF const& pos) {
    static const Qt::CursorShape shapes[8] = {
        Qt::SizeFDiagCursor, Qt::SizeHorCursor, Qt::SizeBDiagCursor, Qt::SizeVerCursor,
        Qt::SizeFDiagCursor, Qt::SizeHorCursor, Qt::SizeBDiagCursor, Qt::SizeVerCursor};
    for (int i = 0; i < 8; ++i) {
        if (handles_[i].contains(pos))
            return shapes[i];
    }
    if (rect_.contains(pos))
        return Qt::SizeAllCursor;
    return Qt::ArrowCursor;
}

static bool integral(QRectF const& r) {
    for (const double v : {r.x(), r.y(), r.width(), r.height()})
        if (v != std::round(v))
            return false;
    return true;
}

QRegion ScreenShotGraphicsItem::changedArea(QRectF const& from, QRectF const& to) const {
    // Inside both frames the screenshot shows pixel for pixel at the same place, so only the
    // band between them, the edges with their handles and the size box change. That holds
    // when the frames sit on whole pixels and the screenshot is drawn unscaled.
    if (!screenPixmap_ || !scene() || !integral(from) || !integral(to))
        return QRegion();
    for (QGraphicsView* view : scene()->views()) {
        const double ratio = view->viewport()->devicePixelRatioF();
        if (view->transform().type() > QTransform::TxTranslate || ratio != ratio_)
            return QRegion();
    }
    StyleManager* style = StyleManager::instance();
    const int edge = int(std::ceil(handleDiameter() / 2 + style->handlePen.widthF() +
                                   style->selectionPen.widthF())) +
                     2;
    const QRect a = from.toRect(), b = to.toRect();
    QRegion area = QRegion(a) ^ QRegion(b);
    // Each side's outline: the strip along it, both ends included. A side that stayed on its
    // line draws the same pixels where the two strips overlap; the ends of such a side lie
    // in the strips of the sides that moved.
    auto strip = [edge](QRect const& r, int side) {
        switch (side) {
        case 0:
            return QRect(r.left() - edge, r.top() - edge, r.width() + 2 * edge, 2 * edge);
        case 1:
            return QRect(r.left() - edge, r.bottom() + 1 - edge, r.width() + 2 * edge, 2 * edge);
        case 2:
            return QRect(r.left() - edge, r.top() - edge, 2 * edge, r.height() + 2 * edge);
        default:
            return QRect(r.right() + 1 - edge, r.top() - edge, 2 * edge, r.height() + 2 * edge);
        }
    };
    const bool stayed[4] = {a.top() == b.top(), a.bottom() == b.bottom(), a.left() == b.left(),
                            a.right() == b.right()};
    for (int side = 0; side < 4; ++side) {
        if (stayed[side])
            area += QRegion(strip(a, side)) ^ QRegion(strip(b, side));
        else
            area += QRegion(strip(a, side)) + QRegion(strip(b, side));
    }
    for (QRectF const& r : {from, to}) {
        // The middle handles move along sides that stay.
        QPointF points[8];
        handlePoints(r, points);
        for (QPointF const& p : points)
            area += QRect(int(p.x()) - edge, int(p.y()) - edge, 2 * edge + 1, 2 * edge + 1);
        if (showSize_) {
            // The text may run past the box; the bounds leave 300 for it.
            DefualtBaseDate* base = DefualtBaseDate::instance();
            const int h = int(std::ceil(base->sizeBoxHeight));
            const int w = int(std::ceil(std::max(base->sizeBoxWidth, 300.0)));
            area += QRect(int(r.left()) - 4, int(r.top()) - h - 14, w + 8, h + 8);
        }
    }
    return area;
}

void ScreenShotGraphicsItem::changeRect(QRectF const& next) {
    if (next == rect_)
        return;
    QRegion area = changedArea(rect_, next);
    if (area.isEmpty()) {
        ShapeBaseGraphicsItem::changeRect(next);
        followHandle();
        return;
    }
    // A whole-item repaint at 4K costs more than a frame; the scene has no index to keep.
    // The band's repaint can run before the magnifier's own update and draw it at its new
    // place; the view then forgets the old one, so that is repainted with the band. Moving
    // the magnifier first queues its update first, and both go out in one paint.
    if (glass_ && glass_->isVisible())
        area += glass_->sceneBoundingRect().toAlignedRect();
    rect_ = next;
    followHandle();
    for (QRect const& r : area)
        scene()->update(r);
}

QRectF ScreenShotGraphicsItem::boundingRect() const {
    QRectF r = ShapeBaseGraphicsItem::boundingRect();
    r.setTop(r.top() - 100);
    r.setWidth(std::max(r.width(), 300.0));
    return r;
}

void ScreenShotGraphicsItem::customPaint(QPainter* painter, QRectF const& r) {
    painter->setPen(StyleManager::instance()->selectionPen);
    int vx = 0, vy = 0, vr = -1, vb = -1;
    if (updateSourceRect(r, vx, vy, vr, vb)) {
        if (screenPixmap_) {
            if (r.width() > 0 && r.height() > 0)
                painter->drawPixmap(r, *screenPixmap_, sourceRect_);
            // A flat region still shows as a line.
            painter->setBrush(Qt::NoBrush);
            painter->drawRect(r);
        }
    }
    DefualtBaseDate* base = DefualtBaseDate::instance();
    if (showSize_) {
        const QRectF box(r.x(), r.y() - base->sizeBoxHeight - 10, base->sizeBoxWidth,
                         base->sizeBoxHeight);
        // The size of the image the user gets, in picture pixels.
        const QSizeF size = ratio_ == 1 ? r.size() : sourceRect_.size();
        paintSizeBox(painter, box, 0,
                     QString::asprintf("%d x %d", int(size.width()), int(size.height())));
    }
}

// While a handle is dragged the magnifier shows the pixels under it. Placed when the frame
// changes, not while painting: moving it from paint() would schedule another repaint of the
// frame under it, and that one another.
void ScreenShotGraphicsItem::followHandle() {
    if (!glass_ || !glass_->isVisible() || dragMode_ != 2 || paintStatus_ != PaintStatusEditing)
        return;
    int vx = 0, vy = 0, vr = -1, vb = -1;
    if (!updateSourceRect(rect_, vx, vy, vr, vb))
        return;
    const QRectF& r = rect_;
    const double x = r.x(), y = r.y(), w = r.width(), h = r.height();
    const double sx = sourceRect_.x(), sy = sourceRect_.y();
    const double sw = sourceRect_.width(), sh = sourceRect_.height();
    const int hw = (vr - vx + 1) / 2, hh = (vb - vy + 1) / 2;
    QPointF p, q;
    QPoint v;
    switch (direction_) {
    case DirectionTop:
        p = {x + w / 2, y}, q = {sx + sw / 2, sy}, v = {vx + hw, vy};
        break;
    case DirectionBottom:
        p = {x + w / 2, y + h}, q = {sx + sw / 2, sy + sh}, v = {vx + hw, vb};
        break;
    case DirectionLeft:
        p = {x, y + h / 2}, q = {sx, sy + sh / 2}, v = {vx, vy + hh};
        break;
    case DirectionRight:
        p = {x + w, y + h / 2}, q = {sx + sw, sy + sh / 2}, v = {vr, vy + hh};
        break;
    case DirectionTopLeft:
        p = {x, y}, q = {sx, sy}, v = {vx, vy};
        break;
    case DirectionTopRight:
        p = {x + w, y}, q = {sx + sw, sy}, v = {vr, vy};
        break;
    case DirectionBottomLeft:
        p = {x, y + h}, q = {sx, sy + sh}, v = {vx, vb};
        break;
    case DirectionBottomRight:
        p = {x + w, y + h}, q = {sx + sw, sy + sh}, v = {vr, vb};
        break;
    case DirectionNone:
        break;
    }
    placeMagnifier(p, v, q);
}

void ScreenShotGraphicsItem::mousePressEvent(QGraphicsSceneMouseEvent* event) {
    ShapeBaseGraphicsItem::mousePressEvent(event);
    if (dragMode_ != 1 && glass_) {
        glass_->show();
        followHandle();
    }
}

void ScreenShotGraphicsItem::mouseMoveEvent(QGraphicsSceneMouseEvent* event) {
    ShapeBaseGraphicsItem::mouseMoveEvent(event);
}

void ScreenShotGraphicsItem::mouseReleaseEvent(QGraphicsSceneMouseEvent* event) {
    ShapeBaseGraphicsItem::mouseReleaseEvent(event);
    if (glass_ && paintStatus_ != PaintStatusCreating)
        glass_->setVisible(false);
}
