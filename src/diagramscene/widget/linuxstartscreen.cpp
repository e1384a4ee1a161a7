#include "linuxstartscreen.h"

#include "eventfilter.h"
#include "mainwindow.h"
#include "stylemanager.h"

#include <QApplication>
#include <QDesktopWidget>
#include <QScreen>

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
}

LinuxStartScreen::~LinuxStartScreen() {
    delete eventFilter_;
    delete mainWindow_;
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
    auto* pixmap = new QPixmap(QGuiApplication::primaryScreen()->grabWindow(
        0, rect.x(), rect.y(), rect.width(), rect.height()));
    mainWindow_->setMainWindowRect(rect);
    mainWindow_->setScreenPixmap(pixmap);
    mainWindow_->showFullScreen();
    return QApplication::exec();
}

void LinuxStartScreen::slotCloseWindow(int code) {
    mainWindow_->close();
    exitCode_ = code;
}

int LinuxStartScreen::getExitCode() {
    return exitCode_;
}
