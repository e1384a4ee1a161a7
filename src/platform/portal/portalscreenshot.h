#ifndef PORTALSCREENSHOT_H
#define PORTALSCREENSHOT_H

#include <QImage>
#include <QString>

// Long enough for a desktop's one-time permission dialog.
constexpr int kPortalTimeoutMs = 30000;

// Asks org.freedesktop.portal.Screenshot for a non-interactive screenshot of every output and
// waits for the answer (running the event loop, at most timeoutMs). Returns the picture in
// device pixels; on failure a null image and the reason in *error.
QImage portalScreenshot(QString* error, int timeoutMs = kPortalTimeoutMs);

#endif // PORTALSCREENSHOT_H
