#include "fontlistitemwidget.h"

FontListItemWidget::FontListItemWidget(QWidget* parent) : QComboBox(parent) {
    setFocusPolicy(Qt::ClickFocus);
    initFontWidth();
    connect(this, SIGNAL(currentIndexChanged(int)), this, SLOT(slotClickIndex(int)));
}

void FontListItemWidget::initFontWidth() {
    sizeTexts_ << "24"
               << "48"
               << "64";
    insertItems(count(), {"Small", "Medium", "Large"});
}

void FontListItemWidget::slotClickIndex(int index) {
    if (index >= 0 && index < sizeTexts_.size())
        emit sigFontWidth(sizeTexts_.at(index));
}
