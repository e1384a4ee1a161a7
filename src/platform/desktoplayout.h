#ifndef DESKTOPLAYOUT_H
#define DESKTOPLAYOUT_H

#include <QRect>
#include <QVector>

// The monitors as the X server lays them out (XWayland included) and the one overlay window
// that covers them all.
struct DesktopLayout {
    // The union of the monitors, in device (root window) pixels.
    QRect device;
    // The overlay's geometry in Qt's logical pixels.
    QRect logical;
    // Device pixels per overlay pixel: the scale of the screen that holds the overlay.
    qreal ratio = 1;
    // Each monitor, in the overlay's coordinates.
    QVector<QRect> monitors;
};

DesktopLayout desktopLayout();

#endif // DESKTOPLAYOUT_H
