#ifndef SESSION_H
#define SESSION_H

#include <QByteArray>

// The kind of desktop session the process runs in, read from the environment the first time
// it is asked (when the application is made) and kept: a later change of the environment
// cannot move a running application to another desktop.
enum class SessionKind { X11, Wayland };
SessionKind sessionKind();

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

#endif // SESSION_H
