#ifndef SELECTMASOICWIDGET_H
#define SELECTMASOICWIDGET_H

#include "drawdefine.h"

#include <QFrame>

class SelectLineWidthWidget;
class QHBoxLayout;

// Popup of the mosaic tool: only the brush width.
class SelectMasoicWidget : public QFrame {
    Q_OBJECT
public:
    explicit SelectMasoicWidget(QWidget* parent = nullptr);

    StyleInfo getStyle();
    void setIndex(int index);
    int getIndex();
    SelectLineWidthWidget* widthList() const { return lineWidthWidget_; }

signals:
    void sigChange(StyleInfo style);

public slots:
    void slotLineWidth(int width);

private:
    SelectLineWidthWidget* lineWidthWidget_;
    QHBoxLayout* layout_;
};

#endif // SELECTMASOICWIDGET_H
