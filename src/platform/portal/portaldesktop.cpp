#include "../backends.h"
#include "../desktopplatform.h"
#include "../overlayplacement.h"
#include "portalscreenshot.h"

namespace {

// A Wayland session: X clients see a black desktop there, so the picture comes from the
// desktop portal and the overlay runs through XWayland. Only native Wayland clients know
// their windows, and XWayland's list would miss them: no region is proposed.
class PortalDesktop : public DesktopPlatform {
public:
    bool freeze(QRect const& rect, WId, FrozenDesktop* out, QString* why) override {
        QImage image = portalScreenshot(why);
        if (image.isNull())
            return false;
        // The window maps the picture onto the desktop by whole ratios; a picture of another
        // shape (an output left out) is stretched rather than cropped at the wrong place.
        const int ratio = qMax(1, image.width() / rect.width());
        if (image.size() != rect.size() * ratio)
            image =
                image.scaled(rect.size() * ratio, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        out->picture = QPixmap::fromImage(std::move(image));
        return true;
    }

    void showOverlay(QWidget* overlay, QRect const& rect) override {
        placeOverlay(overlay, rect, OverlayPlacement::Unmanaged);
    }
};

} // namespace

DesktopPlatform* newPortalDesktop() {
    return new PortalDesktop;
}
