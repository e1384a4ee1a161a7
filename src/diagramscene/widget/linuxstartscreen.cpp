#include "linuxstartscreen.h"

#include "eventfilter.h"
#include "linuxdiagramscene.h"
#include "mainwindow.h"
#include "portalscreenshot.h"
#include "stylemanager.h"
#include "x11screengrab.h"
#include "x11windowsnapshot.h"
#include "xcbconnection.h"

#include <QApplication>
#include <QBackingStore>
#include <QDebug>
#include <QDesktopWidget>
#include <QPainter>
#include <QScreen>
#include <QTimer>
#include <QWindow>

#include <memory>

static void registerResources() {
    Q_INIT_RESOURCE(diagramscene);
}

// The desktop as the X server lays it out, in device pixels, and how the overlay covers it.
struct DesktopLayout {
    QRect device;            // the union of the monitors
    QRect logical;           // the overlay's geometry
    qreal ratio = 1;         // device pixels per overlay pixel
    QVector<QRect> monitors; // in overlay coordinates
};

// A screen's rectangle in device pixels: Qt keeps its top-left corner as the server has it
// and divides only its size.
static QRect deviceGeometry(const QScreen* screen) {
    const QRect g = screen->geometry();
    const qreal r = screen->devicePixelRatio();
    return QRect(g.topLeft(), QSize(qRound(g.width() * r), qRound(g.height() * r)));
}

// One window spans all monitors. Qt gives a window the scale of the screen holding its centre,
// so the overlay's size in its own pixels follows from that screen's ratio.
static DesktopLayout desktopLayout() {
    DesktopLayout d;
    const QList<QScreen*> screens = QGuiApplication::screens();
    for (const QScreen* screen : screens)
        d.device |= deviceGeometry(screen);
    // Sizes rounded at a fractional scale can overshoot the root window by a pixel.
    if (QGuiApplication::platformName() == QLatin1String("xcb")) {
        const XcbConnection x;
        if (const xcb_screen_t* root = x.screen())
            d.device &= QRect(0, 0, root->width_in_pixels, root->height_in_pixels);
    }
    const QScreen* anchor = QGuiApplication::primaryScreen();
    for (const QScreen* screen : screens)
        if (deviceGeometry(screen).contains(d.device.center()))
            anchor = screen;
    if (!anchor || d.device.isEmpty())
        return d;
    d.ratio = anchor->devicePixelRatio();
    const QPoint origin = anchor->geometry().topLeft();
    auto toOverlay = [&](QRect const& r) {
        const QPointF tl = origin + QPointF(r.topLeft() - origin) / d.ratio;
        return QRectF(tl, QSizeF(r.size()) / d.ratio);
    };
    d.logical = toOverlay(d.device).toRect();
    for (const QScreen* screen : screens)
        d.monitors << toOverlay(deviceGeometry(screen)).toRect().translated(-d.logical.topLeft());
    return d;
}

// X11: the root window, through the server's shared memory where it can, else through Qt;
// in device pixels either way. Wayland: X clients see a black desktop there, so the portal's
// picture (in the outputs' device pixels) is used instead. The picture's device pixel ratio
// says how it maps onto the overlay. Null, with the reason, on failure.
static QPixmap* grabDesktop(DesktopLayout const& d, QString* why) {
    QImage image;
    qreal ratio = d.ratio;
    if (!isWaylandSession()) {
        if (QGuiApplication::platformName() == QLatin1String("xcb"))
            image = X11ScreenGrab::grab(d.device);
        if (image.isNull()) {
            const QRect r = d.logical;
            image = QGuiApplication::primaryScreen()
                        ->grabWindow(0, r.x(), r.y(), r.width(), r.height())
                        .toImage();
        }
    } else {
        if (QGuiApplication::platformName() != QLatin1String("xcb")) {
            *why = QStringLiteral("no XWayland: on a Wayland session the overlay needs an X "
                                  "display (DISPLAY is not set or cannot be opened)");
            return nullptr;
        }
        image = portalScreenshot(why);
        if (image.isNull())
            return nullptr;
        // XWayland's pixels are the outputs' logical ones; the picture is as much larger as
        // the outputs' scale. One of another shape (an output left out) is stretched rather
        // than cropped at the wrong place.
        ratio = qMax(1.0, qreal(image.width()) / d.logical.width());
        const QSize size(qRound(d.logical.width() * ratio), qRound(d.logical.height() * ratio));
        if (image.size() != size)
            image = image.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    }
    if (image.isNull()) {
        *why = QStringLiteral("the screen could not be read");
        return nullptr;
    }
    auto* pixmap = new QPixmap(QPixmap::fromImage(std::move(image)));
    pixmap->setDevicePixelRatio(ratio);
    return pixmap;
}

