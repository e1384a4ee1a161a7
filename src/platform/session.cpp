#include "session.h"

#include <QtGlobal>

SessionKind sessionKind() {
    static const SessionKind kind =
        !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") || qgetenv("XDG_SESSION_TYPE") == "wayland"
            ? SessionKind::Wayland
            : SessionKind::X11;
    return kind;
}

SessionPlatformScope::SessionPlatformScope() {
    if (sessionKind() != SessionKind::Wayland)
        return;
    hadValue_ = qEnvironmentVariableIsSet("QT_QPA_PLATFORM");
    previous_ = qgetenv("QT_QPA_PLATFORM");
    // Qt tries these in order; offscreen always starts, so the host never aborts for want of
    // a display and the capture reports the missing XWayland instead.
    qputenv("QT_QPA_PLATFORM",
            qEnvironmentVariableIsEmpty("DISPLAY") ? "wayland;offscreen" : "xcb;wayland;offscreen");
    changed_ = true;
}

SessionPlatformScope::~SessionPlatformScope() {
    if (!changed_)
        return;
    if (hadValue_)
        qputenv("QT_QPA_PLATFORM", previous_);
    else
        qunsetenv("QT_QPA_PLATFORM");
}
