#ifndef BACKENDS_H
#define BACKENDS_H

#include <QString>

class DesktopPlatform;

// The desktops the process can run on; DesktopPlatform::current() picks one.
DesktopPlatform* newX11Desktop();
DesktopPlatform* newPortalDesktop();
// No desktop to capture (Qt runs on a platform without an X display): every capture ends at
// once with `why`.
DesktopPlatform* newMissingDesktop(QString const& why);

#endif // BACKENDS_H
