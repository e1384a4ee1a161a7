#ifndef SELECTSTYLEWIDGET_H
#define SELECTSTYLEWIDGET_H

#include "drawdefine.h"

#include <QFrame>

class ClickFrame;
class SelectLineWidthWidget;
class ColorListItemWidget;
class QHBoxLayout;

// Line width and colour popup of the rectangle, ellipse, arrow and pen tools.
class SelectStyleWidget : public QFrame {
    Q_OBJECT
public:
    explicit SelectStyleWidget(QWidget* parent = nullptr);
    ~SelectStyleWidget() override;

    StyleInfo getStyle();
    void setColor(QColor const& color);
    QColor getColor();
    void setIndex(int index);
    int getIndex();
    SelectLineWidthWidget* widthList() const { return lineWidthWidget_; }
    ColorListItemWidget* colorList() const { return colorListWidget_; }

signals:
    void sigChange(StyleInfo style);
    void sigShowSelectWidget();

public slots:
    void slotLineWidth(int index);
    void slotColor(QColor const& color);
    void slotShowColorListWidget();

protected:
    void mousePressEvent(QMouseEvent* event) override;

private:
    ClickFrame* clickFrame_;
    QFrame* arrowFrame_;
    SelectLineWidthWidget* lineWidthWidget_;
    ColorListItemWidget* colorListWidget_;
    QHBoxLayout* layout_;
};

#endif // SELECTSTYLEWIDGET_H
