#include "overlayplacement.h"
#include "x11/x11keyboardfocus.h"

#include <QGuiApplication>
#include <QTimer>
#include <QWidget>
#include <QWindow>

// A window the window manager leaves alone covers the geometry it is given, every monitor:
// a managed full-screen window covers one monitor, or all of them only where the manager
// honours _NET_WM_FULLSCREEN_MONITORS (openbox does not). It sets the input focus itself,
// where focus-stealing prevention may refuse the focus to a managed window.
void placeOverlay(QWidget* overlay, QRect const& rect) {
    const Qt::WindowFlags flags = overlay->windowFlags() | Qt::X11BypassWindowManagerHint;
    if (overlay->windowFlags() != flags)
        overlay->setWindowFlags(flags);
    overlay->setGeometry(rect);
    overlay->show();
    overlay->activateWindow();
    keepX11KeyboardFocus(overlay);
    // Focus given right after mapping can be lost before it arrives (a window manager may hand
    // it back to the window it had): it is asked for again until the window has it, for three
    // seconds at most; once it came, never again, as that would take it from a dialog. The
    // keyboard is also grabbed, the window's grab rather than Qt's widget grab, which would
    // take the keys from a text being edited.
    auto* timer = new QTimer(overlay);
    int ticks = 0;
    bool grabbed = false;
    QObject::connect(timer, &QTimer::timeout, overlay, [overlay, timer, ticks, grabbed]() mutable {
        QWindow* window = overlay->windowHandle();
        if (!window || !overlay->isVisible() || ++ticks > 100) {
            timer->deleteLater();
            return;
        }
        if (!window->isExposed())
            return;
        if (!grabbed)
            grabbed = window->setKeyboardGrabEnabled(true);
        const bool focused = QGuiApplication::focusWindow() == window;
        if (!focused)
            overlay->activateWindow();
        else if (grabbed)
            timer->deleteLater();
    });
    timer->start(30);
}
