#ifndef OVERLAYPLACEMENT_H
#define OVERLAYPLACEMENT_H

#include <QRect>

class QWidget;

// How the overlay is put over the desktop.
enum class OverlayPlacement {
    // A full-screen window of the window manager.
    FullScreen,
    // A window the window manager never sees, at the desktop's rectangle, across every output;
    // it takes the keyboard itself.
    Unmanaged,
};

void placeOverlay(QWidget* overlay, QRect const& rect, OverlayPlacement how);

#endif // OVERLAYPLACEMENT_H
