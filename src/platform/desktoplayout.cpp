#include "desktoplayout.h"

#include "x11/xcbconnection.h"

#include <QGuiApplication>
#include <QScreen>

namespace {

// A screen's rectangle in device pixels: Qt keeps its top-left corner where the server has it
// and divides only its size by the screen's scale.
QRect deviceGeometry(const QScreen* screen) {
    const QRect g = screen->geometry();
    const qreal r = screen->devicePixelRatio();
    return QRect(g.topLeft(), QSize(qRound(g.width() * r), qRound(g.height() * r)));
}

} // namespace

DesktopLayout desktopLayout() {
    DesktopLayout d;
    const QList<QScreen*> screens = QGuiApplication::screens();
    for (const QScreen* screen : screens)
        d.device |= deviceGeometry(screen);
    // Sizes rounded at a fractional scale can overshoot the root window by a pixel.
    if (QGuiApplication::platformName() == QLatin1String("xcb")) {
        const XcbConnection x;
        if (const xcb_screen_t* root = x.screen())
            d.device &= QRect(0, 0, root->width_in_pixels, root->height_in_pixels);
    }
    // Qt gives a window the scale of the screen that holds its centre.
    const QScreen* anchor = QGuiApplication::primaryScreen();
    for (const QScreen* screen : screens)
        if (deviceGeometry(screen).contains(d.device.center()))
            anchor = screen;
    if (!anchor || d.device.isEmpty())
        return d;
    d.ratio = anchor->devicePixelRatio();
    const QPoint origin = anchor->geometry().topLeft();
    auto toOverlay = [&](QRect const& r) {
        return QRectF(origin + QPointF(r.topLeft() - origin) / d.ratio, QSizeF(r.size()) / d.ratio)
            .toRect();
    };
    d.logical = toOverlay(d.device);
    for (const QScreen* screen : screens)
        d.monitors << toOverlay(deviceGeometry(screen)).translated(-d.logical.topLeft());
    return d;
}
