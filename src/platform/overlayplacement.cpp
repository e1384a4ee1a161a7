#include "overlayplacement.h"

#include <QTimer>
#include <QWidget>
#include <QWindow>

void placeOverlay(QWidget* overlay, QRect const& rect, OverlayPlacement how) {
    if (how == OverlayPlacement::FullScreen) {
        overlay->showFullScreen();
        return;
    }
    // A window placed without the window manager covers the geometry it is given but gets no
    // focus from it. So the X keyboard is grabbed once the window is viewable: the window's,
    // not Qt's widget grab, which would take the keys from a text being edited.
    const Qt::WindowFlags flags = overlay->windowFlags() | Qt::X11BypassWindowManagerHint;
    if (overlay->windowFlags() != flags)
        overlay->setWindowFlags(flags);
    overlay->setGeometry(rect);
    overlay->show();
    overlay->activateWindow();
    auto* grab = new QTimer(overlay);
    int tries = 0;
    QObject::connect(grab, &QTimer::timeout, overlay, [overlay, grab, tries]() mutable {
        QWindow* window = overlay->windowHandle();
        if ((window && window->isExposed() && window->setKeyboardGrabEnabled(true)) ||
            ++tries == 100 || !overlay->isVisible())
            grab->deleteLater();
    });
    grab->start(20);
}
