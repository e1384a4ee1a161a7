#ifndef COLORLISTITEMWIDGET_H
#define COLORLISTITEMWIDGET_H

#include <QColor>
#include <QHBoxLayout>
#include <QList>

class CustomButton;

// The row of six colour buttons; exactly one is checked.
class ColorListItemWidget : public QHBoxLayout {
    Q_OBJECT
public:
    explicit ColorListItemWidget(QWidget* parent = nullptr);
    CustomButton* checkedButton() const { return checkedButton_; }
    QList<CustomButton*> buttons() const { return buttons_; }

signals:
    void sigColor(QColor c);

public slots:
    void slotClickIndex(bool checked);

private:
    CustomButton* checkedButton_;
    QList<CustomButton*> buttons_;
};

#endif // COLORLISTITEMWIDGET_H
