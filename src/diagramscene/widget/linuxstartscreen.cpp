#include "linuxstartscreen.h"

#include "desktopplatform.h"
#include "eventfilter.h"
#include "linuxdiagramscene.h"
#include "mainwindow.h"
#include "stylemanager.h"

#include <QApplication>
#include <QBackingStore>
#include <QDebug>
#include <QDesktopWidget>
#include <QEventLoop>
#include <QPainter>
#include <QScreen>
#include <QTimer>
#include <QWindow>

static void registerResources() {
    Q_INIT_RESOURCE(diagramscene);
}

LinuxStartScreen::LinuxStartScreen(QObject* parent)
    : QObject(parent), mainWindow_(nullptr), exitCode_(0), eventFilter_(nullptr) {
    mainWindow_ = new MainWindow(nullptr);
    QList<MainWindow*> windows;
    windows << mainWindow_;
    eventFilter_ = new EventFilter(windows, nullptr);
    mainWindow_->setWindowFlags(Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    connect(mainWindow_, &MainWindow::mainWindowExit, this, &LinuxStartScreen::slotCloseWindow);
    // Nothing is drawn above a window placed without the window manager, so it makes way for
    // the save dialog.
    connect(mainWindow_, &MainWindow::showSaveAs, mainWindow_, [this] {
        if (mainWindow_->windowFlags() & Qt::X11BypassWindowManagerHint)
            mainWindow_->hide();
    });
    warmUp();
    // The desktop backend is chosen now, with the application.
    DesktopPlatform::current();
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

int LinuxStartScreen::startWinScreen(QApplication* app) {
    if (!startSession(app))
        return 0;
    QEventLoop loop;
    connect(this, &LinuxStartScreen::sessionEnded, &loop, &QEventLoop::quit);
    return loop.exec();
}

bool LinuxStartScreen::startSession(QApplication* app) {
    registerResources();
    StyleManager::instance();
    app->installEventFilter(eventFilter_);
    DesktopPlatform& platform = DesktopPlatform::current();
    FrozenDesktop frozen;
    QString why;
    if (!platform.freeze(mainWindow_->internalWinId(), &frozen, &why)) {
        // Never a black or grey frozen screen: the session ends before it shows.
        qWarning().noquote() << "capture ended without a screenshot:" << why;
        exitCode_ = 0;
        return false;
    }
    mainWindow_->setMainWindowRect(frozen.rect);
    // One monitor needs no bounds of its own.
    mainWindow_->setMonitors(frozen.monitors.size() > 1 ? frozen.monitors : QVector<QRect>());
    mainWindow_->setScreenPixmap(new QPixmap(std::move(frozen.picture)));
    mainWindow_->selectionScene()->setHoverRegions(frozen.windows, frozen.screens);
    platform.showOverlay(mainWindow_, frozen.rect);
    return true;
}

void LinuxStartScreen::slotCloseWindow(int code) {
    mainWindow_->close();
    exitCode_ = code;
    emit sessionEnded(code);
}

int LinuxStartScreen::getExitCode() {
    return exitCode_;
}
