#ifndef FONTLISTITEMWIDGET_H
#define FONTLISTITEMWIDGET_H

#include <QComboBox>
#include <QList>
#include <QString>

// Drop-down of the three text sizes.
class FontListItemWidget : public QComboBox {
    Q_OBJECT
public:
    explicit FontListItemWidget(QWidget* parent = nullptr);
    void initFontWidth();
    QList<QString> sizeTexts() const { return sizeTexts_; }

signals:
    void sigFontWidth(QString str);

public slots:
    void slotClickIndex(int index);

private:
    QList<QString> unused_;
    QList<QString> sizeTexts_;
};

#endif // FONTLISTITEMWIDGET_H
