#ifndef SCREENCOPY_H
#define SCREENCOPY_H

#include <QImage>
#include <QString>

// Reads the desktop straight from a wlroots compositor (sway, Hyprland, Wayfire, river) with its
// screen copy protocol over a private Wayland connection: every output into shared memory,
// composed by the outputs' logical layout at the largest output scale, the way grim composes
// it. Far quicker than the screenshot portal, which has grim encode a PNG that is decoded again.
namespace Screencopy {

struct Desktop {
    QImage image;         // device pixels; null on failure
    qreal ratio = 1;      // device pixels per logical pixel
    bool offered = false; // the compositor has the protocol (and the outputs' layout)
    QString error;        // why the image is null
};

// Long enough for a busy compositor's next frame; a compositor that takes longer is left to
// the portal.
constexpr int kTimeoutMs = 3000;

// Never blocks longer than timeoutMs. Not offered when SCREENCAPTURE_NO_SCREENCOPY=1 was set
// when first called, so the portal can be chosen on a compositor that has both.
Desktop capture(int timeoutMs = kTimeoutMs);

// An output's picture as the desktop shows it, from a copy in the output's own buffer
// orientation: turned and mirrored by wl_output's transform (0-7), and first flipped when the
// compositor copied it upside down.
QImage orient(QImage copy, int transform, bool yInverted);

} // namespace Screencopy

#endif // SCREENCOPY_H
