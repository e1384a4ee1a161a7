#include "linuxstartscreen.h"

#include "eventfilter.h"
#include "linuxdiagramscene.h"
#include "mainwindow.h"
#include "stylemanager.h"
#include "x11windowsnapshot.h"

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
}

LinuxStartScreen::~LinuxStartScreen() {
    delete eventFilter_;
    delete mainWindow_;
}

// The windows to snap to, topmost first, in the coordinates of the overlay covering `desktop`.
// Read once with the grab, so they match the frozen picture; only X11 can list them.
static QVector<QRect> windowsOnDesktop(QRect const& desktop, WId overlay) {
    QVector<QRect> out;
    if (QGuiApplication::platformName() != QLatin1String("xcb"))
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
    if (QGuiApplication::platformName() != QLatin1String("xcb"))
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
    auto* pixmap = new QPixmap(QGuiApplication::primaryScreen()->grabWindow(
        0, rect.x(), rect.y(), rect.width(), rect.height()));
    mainWindow_->setMainWindowRect(rect);
    mainWindow_->setScreenPixmap(pixmap);
    mainWindow_->selectionScene()->setHoverRegions(
        windowsOnDesktop(rect, mainWindow_->internalWinId()), screensOnDesktop(rect));
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
