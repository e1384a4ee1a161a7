#include "selectlinewidthwidget.h"

#include "defualtbasedate.h"

#include <QPainter>
#include <QStandardItemModel>

ItemLineDelegate::ItemLineDelegate(QObject* parent) : QStyledItemDelegate(parent), color_("red") {}

void ItemLineDelegate::paint(QPainter* painter, QStyleOptionViewItem const& option,
                             QModelIndex const& index) const {
    const int w = index.data(Qt::UserRole).toInt();
    const QRect cell = option.rect;
    const int top = cell.top() + (cell.height() + 1) / 2 - w / 2;
    const bool selected = option.state & QStyle::State_Selected;
    const QColor dot = selected ? color_ : QColor(Qt::gray);
    painter->save();
    painter->setPen(dot);
    painter->setBrush(QBrush(dot, Qt::SolidPattern));
    painter->drawEllipse(QRect(cell.left(), top, w, w));
    painter->restore();
    QStyleOptionViewItem copy(option);
    QStyledItemDelegate::paint(painter, copy, index);
}

QSize ItemLineDelegate::sizeHint(QStyleOptionViewItem const&, QModelIndex const& index) const {
    const double s = DefualtBaseDate::instance()->scale;
    switch (index.row()) {
    case 0:
        return QSize(int(25 * s), int(44 * s));
    case 1:
        return QSize(int(30 * s), int(44 * s));
    case 2:
        return QSize(int(20 * s + 14), int(44 * s));
    default:
        return QSize(44, 44);
    }
}

SelectLineWidthWidget::SelectLineWidthWidget(QWidget* parent)
    : QListView(parent), delegate_(new ItemLineDelegate(this)),
      model_(new QStandardItemModel(this)) {
    setObjectName("SelectLineWidthWidget");
    setViewMode(QListView::IconMode);
    setDragEnabled(false);
    setContentsMargins(0, 0, 0, 0);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setResizeMode(QListView::Adjust);
    setFocusPolicy(Qt::NoFocus);
    setMouseTracking(true);
    setFixedWidth(int(90 * DefualtBaseDate::instance()->scale));
    setItemDelegate(delegate_);
    setModel(model_);
    initColor();
    connect(this, &QListView::clicked, this, &SelectLineWidthWidget::clickIndex);
}

void SelectLineWidthWidget::initColor() {
    const double s = DefualtBaseDate::instance()->scale;
    widths_ = {int(5 * s), int(10 * s), int(14 * s)};
    for (int w : widths_) {
        auto* item = new QStandardItem();
        item->setData(w, Qt::UserRole);
        item->setData(QSize(), Qt::SizeHintRole);
        model_->appendRow(item);
    }
    setIndex(0);
}

void SelectLineWidthWidget::setIndex(int row) {
    setCurrentIndex(model_->index(row, 0));
}

int SelectLineWidthWidget::getWidth() {
    return currentIndex().data(Qt::UserRole).toInt();
}

void SelectLineWidthWidget::setColor(QColor const& color) {
    delegate_->setColor(color);
    viewport()->update();
}

void SelectLineWidthWidget::clickIndex(QModelIndex const& index) {
    emit sigLineWidth(index.data(Qt::UserRole).toInt());
}
