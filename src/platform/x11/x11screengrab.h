#ifndef X11SCREENGRAB_H
#define X11SCREENGRAB_H

#include <QImage>
#include <QRect>

// The X11 root window's pixels under `rect` (root-window pixels), read through shared memory:
// the server writes them straight into memory this process maps, and the image wraps that
// memory, so a 4K screen is neither sent through the socket nor copied on arrival.
// Null when the display cannot do that (no MIT-SHM 1.2, e.g. a remote display; a root visual
// other than 24/32-bit RGB): the caller then reads the screen another way.
namespace X11ScreenGrab {
QImage grab(QRect const& rect);
}

#endif // X11SCREENGRAB_H
