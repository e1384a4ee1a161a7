#include "selectfontwidget.h"

#include "clickframe.h"
#include "colorlistitemwidget.h"
#include "defualtbasedate.h"
#include "fontclickframe.h"
#include "fontlistitemwidget.h"

#include <QHBoxLayout>

SelectFontWidget::SelectFontWidget(QWidget* parent) : QFrame(parent) {
    setObjectName("SelectFontWidget");
    clickFrame_ = new ClickFrame(nullptr);
    fontClickFrame_ = new FontClickFrame(nullptr);
    colorListWidget_ = new ColorListItemWidget(nullptr);
    fontListWidget_ = new FontListItemWidget(this);
    layout_ = new QHBoxLayout(this);
    layout_->setContentsMargins(8, 0, 8, 0);
    layout_->setSpacing(19);
    layout_->addWidget(fontListWidget_);
    layout_->addLayout(colorListWidget_);
    setMouseTracking(true);
    setFixedSize(DefualtBaseDate::instance()->fontWidgetSize);

    connect(fontListWidget_, &FontListItemWidget::sigFontWidth, this,
            &SelectFontWidget::slotTextSizeChange);
    connect(colorListWidget_, &ColorListItemWidget::sigColor, this,
            &SelectFontWidget::slotColorChange);
}

SelectFontWidget::~SelectFontWidget() {
    delete clickFrame_;
    delete fontClickFrame_;
}

StyleInfo SelectFontWidget::getStyle() {
    StyleInfo info;
    QFont font;
    font.setPixelSize(fontClickFrame_->getFont());
    info.font = font;
    info.color = clickFrame_->getColor();
    return info;
}

void SelectFontWidget::setColor(QColor const& color) {
    clickFrame_->setColor(color);
}

QColor SelectFontWidget::getColor() {
    return clickFrame_->getColor();
}

void SelectFontWidget::setTextSize(QString size) {
    fontClickFrame_->setFont(size);
}

QString SelectFontWidget::getTextSize() {
    return fontClickFrame_->text();
}

void SelectFontWidget::slotColorChange(QColor const& color) {
    clickFrame_->setColor(color);
    emit sigChange(getStyle());
}

void SelectFontWidget::slotTextSizeChange(QString str) {
    fontClickFrame_->setFont(str);
    emit sigChange(getStyle());
}

void SelectFontWidget::slotShowColorListWidget() {
    emit sigShowColorListWidget();
}

void SelectFontWidget::slotShowFontListWidget() {
    emit sigShowFontListWidget();
}
