#ifndef DEFUALTBASEDATE_H
#define DEFUALTBASEDATE_H

#include <QObject>
#include <QSize>

// Layout sizes of the whole interface, scaled to the primary screen from a 2560 x 1600 design.
class DefualtBaseDate : public QObject {
    Q_OBJECT
public:
    explicit DefualtBaseDate(QObject* parent = nullptr);
    // Shared instance; created on first use.
    static DefualtBaseDate* instance();

    static DefualtBaseDate* baseDate;

    double scale;
    double handleSize;
    double size10;
    double size100;
    double size120;
    double size100b;
    double size20;
    double mosaicCell;
    QSize toolBarSize;
    QSize toolButtonSize;
    QSize fontWidgetSize;
    QSize mosaicWidgetSize;
    QSize lineWidgetSize;
    QSize colorFrameSize;
    QSize colorLabelSize;
    QSize arrowLabelSize;
    QSize fontLabelSize;
    QSize sizePair30x20;
    double magnifierWidth;
    double magnifierHeight;
    double magnifierTextHeight;
    double magnifierFontSize;
    double sizeBoxWidth;
    double sizeBoxHeight;
    QSize referenceSize;
};

#endif // DEFUALTBASEDATE_H
