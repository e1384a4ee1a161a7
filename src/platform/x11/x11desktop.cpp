#include "../backends.h"
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
    bool freeze(QRect const& rect, WId overlay, FrozenDesktop* out, QString* why) override {
        QScreen* screen = QGuiApplication::primaryScreen();
        // Unscaled, logical pixels are the root's own; Qt's grab copies the picture twice
        // after it came through the socket.
        if (screen->devicePixelRatio() == 1) {
            QImage image = X11ScreenGrab::grab(rect);
            if (!image.isNull())
                out->picture = QPixmap::fromImage(std::move(image));
        }
        if (out->picture.isNull())
            out->picture = screen->grabWindow(0, rect.x(), rect.y(), rect.width(), rect.height());
        if (out->picture.isNull()) {
            *why = QStringLiteral("the X server gave no picture of the desktop");
            return false;
        }
        const qreal ratio = screen->devicePixelRatio();
        for (QRect const& r : X11WindowSnapshot::take(quint32(overlay))) {
            const QRectF logical(r.x() / ratio, r.y() / ratio, r.width() / ratio,
                                 r.height() / ratio);
            out->windows << logical.toAlignedRect().translated(-rect.topLeft());
        }
        for (QScreen* s : QGuiApplication::screens())
            out->screens << s->geometry().translated(-rect.topLeft());
        return true;
    }

    void showOverlay(QWidget* overlay, QRect const& rect) override {
        placeOverlay(overlay, rect, OverlayPlacement::FullScreen);
    }
};

} // namespace

DesktopPlatform* newX11Desktop() {
    return new X11Desktop;
}
