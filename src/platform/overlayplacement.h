#ifndef OVERLAYPLACEMENT_H
#define OVERLAYPLACEMENT_H

#include <QRect>

class QWidget;

// Puts the overlay over `rect` (every monitor) above everything and gives it the keyboard, on
// any X server, XWayland included, whatever the window manager.
void placeOverlay(QWidget* overlay, QRect const& rect);

#endif // OVERLAYPLACEMENT_H
