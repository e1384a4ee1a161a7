#ifndef SELECTLINEWIDTHWIDGET_H
#define SELECTLINEWIDTHWIDGET_H

#include <QList>
#include <QListView>
#include <QStyledItemDelegate>

class QStandardItemModel;

// Draws each width as a dot of that diameter; the chosen one in the chosen colour.
class ItemLineDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    explicit ItemLineDelegate(QObject* parent = nullptr);
    void paint(QPainter* painter, QStyleOptionViewItem const& option,
               QModelIndex const& index) const override;
    QSize sizeHint(QStyleOptionViewItem const& option, QModelIndex const& index) const override;
    void setColor(QColor const& color) { color_ = color; }
    QColor getColor() const { return color_; }

private:
    QColor color_;
};

// The three line widths, thinnest first.
class SelectLineWidthWidget : public QListView {
    Q_OBJECT
public:
    explicit SelectLineWidthWidget(QWidget* parent = nullptr);
    void setIndex(int row);
    int getWidth();
    void setColor(QColor const& color);
    void initColor();
    QList<int> widths() const { return widths_; }
    ItemLineDelegate* delegate() const { return delegate_; }

signals:
    void sigLineWidth(int width);

public slots:
    void clickIndex(QModelIndex const& index);

private:
    ItemLineDelegate* delegate_;
    QStandardItemModel* model_;
    QList<int> widths_;
};

#endif // SELECTLINEWIDTHWIDGET_H
