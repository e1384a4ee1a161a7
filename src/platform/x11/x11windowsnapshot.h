#ifndef X11WINDOWSNAPSHOT_H
#define X11WINDOWSNAPSHOT_H

#include <QRect>
#include <QVector>

// The visible top-level windows of the X11 desktop at one moment, topmost first, as rectangles
// in root-window pixels: window-manager frames included, client-side shadows (declared through
// _GTK_FRAME_EXTENTS) left out. The window `exclude` (and the frame around it) is skipped.
// Empty when no X server answers on $DISPLAY.
namespace X11WindowSnapshot {
QVector<QRect> take(quint32 exclude = 0);
}

#endif // X11WINDOWSNAPSHOT_H
