#include "selectmasoicwidget.h"

#include "defualtbasedate.h"
#include "selectlinewidthwidget.h"

#include <QHBoxLayout>

SelectMasoicWidget::SelectMasoicWidget(QWidget* parent) : QFrame(parent) {
    setObjectName("SelectMasoicWidget");
    lineWidthWidget_ = new SelectLineWidthWidget(this);
    layout_ = new QHBoxLayout(this);
    layout_->addWidget(lineWidthWidget_);
    layout_->setContentsMargins(20, 0, 8, 0);
    setMouseTracking(true);
    setFixedSize(DefualtBaseDate::instance()->mosaicWidgetSize);
    connect(lineWidthWidget_, &SelectLineWidthWidget::sigLineWidth, this,
            &SelectMasoicWidget::slotLineWidth);
}

StyleInfo SelectMasoicWidget::getStyle() {
    StyleInfo info;
    info.width = lineWidthWidget_->getWidth();
    return info;
}

void SelectMasoicWidget::setIndex(int index) {
    lineWidthWidget_->setIndex(index);
}

int SelectMasoicWidget::getIndex() {
    return lineWidthWidget_->currentIndex().row();
}

void SelectMasoicWidget::slotLineWidth(int) {
    emit sigChange(getStyle());
}
