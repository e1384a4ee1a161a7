#include "../backends.h"
#include "../desktoplayout.h"
#include "../desktopplatform.h"
#include "../overlayplacement.h"
#include "portalscreenshot.h"

namespace {

// A Wayland session: X clients see a black desktop there, so the picture comes from the
// desktop portal and the overlay runs through XWayland. Only native Wayland clients know
// their windows, and XWayland's list would miss them: no region is proposed.
class PortalDesktop : public DesktopPlatform {
public:
    bool freeze(WId, FrozenDesktop* out, QString* why) override {
        const DesktopLayout d = desktopLayout();
        if (d.logical.isEmpty()) {
            *why = QStringLiteral("XWayland shows no output");
            return false;
        }
        QImage image = portalScreenshot(why);
        if (image.isNull())
            return false;
        // XWayland's pixels are the outputs' logical ones; the portal's picture is in the
        // outputs' device pixels, as much larger as their scale, fractional or not. One of
        // another shape (an output left out) is stretched rather than cropped at the wrong
        // place.
        const qreal ratio = qMax(1.0, qreal(image.width()) / d.logical.width());
        const QSize size(qRound(d.logical.width() * ratio), qRound(d.logical.height() * ratio));
        if (image.size() != size)
            image = image.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        out->picture = QPixmap::fromImage(std::move(image));
        out->picture.setDevicePixelRatio(ratio);
        out->rect = d.logical;
        out->monitors = d.monitors;
        return true;
    }

    void showOverlay(QWidget* overlay, QRect const& rect) override { placeOverlay(overlay, rect); }
};

} // namespace

DesktopPlatform* newPortalDesktop() {
    return new PortalDesktop;
}
