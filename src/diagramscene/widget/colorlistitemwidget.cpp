#include "colorlistitemwidget.h"

#include "screentoolframe.h"

ColorListItemWidget::ColorListItemWidget(QWidget* parent) : QHBoxLayout(parent) {
    static const struct {
        const char* name;
        const char* color;
    } colors[] = {{"colorred", "red"},       {"colorpurple", "#8A31FB"}, {"colorblue", "#00B4FF"},
                  {"colorgreen", "#61ED00"}, {"coloryellow", "#FFEB03"}, {"colorgray", "#676767"}};
    for (auto const& c : colors) {
        auto* b = new CustomButton(nullptr);
        b->setObjectName(c.name);
        b->setCheckable(true);
        b->setColor(QColor(c.color));
        connect(b, &QPushButton::clicked, this, &ColorListItemWidget::slotClickIndex);
        buttons_.append(b);
        addWidget(b);
    }
    checkedButton_ = buttons_.first();
    checkedButton_->setStyleSheet("CustomButton#colorred{border: none;background: "
                                  "transparent;border-image: url(:/images/red.png);}");
    checkedButton_->setChecked(true);
    setMargin(0);
    setContentsMargins(0, 0, 0, 0);
    setSpacing(6);
    setAlignment(Qt::AlignVCenter);
}

void ColorListItemWidget::slotClickIndex(bool) {
    auto* b = qobject_cast<CustomButton*>(sender());
    if (!b)
        return;
    if (checkedButton_)
        checkedButton_->setChecked(false);
    checkedButton_ = b;
    b->setChecked(true);
    emit sigColor(b->getColor());
}
