// Cost of snapping the selection to windows, in one process on one X server (run it on a
// private Xvfb, where it opens its own top-level windows first):
//   snapshot = X11WindowSnapshot::take() with N mapped top-level windows on the desktop;
//   hover    = one mouse move over the selection view, from delivery until the overlay has
//              painted and its drawing has reached the X server, while the proposed region jumps
//              from window to window.
//
// Usage: bench_snap [--windows N] [--rounds N] [--json FILE]

#include "benchutil.h"
#include "linuxdiagramscene.h"
#include "mainwindow.h"
#include "screenshotgraphicsitem.h"
#include "x11/x11windowsnapshot.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QGraphicsView>
#include <QMouseEvent>
#include <QScreen>
#include <QWindow>

#include <xcb/xcb.h>

#include <cstdio>

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    int windows = 50, rounds = 200;
    QString jsonPath;
    const QStringList args = app.arguments();
    for (int i = 1; i < args.size(); ++i) {
        if (args[i] == "--windows" && i + 1 < args.size())
            windows = args[++i].toInt();
        else if (args[i] == "--rounds" && i + 1 < args.size())
            rounds = args[++i].toInt();
        else if (args[i] == "--json" && i + 1 < args.size())
            jsonPath = args[++i];
    }
    if (QGuiApplication::platformName() != "xcb") {
        std::fprintf(stderr, "bench_snap needs an X server\n");
        return 1;
    }
    const QRect desk = QGuiApplication::primaryScreen()->geometry();
    const int w = desk.width(), h = desk.height();

    // N windows in a grid, each overlapping its neighbours, kept open on a connection of ours.
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    const int cols = 10, cw = w / cols, rows = (windows + cols - 1) / cols, ch = h / qMax(rows, 1);
    for (int i = 0; i < windows; ++i) {
        const xcb_window_t id = xcb_generate_id(c);
        const uint32_t bg = screen->white_pixel;
        xcb_create_window(c, XCB_COPY_FROM_PARENT, id, screen->root, int16_t((i % cols) * cw),
                          int16_t((i / cols) * ch), uint16_t(cw + cw / 3), uint16_t(ch + ch / 3), 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, XCB_CW_BACK_PIXEL,
                          &bg);
        xcb_map_window(c, id);
    }
    std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));

    QVector<double> snapMs;
    QVector<QRect> rects;
    for (int i = 0; i < rounds / 4 + 3; ++i) {
        QElapsedTimer t;
        t.start();
        rects = X11WindowSnapshot::take();
        if (i >= 3)
            snapMs << t.nsecsElapsed() / 1e6;
    }

    MainWindow window;
    window.setWindowFlags(Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    window.setMainWindowRect(desk);
    window.setScreenPixmap(
        new QPixmap(QGuiApplication::primaryScreen()->grabWindow(0, 0, 0, w, h)));
    QVector<QRectF> snapTo;
    for (QRect const& r : rects)
        snapTo << QRectF(r);
    window.selectionScene()->setHoverRegions(snapTo, {QRectF(0, 0, w, h)});
    window.showFullScreen();
    QElapsedTimer wait;
    wait.start();
    while ((!window.windowHandle() || !window.windowHandle()->isExposed()) &&
           wait.elapsed() < 10000)
        app.processEvents(QEventLoop::AllEvents, 50);
    app.processEvents();

    // Alternate between the centres of two windows, so every move changes the region.
    QWidget* viewport = window.selectionView()->viewport();
    QVector<double> hoverMs;
    int changed = 0;
    for (int i = 0; i < rounds + 5; ++i) {
        const QRect target = rects.value((i % 2) * (rects.size() / 2));
        const QPoint at = target.center();
        QMouseEvent move(QEvent::MouseMove, viewport->mapFrom(&window, at), window.mapToGlobal(at),
                         Qt::NoButton, Qt::NoButton, Qt::NoModifier);
        QElapsedTimer t;
        t.start();
        QApplication::sendEvent(viewport, &move);
        app.processEvents(); // the scene's update reaches the view, which asks for a repaint
        app.processEvents(); // the repaint, flushed to the window
        QGuiApplication::primaryScreen()->grabWindow(0, 0, 0, 1, 1); // the server has drawn it
        if (i >= 5)
            hoverMs << t.nsecsElapsed() / 1e6;
        changed += window.selectionScene()->selectionItem()->getRect().width() > 0;
    }
    window.close();
    xcb_disconnect(c);

    const double snap = bench::median(snapMs), hover = bench::median(hoverMs);
    std::printf("Snapping %dx%d: %d windows in the snapshot (%d opened here)\n", w, h,
                int(rects.size()), windows);
    std::printf("  %-28s %9s %9s\n", "", "median", "min");
    std::printf("  %-28s %9.3f %9.3f\n", "window snapshot ms", snap, bench::minimum(snapMs));
    std::printf("  %-28s %9.3f %9.3f   (%d of %d moves proposed a window)\n",
                "hover update per move ms", hover, bench::minimum(hoverMs), changed, rounds + 5);
    std::fflush(stdout);
    if (!jsonPath.isEmpty()) {
        const QString json = bench::Json()
                                 .integer("width", w)
                                 .integer("height", h)
                                 .integer("windows", int(rects.size()))
                                 .num("snapshot_median_ms", snap)
                                 .num("snapshot_min_ms", bench::minimum(snapMs))
                                 .num("hover_median_ms", hover)
                                 .num("hover_min_ms", bench::minimum(hoverMs))
                                 .text();
        if (!bench::writeFile(jsonPath, json))
            return 1;
    }
    return rects.size() >= windows && changed == rounds + 5 ? 0 : 1;
}
