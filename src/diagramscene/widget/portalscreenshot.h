#ifndef PORTALSCREENSHOT_H
#define PORTALSCREENSHOT_H

#include <QByteArray>
#include <QImage>
#include <QString>

// On a Wayland session X clients see a black desktop, so the frozen picture comes from the
// desktop portal, and the overlay itself runs through XWayland.

// WAYLAND_DISPLAY set, or XDG_SESSION_TYPE=wayland.
bool isWaylandSession();

// Chooses Qt's platform for the QApplication built in its lifetime: on a Wayland session the
// xcb platform (XWayland) whatever the environment asks, or, without XWayland, a platform that
// cannot abort the process (captures then end at once). The caller's environment is restored
// afterwards, so child processes of the host inherit it unchanged.
class SessionPlatformScope {
public:
    SessionPlatformScope();
    ~SessionPlatformScope();
    SessionPlatformScope(const SessionPlatformScope&) = delete;
    SessionPlatformScope& operator=(const SessionPlatformScope&) = delete;

private:
    bool changed_ = false;
    bool hadValue_ = false;
    QByteArray previous_;
};

// Long enough for a desktop's one-time permission dialog.
constexpr int kPortalTimeoutMs = 30000;

// Asks org.freedesktop.portal.Screenshot for a non-interactive screenshot of every output and
// waits for the answer (running the event loop, at most timeoutMs). Returns the picture in
// device pixels; on failure a null image and the reason in *error.
QImage portalScreenshot(QString* error, int timeoutMs = kPortalTimeoutMs);

#endif // PORTALSCREENSHOT_H
