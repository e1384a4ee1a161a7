#include "fontclickframe.h"

#include "defualtbasedate.h"

#include <QHBoxLayout>
#include <QLabel>

FontClickFrame::FontClickFrame(QWidget* parent) : QFrame(parent), sizeText_("24") {
    setObjectName("FontClickFrame");
    layout_ = new QHBoxLayout(this);
    layout_->setContentsMargins(0, 0, 0, 0);
    label_ = new QLabel(sizeText_, this);
    label_->setObjectName("font_label");
    label_->setFixedSize(DefualtBaseDate::instance()->fontLabelSize);
    label_->setAlignment(Qt::AlignCenter);
    label_->setStyleSheet("border: 1px solid gray;background:#ECECEC;color:#1e242a;");
    layout_->addWidget(label_);
    setStyleSheet("QFrame#FontClickFrame{ border: none;}");
}

void FontClickFrame::setFont(QString const& size) {
    sizeText_ = size;
    label_->setText(size);
}

int FontClickFrame::getFont() const {
    return label_->text().toInt(nullptr, 10);
}
