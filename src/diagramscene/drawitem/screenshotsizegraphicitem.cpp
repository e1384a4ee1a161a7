#include "screenshotsizegraphicitem.h"

#include "defualtbasedate.h"

#include <QPainter>

ScreenShotSizeGraphicitem::ScreenShotSizeGraphicitem() : QGraphicsItem(nullptr) {}

void ScreenShotSizeGraphicitem::setShowSizeString(QPointF const& topLeft, QString const& text) {
    prepareGeometryChange();
    DefualtBaseDate* base = DefualtBaseDate::instance();
    rect_ = QRectF(topLeft.x(), topLeft.y(), base->sizeBoxWidth, base->sizeBoxHeight);
    text_ = text;
}

QRectF ScreenShotSizeGraphicitem::boundingRect() const {
    return rect_;
}

bool ScreenShotSizeGraphicitem::contains(QPointF const&) const {
    return false;
}

void ScreenShotSizeGraphicitem::paint(QPainter* painter, QStyleOptionGraphicsItem const*,
                                      QWidget*) {
    paintSizeBox(painter, rect_, 5, text_);
}

void paintSizeBox(QPainter* painter, QRectF const& box, double roundness, QString const& text) {
    QColor dark(0, 0, 0, 200);
    QPen pen(dark);
    pen.setCapStyle(Qt::RoundCap);
    painter->setPen(pen);
    painter->setBrush(QBrush(dark, Qt::SolidPattern));
    painter->drawRoundedRect(box, roundness, roundness, Qt::RelativeSize);
    painter->setPen(Qt::white);
    painter->drawText(box, Qt::AlignCenter, text);
}
