#ifndef DESKTOPPLATFORM_H
#define DESKTOPPLATFORM_H

#include <QPixmap>
#include <QRect>
#include <QRectF>
#include <QString>
#include <QVector>
#include <QtGui/qwindowdefs.h>

class QWidget;

// The desktop as it was at one moment: its picture, where the overlay goes and what a
// selection can snap to.
struct FrozenDesktop {
    // Device pixels; its device pixel ratio (fractional at fractional scales) says how many
    // make one of the overlay's pixels.
    QPixmap picture;
    // The overlay's geometry, covering every monitor, in Qt's logical pixels.
    QRect rect;
    // Each monitor, in the overlay's coordinates.
    QVector<QRect> monitors;
    // Windows topmost first, and the monitors, in the overlay's coordinates, unrounded: edges
    // may fall between logical pixels. Empty where the desktop cannot list them.
    QVector<QRectF> windows;
    QVector<QRectF> screens;
};

// Everything a capture needs from the desktop it runs on. One backend serves the process: it
// is chosen once, when the application is made, from the kind of session and the display Qt
// runs on; the rest of the program never asks which one it is.
class DesktopPlatform {
public:
    virtual ~DesktopPlatform() = default;

    static DesktopPlatform& current();

    // Freezes the whole desktop, every monitor. False, with the reason in *why, when no
    // picture could be had: the session must end rather than show a black desktop.
    virtual bool freeze(WId overlay, FrozenDesktop* out, QString* why) = 0;

    // Shows `overlay` over `rect`, above everything, with the keyboard.
    virtual void showOverlay(QWidget* overlay, QRect const& rect) = 0;
};

#endif // DESKTOPPLATFORM_H
