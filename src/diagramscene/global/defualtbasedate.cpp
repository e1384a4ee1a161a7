#include "defualtbasedate.h"

#include <QGuiApplication>
#include <QScreen>
#include <algorithm>

DefualtBaseDate* DefualtBaseDate::baseDate = nullptr;

static QSize scaled(double s, double w, double h) {
    return QSize(int(w * s), int(h * s));
}

DefualtBaseDate::DefualtBaseDate(QObject* parent) : QObject(parent), referenceSize(2560, 1600) {
    QSize screen(referenceSize);
    if (QScreen* primary = QGuiApplication::primaryScreen())
        screen = primary->size();
    const double s = 2.0 * std::min(double(screen.height()) / referenceSize.height(),
                                    double(screen.width()) / referenceSize.width());
    scale = s;
    handleSize = 10 * s;
    size10 = 10 * s;
    size100 = 100 * s;
    size120 = 120 * s;
    size100b = 100 * s;
    size20 = 20 * s;
    mosaicCell = 4 * s;
    toolBarSize = scaled(s, 338, 42);
    toolButtonSize = scaled(s, 16, 16);
    fontWidgetSize = scaled(s, 265, 46);
    mosaicWidgetSize = scaled(s, 113, 46);
    lineWidgetSize = scaled(s, 244, 46);
    colorFrameSize = scaled(s, 90, 20);
    colorLabelSize = scaled(s, 60, 20);
    arrowLabelSize = scaled(s, 20, 20);
    fontLabelSize = scaled(s, 80, 20);
    sizePair30x20 = scaled(s, 30, 20);
    magnifierWidth = 100 * s;
    magnifierHeight = 80 * s + 65 * s;
    magnifierTextHeight = 65 * s;
    magnifierFontSize = 10 * s;
    sizeBoxWidth = 100 * s;
    sizeBoxHeight = 20 * s;
}

DefualtBaseDate* DefualtBaseDate::instance() {
    if (!baseDate)
        baseDate = new DefualtBaseDate(nullptr);
    return baseDate;
}
