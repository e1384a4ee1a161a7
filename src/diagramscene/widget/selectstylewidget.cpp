#include "selectstylewidget.h"

#include "clickframe.h"
#include "colorlistitemwidget.h"
#include "defualtbasedate.h"
#include "selectlinewidthwidget.h"

#include <QHBoxLayout>

SelectStyleWidget::SelectStyleWidget(QWidget* parent) : QFrame(parent) {
    setObjectName("SelectStyleWidget");
    clickFrame_ = new ClickFrame(nullptr);
    arrowFrame_ = new QFrame(this);
    arrowFrame_->setObjectName("arrowUp");
    arrowFrame_->setFixedSize(18, 8);
    lineWidthWidget_ = new SelectLineWidthWidget(this);
    colorListWidget_ = new ColorListItemWidget(nullptr);
    layout_ = new QHBoxLayout(this);
    layout_->setMargin(0);
    layout_->setContentsMargins(20, 0, 8, 0);
    layout_->setSpacing(0);
    layout_->addWidget(lineWidthWidget_);
    layout_->addLayout(colorListWidget_);
    setMouseTracking(true);
    setFixedSize(DefualtBaseDate::instance()->lineWidgetSize);

    connect(lineWidthWidget_, &SelectLineWidthWidget::sigLineWidth, this,
            &SelectStyleWidget::slotLineWidth);
    connect(colorListWidget_, &ColorListItemWidget::sigColor, this, &SelectStyleWidget::slotColor);
}

SelectStyleWidget::~SelectStyleWidget() {
    delete clickFrame_;
}

StyleInfo SelectStyleWidget::getStyle() {
    StyleInfo info;
    info.color = clickFrame_->getColor();
    info.width = lineWidthWidget_->getWidth();
    return info;
}

void SelectStyleWidget::setColor(QColor const& color) {
    clickFrame_->setColor(color);
}

QColor SelectStyleWidget::getColor() {
    return clickFrame_->getColor();
}

void SelectStyleWidget::setIndex(int index) {
    lineWidthWidget_->setIndex(index);
}

int SelectStyleWidget::getIndex() {
    return lineWidthWidget_->currentIndex().row();
}

void SelectStyleWidget::slotLineWidth(int) {
    emit sigChange(getStyle());
}

void SelectStyleWidget::slotColor(QColor const& color) {
    lineWidthWidget_->setColor(color);
    clickFrame_->setColor(color);
    emit sigChange(getStyle());
}

void SelectStyleWidget::slotShowColorListWidget() {}

void SelectStyleWidget::mousePressEvent(QMouseEvent*) {}
