#ifndef SELECTFONTWIDGET_H
#define SELECTFONTWIDGET_H

#include "drawdefine.h"

#include <QFrame>

class ClickFrame;
class FontClickFrame;
class ColorListItemWidget;
class FontListItemWidget;
class QHBoxLayout;

// Text size and colour popup of the text tool.
class SelectFontWidget : public QFrame {
    Q_OBJECT
public:
    explicit SelectFontWidget(QWidget* parent = nullptr);
    ~SelectFontWidget() override;

    StyleInfo getStyle();
    void setColor(QColor const& color);
    QColor getColor();
    void setTextSize(QString size);
    QString getTextSize();
    FontListItemWidget* sizeList() const { return fontListWidget_; }
    ColorListItemWidget* colorList() const { return colorListWidget_; }

signals:
    void sigChange(StyleInfo style);
    void sigShowColorListWidget();
    void sigShowFontListWidget();

public slots:
    void slotColorChange(QColor const& color);
    void slotTextSizeChange(QString str);
    void slotShowColorListWidget();
    void slotShowFontListWidget();

private:
    ClickFrame* clickFrame_;
    FontClickFrame* fontClickFrame_;
    ColorListItemWidget* colorListWidget_;
    FontListItemWidget* fontListWidget_;
    QHBoxLayout* layout_;
};

#endif // SELECTFONTWIDGET_H
