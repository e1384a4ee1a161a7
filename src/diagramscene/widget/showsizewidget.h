#ifndef SHOWSIZEWIDGET_H
#define SHOWSIZEWIDGET_H

#include <QFrame>
#include <QSize>

// Dark badge with the region's "W x H".
class ShowSizeWidget : public QFrame {
    Q_OBJECT
public:
    explicit ShowSizeWidget(QWidget* parent = nullptr);
    void setSelectSize(QSize const& size);
    QSize selectSize() const { return size_; }
    QString text() const;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QSize size_;
};

#endif // SHOWSIZEWIDGET_H