LinuxStartScreen::LinuxStartScreen(QObject* parent)
    : QObject(parent), mainWindow_(nullptr), exitCode_(0), eventFilter_(nullptr) {
    mainWindow_ = new MainWindow(nullptr);
    QList<MainWindow*> windows;
    windows << mainWindow_;
    eventFilter_ = new EventFilter(windows, nullptr);
    mainWindow_->setWindowFlags(Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    connect(mainWindow_, &MainWindow::mainWindowExit, this, &LinuxStartScreen::slotCloseWindow);
    // Nothing is drawn above a window the window manager leaves alone: it makes way for the
    // save dialog.
    connect(mainWindow_, &MainWindow::showSaveAs, mainWindow_, &QWidget::hide);
    warmUp();
}

// One-time work that would otherwise land on the first capture, done without showing
// anything, so the first capture costs what the later ones do.
void LinuxStartScreen::warmUp() {
    // Nothing here draws with OpenGL: raster-only windows spare loading the GL stack
    // (libGL, Mesa's driver and its config) when the overlay's native window is made.
    QCoreApplication::setAttribute(Qt::AA_ForceRasterWidgets);
    // Style sheet resolution for the window and all its children.
    mainWindow_->ensurePolished();
    // The native window, unmapped until the first capture.
    mainWindow_->winId();
    // The host runs no Qt event loop between captures: what construction posted (style
    // sheets' polish requests, which load the icons) would wait for the first capture.
    QCoreApplication::sendPostedEvents();
    // The window's buffer, its memory touched once: first use of fresh memory was most of
    // what made the first capture slower than the rest. The buffer stays between captures.
    const QSize size = QApplication::desktop()->size();
    if (QBackingStore* store = mainWindow_->backingStore(); store && !size.isEmpty()) {
        const QRect all(QPoint(), size);
        store->resize(size);
        store->beginPaint(all);
        if (QPaintDevice* device = store->paintDevice())
            QPainter(device).fillRect(all, Qt::black);
        store->endPaint();
    }
}

LinuxStartScreen::~LinuxStartScreen() {
    delete eventFilter_;
    delete mainWindow_;
}

// The windows to snap to, topmost first, in the coordinates of the overlay covering `desktop`.
// Read once with the grab, so they match the frozen picture; only X11 can list them.
// Only an X11 desktop lists its windows; under XWayland the list would miss every native
// Wayland window, so a Wayland session proposes no region at all.
static bool snappingAvailable() {
    return QGuiApplication::platformName() == QLatin1String("xcb") && !isWaylandSession();
}

static QVector<QRectF> windowsOnDesktop(DesktopLayout const& d, WId overlay) {
    QVector<QRectF> out;
    if (!snappingAvailable())
        return out;
    for (QRect const& r : X11WindowSnapshot::take(quint32(overlay)))
        out << QRectF(QPointF(r.topLeft() - d.device.topLeft()) / d.ratio,
                      QSizeF(r.size()) / d.ratio);
    return out;
}

static QVector<QRectF> screensOnDesktop(DesktopLayout const& d) {
    QVector<QRectF> out;
    if (!snappingAvailable())
        return out;
    for (QRect const& m : d.monitors)
        out << QRectF(m);
    return out;
}

int LinuxStartScreen::startWinScreen(QApplication* app) {
    registerResources();
    StyleManager::instance();
    app->installEventFilter(eventFilter_);
    const DesktopLayout desktop = desktopLayout();
    QString why;
    QPixmap* pixmap = desktop.logical.isEmpty() ? nullptr : grabDesktop(desktop, &why);
    if (!pixmap) {
        // Never a black or grey frozen screen: the session ends before it shows.
        qWarning().noquote() << "capture ended without a screenshot:" << why;
        exitCode_ = 0;
        return 0;
    }
    mainWindow_->setMainWindowRect(desktop.logical);
    mainWindow_->setMonitors(desktop.monitors.size() > 1 ? desktop.monitors : QVector<QRect>());
    mainWindow_->setScreenPixmap(pixmap);
    mainWindow_->selectionScene()->setHoverRegions(
        windowsOnDesktop(desktop, mainWindow_->internalWinId()), screensOnDesktop(desktop));
    placeOverlay(desktop.logical);
    return QApplication::exec();
}

// One placement for every X server, XWayland included, whatever the window manager: a window
// the manager leaves alone covers all monitors (a managed full-screen one covers one, or all
// only where the manager honours _NET_WM_FULLSCREEN_MONITORS), and it takes the input focus
// itself, where focus-stealing prevention may refuse it to a managed window.
void LinuxStartScreen::placeOverlay(QRect const& geometry) {
    const Qt::WindowFlags flags = mainWindow_->windowFlags() | Qt::X11BypassWindowManagerHint;
    if (mainWindow_->windowFlags() != flags)
        mainWindow_->setWindowFlags(flags);
    mainWindow_->setGeometry(geometry);
    mainWindow_->show();
    mainWindow_->activateWindow();
    // Focus given right after mapping can be lost again (the window manager may hand it back
    // to the window it had): ask again until the window has held it for a moment, within
    // bounds. The keyboard is also grabbed, the window's grab rather than Qt's widget grab,
    // which would take the keys from a text being edited.
    auto* timer = new QTimer(mainWindow_);
    auto ticks = std::make_shared<int>(0);
    auto held = std::make_shared<int>(0);
    auto grabbed = std::make_shared<bool>(false);
    connect(timer, &QTimer::timeout, mainWindow_, [this, timer, ticks, held, grabbed] {
        QWindow* window = mainWindow_->windowHandle();
        if (!window || !mainWindow_->isVisible() || ++*ticks > 100) {
            timer->deleteLater();
            return;
        }
        if (!window->isExposed())
            return;
        if (!*grabbed)
            *grabbed = window->setKeyboardGrabEnabled(true);
        if (QGuiApplication::focusWindow() == window) {
            if (++*held >= 6 && *grabbed)
                timer->deleteLater();
            return;
        }
        *held = 0;
        mainWindow_->activateWindow();
    });
    timer->start(30);
}

void LinuxStartScreen::slotCloseWindow(int code) {
    mainWindow_->close();
    exitCode_ = code;
}

int LinuxStartScreen::getExitCode() {
    return exitCode_;
}
