#include "linuxstartscreen.h"

#include "eventfilter.h"
#include "linuxdiagramscene.h"
#include "mainwindow.h"
#include "portalscreenshot.h"
#include "screencopy.h"
#include "stylemanager.h"
#include "x11screengrab.h"
#include "x11windowsnapshot.h"

#include <QApplication>
#include <QBackingStore>
#include <QDebug>
#include <QDesktopWidget>
#include <QPainter>
#include <QScreen>
#include <QTimer>
#include <QWindow>

static void registerResources() {
    Q_INIT_RESOURCE(diagramscene);
}

// X11: the root window, through the server's shared memory where it can, else through Qt.
// Wayland: X clients see a black desktop there, so the portal's picture (in device pixels) is
// used instead. Null, with the reason, on failure.
static QPixmap* grabDesktop(const QRect& rect, QString* why) {
    if (!isWaylandSession()) {
        QScreen* screen = QGuiApplication::primaryScreen();
        // Unscaled, logical pixels are the root's own; Qt's grab copies the picture twice
        // after it came through the socket.
        if (QGuiApplication::platformName() == QLatin1String("xcb") &&
            screen->devicePixelRatio() == 1) {
            QImage image = X11ScreenGrab::grab(rect);
            if (!image.isNull())
                return new QPixmap(QPixmap::fromImage(std::move(image)));
        }
        return new QPixmap(screen->grabWindow(0, rect.x(), rect.y(), rect.width(), rect.height()));
    }
    if (QGuiApplication::platformName() != QLatin1String("xcb")) {
        *why = QStringLiteral("no XWayland: on a Wayland session the overlay needs an X display "
                              "(DISPLAY is not set or cannot be opened)");
        return nullptr;
    }
    // A wlroots compositor hands its outputs over directly; others go through the portal.
    const Screencopy::Desktop direct = Screencopy::capture();
    QImage image = direct.image;
    if (image.isNull()) {
        if (direct.offered)
            qWarning().noquote() << "screen copy failed, asking the desktop portal:" << direct.error;
        image = portalScreenshot(why);
    }
    if (image.isNull())
        return nullptr;
    // The window maps the picture onto the desktop by whole ratios; a picture of another shape
    // (an output left out) is stretched rather than cropped at the wrong place.
    const int ratio = qMax(1, image.width() / rect.width());
    if (image.size() != rect.size() * ratio)
        image = image.scaled(rect.size() * ratio, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    return new QPixmap(QPixmap::fromImage(image));
}

LinuxStartScreen::LinuxStartScreen(QObject* parent)
    : QObject(parent), mainWindow_(nullptr), exitCode_(0), eventFilter_(nullptr) {
    mainWindow_ = new MainWindow(nullptr);
    QList<MainWindow*> windows;
    windows << mainWindow_;
    eventFilter_ = new EventFilter(windows, nullptr);
    mainWindow_->setWindowFlags(Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    connect(mainWindow_, &MainWindow::mainWindowExit, this, &LinuxStartScreen::slotCloseWindow);
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
    // The native window, unmapped until the first showFullScreen().
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

static QVector<QRect> windowsOnDesktop(QRect const& desktop, WId overlay) {
    QVector<QRect> out;
    if (!snappingAvailable())
        return out;
    const qreal ratio = QGuiApplication::primaryScreen()->devicePixelRatio();
    for (QRect const& r : X11WindowSnapshot::take(quint32(overlay))) {
        const QRectF logical(r.x() / ratio, r.y() / ratio, r.width() / ratio, r.height() / ratio);
        out << logical.toAlignedRect().translated(-desktop.topLeft());
    }
    return out;
}

static QVector<QRect> screensOnDesktop(QRect const& desktop) {
    QVector<QRect> out;
    if (!snappingAvailable())
        return out;
    for (QScreen* screen : QGuiApplication::screens())
        out << screen->geometry().translated(-desktop.topLeft());
    return out;
}

int LinuxStartScreen::startWinScreen(QApplication* app) {
    registerResources();
    StyleManager::instance();
    app->installEventFilter(eventFilter_);
    QWidget* desktop = QApplication::desktop();
    const QPoint topLeft = desktop->pos();
    const QRect area(topLeft, desktop->size());
    const QRect rect(area.left(), area.top(), area.right() - area.left() + 1,
                     area.bottom() - area.top() + 1);
    QString why;
    QPixmap* pixmap = grabDesktop(rect, &why);
    if (!pixmap) {
        // Never a black or grey frozen screen: the session ends before it shows.
        qWarning().noquote() << "capture ended without a screenshot:" << why;
        exitCode_ = 0;
        return 0;
    }
    mainWindow_->setMainWindowRect(rect);
    mainWindow_->setScreenPixmap(pixmap);
    mainWindow_->selectionScene()->setHoverRegions(
        windowsOnDesktop(rect, mainWindow_->internalWinId()), screensOnDesktop(rect));
    if (!isWaylandSession()) {
        mainWindow_->showFullScreen();
        return QApplication::exec();
    }
    // A managed full-screen window covers one output only; one placed without the window
    // manager covers the geometry it is given, but gets no focus from it. So the X keyboard is
    // grabbed once the window is viewable: the window's, not Qt's widget grab, which would take
    // the keys from a text being edited.
    const Qt::WindowFlags flags = mainWindow_->windowFlags() | Qt::X11BypassWindowManagerHint;
    if (mainWindow_->windowFlags() != flags)
        mainWindow_->setWindowFlags(flags);
    // Nothing is drawn above such a window, so it makes way for the save dialog.
    connect(mainWindow_, &MainWindow::showSaveAs, mainWindow_, &QWidget::hide,
            Qt::UniqueConnection);
    mainWindow_->setGeometry(rect);
    mainWindow_->show();
    mainWindow_->activateWindow();
    QTimer grab;
    int tries = 0;
    connect(&grab, &QTimer::timeout, this, [&] {
        QWindow* window = mainWindow_->windowHandle();
        if ((window && window->isExposed() && window->setKeyboardGrabEnabled(true)) ||
            ++tries == 100)
            grab.stop();
    });
    grab.start(20);
    return QApplication::exec();
}

void LinuxStartScreen::slotCloseWindow(int code) {
    mainWindow_->close();
    exitCode_ = code;
}

int LinuxStartScreen::getExitCode() {
    return exitCode_;
}
