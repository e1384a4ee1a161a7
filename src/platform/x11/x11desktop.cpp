#include "../backends.h"
#include "../desktoplayout.h"
#include "../desktopplatform.h"
#include "../overlayplacement.h"
#include "x11screengrab.h"
#include "x11windowsnapshot.h"

#include <QGuiApplication>
#include <QScreen>

namespace {

// An X11 desktop: the root window's picture, the window manager's windows to snap to.
class X11Desktop : public DesktopPlatform {
public:
    bool freeze(WId overlay, FrozenDesktop* out, QString* why) override {
        const DesktopLayout d = desktopLayout();
        // The root's own pixels, device pixels at any scale; Qt's grab copies the picture
        // twice after it came through the socket.
        QImage image = X11ScreenGrab::grab(d.device);
        if (!image.isNull())
            out->picture = QPixmap::fromImage(std::move(image));
        else if (!d.logical.isEmpty())
            out->picture = QGuiApplication::primaryScreen()->grabWindow(
                0, d.logical.x(), d.logical.y(), d.logical.width(), d.logical.height());
        if (out->picture.isNull()) {
            *why = QStringLiteral("the X server gave no picture of the desktop");
            return false;
        }
        out->picture.setDevicePixelRatio(d.ratio);
        out->rect = d.logical;
        out->monitors = d.monitors;
        for (QRect const& r : X11WindowSnapshot::take(quint32(overlay)))
            out->windows << QRectF(QPointF(r.topLeft() - d.device.topLeft()) / d.ratio,
                                   QSizeF(r.size()) / d.ratio);
        for (QRect const& m : d.monitors)
            out->screens << QRectF(m);
        return true;
    }

    void showOverlay(QWidget* overlay, QRect const& rect) override { placeOverlay(overlay, rect); }
};

} // namespace

DesktopPlatform* newX11Desktop() {
    return new X11Desktop;
}
