#include "desktopplatform.h"

#include "backends.h"
#include "session.h"

#include <QGuiApplication>
#include <QScreen>

namespace {

// XWayland names its outputs after itself; an X server nested in a Wayland session does not,
// and its desktop is what the user sees in it.
bool onXWayland() {
    for (QScreen* screen : QGuiApplication::screens())
        if (screen->name().startsWith(QLatin1String("XWAYLAND")))
            return true;
    return false;
}

class MissingDesktop : public DesktopPlatform {
public:
    explicit MissingDesktop(QString const& why) : why_(why) {}
    bool freeze(WId, FrozenDesktop*, QString* why) override {
        *why = why_;
        return false;
    }
    void showOverlay(QWidget*, QRect const&) override {}

private:
    QString why_;
};

DesktopPlatform* choose() {
    const bool wayland = sessionKind() == SessionKind::Wayland;
    if (QGuiApplication::platformName() != QLatin1String("xcb")) {
        if (wayland)
            return newMissingDesktop(
                QStringLiteral("no XWayland: on a Wayland session the overlay needs an X display "
                               "(DISPLAY is not set or cannot be opened)"));
        return newMissingDesktop(QStringLiteral("Qt runs on the \"%1\" platform, not on X11")
                                     .arg(QGuiApplication::platformName()));
    }
    if (wayland && onXWayland())
        return newPortalDesktop();
    return newX11Desktop();
}

} // namespace

DesktopPlatform* newMissingDesktop(QString const& why) {
    return new MissingDesktop(why);
}

DesktopPlatform& DesktopPlatform::current() {
    // Never deleted: captures may run until the process ends.
    static DesktopPlatform* const platform = choose();
    return *platform;
}
