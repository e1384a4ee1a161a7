#include "clickframe.h"

#include "defualtbasedate.h"

#include <QHBoxLayout>
#include <QLabel>

ClickFrame::ClickFrame(QWidget* parent) : QFrame(parent), color_(Qt::red) {
    setObjectName("ClickFrame");
    DefualtBaseDate* base = DefualtBaseDate::instance();
    layout_ = new QHBoxLayout(this);
    layout_->setContentsMargins(0, 0, 0, 0);
    colorLabel_ = new QLabel(this);
    colorLabel_->setObjectName("color_label");
    colorLabel_->setFixedSize(base->colorLabelSize);
    colorLabel_->setAutoFillBackground(true);
    arrowLabel_ = new QLabel(this);
    arrowLabel_->setObjectName("arrow_lable");
    arrowLabel_->setFixedSize(base->arrowLabelSize);
    layout_->addWidget(colorLabel_);
    layout_->addWidget(arrowLabel_);
    setFixedSize(base->colorFrameSize);
    setStyleSheet("border: none");
}

void ClickFrame::setColor(QColor const& color) {
    color_ = color;
    colorLabel_->setStyleSheet(QString("QLabel { background-color :") + color.name() + ";" +
                               "border: none;" + "}");
}
