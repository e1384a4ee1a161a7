#include "../backends.h"
#include "../desktoplayout.h"
#include "../desktopplatform.h"
#include "../overlayplacement.h"
#include "../wlroots/screencopy.h"
#include "portalscreenshot.h"

#include <QDebug>

namespace {

// A Wayland session: X clients see a black desktop there, so the picture comes from the
// compositor (read directly where it is a wlroots one, else through the desktop portal) and
// the overlay runs through XWayland. Only native Wayland clients know their windows, and
// XWayland's list would miss them: no region is proposed.
class PortalDesktop : public DesktopPlatform {
public:
    bool freeze(WId, FrozenDesktop* out, QString* why) override {
        const DesktopLayout d = desktopLayout();
        if (d.logical.isEmpty()) {
            *why = QStringLiteral("XWayland shows no output");
            return false;
        }
        QImage image;
        qreal ratio = 0;
        if (screencopy_) {
            Screencopy::Desktop direct = Screencopy::capture();
            // A compositor without the protocol never gains it: not asked again.
            screencopy_ = direct.offered;
            if (direct.offered && direct.image.isNull())
                qWarning().noquote()
                    << "reading the screen directly failed, asking the portal:" << direct.error;
            image = std::move(direct.image);
            ratio = direct.ratio;
        }
        if (image.isNull()) {
            image = portalScreenshot(why);
            ratio = 0;
        }
        if (image.isNull())
            return false;
        // XWayland's pixels are the outputs' logical ones; the picture is in the outputs'
        // device pixels, as much larger as their scale, fractional or not. One of another
        // shape (an output left out) is stretched rather than cropped at the wrong place; one
        // pixel short is the composition rounding a fractional size down.
        if (ratio <= 0)
            ratio = qMax(1.0, qreal(image.width()) / d.logical.width());
        const QSize size(qRound(d.logical.width() * ratio), qRound(d.logical.height() * ratio));
        if (qAbs(image.width() - size.width()) > 1 || qAbs(image.height() - size.height()) > 1)
            image = image.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        out->picture = QPixmap::fromImage(std::move(image));
        out->picture.setDevicePixelRatio(ratio);
        out->rect = d.logical;
        out->monitors = d.monitors;
        return true;
    }

    void showOverlay(QWidget* overlay, QRect const& rect) override { placeOverlay(overlay, rect); }

private:
    bool screencopy_ = true;
};

} // namespace

DesktopPlatform* newPortalDesktop() {
    return new PortalDesktop;
}
