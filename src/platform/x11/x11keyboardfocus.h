#ifndef X11KEYBOARDFOCUS_H
#define X11KEYBOARDFOCUS_H

class QWidget;

// Gives the X input focus to `window` (shown, placed without the window manager) again and
// again, a few times over the next seconds, until its first key arrives. A compositor that
// takes an XWayland window on only after the focus moved to it (mutter when busy) never hands
// it the keyboard: X reports the focus there while the keys go nowhere. Moving the focus away
// and back makes the compositor see it arrive. Ends by itself; safe to call for every show.
void keepX11KeyboardFocus(QWidget* window);

#endif // X11KEYBOARDFOCUS_H
