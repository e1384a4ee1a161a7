#include "showsizewidget.h"

#include "defualtbasedate.h"

#include <QPainter>
#include <cmath>

ShowSizeWidget::ShowSizeWidget(QWidget* parent) : QFrame(parent), size_(-1, -1) {
    DefualtBaseDate* base = DefualtBaseDate::instance();
    setFixedSize(int(std::round(base->sizeBoxWidth)), int(std::round(base->sizeBoxHeight)));
}

void ShowSizeWidget::setSelectSize(QSize const& size) {
    size_ = size;
    update();
}

QString ShowSizeWidget::text() const {
    return QString::asprintf("%d x %d", size_.width(), size_.height());
}

void ShowSizeWidget::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    QColor dark;
    dark.setRgb(0, 0, 0, 200);
    QPen pen(dark);
    pen.setCapStyle(Qt::RoundCap);
    painter.setPen(pen);
    painter.setBrush(QBrush(dark, Qt::SolidPattern));
    painter.drawRoundedRect(QRectF(0, 0, width(), height()), 5, 5);
    painter.setPen(Qt::white);
    painter.drawText(rect(), Qt::AlignCenter, text());
    painter.end();
    QFrame::paintEvent(event);
}
