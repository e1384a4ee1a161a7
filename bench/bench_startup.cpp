// Start-up latency of a capture session against the raw desktop grab, in one process on
// one X server (run it on a private Xvfb).
//
// Per round:
//   grab   = time of QGuiApplication::primaryScreen()->grabWindow(0, 0, 0, w, h) alone;
//   start  = from the call of LinuxStartScreen::startWinScreen(app) until the overlay window
//            is mapped and its first paint has reached the X server.
//
// How "first painted" is detected: the application's notify() is wrapped. Once a Paint event
// has been delivered to the MainWindow, the time is taken when the outermost notify() call
// that (directly or indirectly) delivered it returns -- that is the Expose or UpdateRequest
// dispatch during which Qt painted the window and all its children into the backing store
// and flushed it to the window. A 1x1 grab of the root window follows: it is a reply-bearing
// X request on the same connection, so when it returns the server has executed the flushed
// drawing. "start" is taken after that round trip. The session is then ended with
// mainWindow()->slotExitScreenshots(), which makes startWinScreen return.
//
// Usage: bench_startup [--rounds N] [--warmups N] [--json FILE]
//        bench_startup --wallpaper FILE W H   (writes a desktop picture; offscreen, no X)

#include "benchutil.h"
#include "linuxstartscreen.h"
#include "mainwindow.h"

#include <QApplication>
#include <QDesktopWidget>
#include <QElapsedTimer>
#include <QPixmap>
#include <QScreen>
#include <QSet>
#include <QTimer>
#include <QWindow>

#include <cstdio>

namespace {

class BenchApplication : public QApplication {
public:
    BenchApplication(int& argc, char** argv) : QApplication(argc, argv) {}

    // Arms detection for one session on `window`; `clock` runs since the startWinScreen call.
    void arm(QWidget* window, QElapsedTimer* clock) {
        window_ = window;
        clock_ = clock;
        armed_ = true;
        paintSeen_ = false;
        exposeNs_ = paintedNs_ = onScreenNs_ = -1;
        carrier_.clear();
        mappedAtPaint_ = false;
    }

    qint64 exposeNs() const { return exposeNs_; }
    qint64 paintedNs() const { return paintedNs_; }
    qint64 onScreenNs() const { return onScreenNs_; }
    QString carrier() const { return carrier_; }
    bool mappedAtPaint() const { return mappedAtPaint_; }

    bool notify(QObject* receiver, QEvent* event) override {
        if (armed_ && window_) {
            if (event->type() == QEvent::Expose && exposeNs_ < 0 &&
                receiver == window_->windowHandle())
                exposeNs_ = clock_->nsecsElapsed();
            if (event->type() == QEvent::Paint && receiver == window_ && !paintSeen_) {
                paintSeen_ = true;
                mappedAtPaint_ = window_->windowHandle() && window_->windowHandle()->isExposed();
                if (depth_ == 0) {
                    // Painted outside any other dispatch: finish after this batch instead.
                    ++depth_;
                    const bool r = QApplication::notify(receiver, event);
                    --depth_;
                    carrier_ = "Paint (posted follow-up)";
                    QTimer::singleShot(0, this, [this] { finish(); });
                    return r;
                }
            }
        }
        const QEvent::Type type = event->type();
        const bool outer = depth_ == 0;
        ++depth_;
        const bool r = QApplication::notify(receiver, event);
        --depth_;
        if (outer && armed_ && paintSeen_ && paintedNs_ < 0) {
            carrier_ = type == QEvent::Expose          ? "Expose"
                       : type == QEvent::UpdateRequest ? "UpdateRequest"
                                                        : QString("event %1").arg(int(type));
            finish();
        }
        return r;
    }

private:
    void finish() {
        if (!armed_ || paintedNs_ >= 0)
            return;
        paintedNs_ = clock_->nsecsElapsed();
        // Round trip: the reply comes after the server executed the flushed drawing.
        QGuiApplication::primaryScreen()->grabWindow(0, 0, 0, 1, 1);
        onScreenNs_ = clock_->nsecsElapsed();
        armed_ = false;
        QWidget* w = window_;
        QTimer::singleShot(0, w, [w] { static_cast<MainWindow*>(w)->slotExitScreenshots(); });
    }

    QWidget* window_ = nullptr;
    QElapsedTimer* clock_ = nullptr;
    bool armed_ = false;
    bool paintSeen_ = false;
    bool mappedAtPaint_ = false;
    int depth_ = 0;
    qint64 exposeNs_ = -1, paintedNs_ = -1, onScreenNs_ = -1;
    QString carrier_;
};

// Number of distinct colours on a coarse grid of the grab (a black or blank desktop gives 1).
int distinctColours(QPixmap const& pixmap) {
    const QImage img = pixmap.toImage();
    QSet<QRgb> colours;
    for (int y = 0; y < img.height(); y += std::max(1, img.height() / 40))
        for (int x = 0; x < img.width(); x += std::max(1, img.width() / 40))
            colours.insert(img.pixel(x, y));
    return colours.size();
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 5 && QByteArray(argv[1]) == "--wallpaper") {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        QGuiApplication app(argc, argv);
        const QImage img = bench::desktopPicture(atoi(argv[3]), atoi(argv[4]));
        return img.save(QString::fromLocal8Bit(argv[2]), "PNG") ? 0 : 1;
    }

    BenchApplication app(argc, argv);
    int rounds = 10, warmups = 2;
    QString jsonPath;
    const QStringList args = app.arguments();
    for (int i = 1; i < args.size(); ++i) {
        if (args[i] == "--rounds" && i + 1 < args.size())
            rounds = std::max(1, args[++i].toInt());
        else if (args[i] == "--warmups" && i + 1 < args.size())
            warmups = std::max(0, args[++i].toInt());
        else if (args[i] == "--json" && i + 1 < args.size())
            jsonPath = args[++i];
    }
    if (QGuiApplication::platformName() != "xcb") {
        std::fprintf(stderr, "bench_startup needs an X server (platform is %s)\n",
                     qPrintable(QGuiApplication::platformName()));
        return 1;
    }

    LinuxStartScreen session(nullptr);
    MainWindow* window = session.mainWindow();
    const QRect desk = QApplication::desktop()->geometry();
    const int w = desk.width(), h = desk.height();

    QVector<double> grabMs, roundGrabMs, mappedMs, paintedMs, startMs;
    double coldStart = -1, coldGrab = -1;
    int colours = 0;
    QString carrier;
    bool allMapped = true;
    for (int round = 0; round < warmups + rounds; ++round) {
        // The raw grab is timed right before and right after the session (the overlay is
        // unmapped again by then), so both sit in the same allocator and server state.
        auto timedGrab = [&] {
            QElapsedTimer t;
            t.start();
            const QPixmap grab = QGuiApplication::primaryScreen()->grabWindow(0, 0, 0, w, h);
            const double ms = t.nsecsElapsed() / 1e6;
            if (round == 0 && colours == 0)
                colours = distinctColours(grab);
            return ms;
        };
        const double g = timedGrab();

        QElapsedTimer clock;
        app.arm(window, &clock);
        clock.start();
        session.startWinScreen(&app);
        if (app.onScreenNs() < 0) {
            std::fprintf(stderr, "session ended without a detected first paint\n");
            return 1;
        }
        const double s = app.onScreenNs() / 1e6;
        const double g2 = timedGrab();
        allMapped = allMapped && app.mappedAtPaint();
        carrier = app.carrier();
        if (round == 0) {
            coldStart = s;
            coldGrab = g;
        }
        if (round < warmups)
            continue;
        grabMs << g << g2;
        roundGrabMs << (g + g2) / 2;
        mappedMs << (app.exposeNs() >= 0 ? app.exposeNs() / 1e6 : -1);
        paintedMs << app.paintedNs() / 1e6;
        startMs << s;
    }

    QVector<double> ratios;
    for (int i = 0; i < startMs.size(); ++i)
        ratios << startMs[i] / roundGrabMs[i];
    const double gMed = bench::median(grabMs), sMed = bench::median(startMs);
    const double ratio = sMed / gMed;
    const double ratioMin = bench::minimum(startMs) / bench::minimum(grabMs);
    std::printf("Start-up %dx%d (%d rounds after %d warm-ups; desktop sample: %d colours; "
                "first paint carried by %s, window exposed at paint: %s)\n",
                w, h, rounds, warmups, colours, qPrintable(carrier), allMapped ? "yes" : "NO");
    std::printf("  %-28s %9s %9s\n", "", "median", "min");
    std::printf("  %-28s %9.2f %9.2f   (%d grabs: one before, one after each session)\n",
                "raw grab ms", gMed, bench::minimum(grabMs), int(grabMs.size()));
    std::printf("  %-28s %9.2f %9.2f\n", "session: window exposed ms", bench::median(mappedMs),
                bench::minimum(mappedMs));
    std::printf("  %-28s %9.2f %9.2f\n", "session: painted+flushed ms", bench::median(paintedMs),
                bench::minimum(paintedMs));
    std::printf("  %-28s %9.2f %9.2f\n", "session: on X server ms", sMed, bench::minimum(startMs));
    std::printf("  %-28s %9.2f %9.2f   (median of per-round ratios %.2f; target <= 1.5: %s)\n",
                "start / grab", ratio, ratioMin, bench::median(ratios), ratio <= 1.5 ? "met" : "NOT met");
    std::printf("  %-28s %9.2f          (grab %.2f ms in that round)\n", "cold first session ms",
                coldStart, coldGrab);
    std::fflush(stdout);

    if (!jsonPath.isEmpty()) {
        const QString json = bench::Json()
                                 .integer("width", w)
                                 .integer("height", h)
                                 .integer("rounds", rounds)
                                 .integer("warmups", warmups)
                                 .integer("desktop_sample_colours", colours)
                                 .str("first_paint_carrier", carrier)
                                 .boolean("exposed_at_first_paint", allMapped)
                                 .num("grab_median_ms", gMed)
                                 .num("grab_min_ms", bench::minimum(grabMs))
                                 .num("exposed_median_ms", bench::median(mappedMs))
                                 .num("painted_median_ms", bench::median(paintedMs))
                                 .num("start_median_ms", sMed)
                                 .num("start_min_ms", bench::minimum(startMs))
                                 .num("ratio_of_medians", ratio)
                                 .num("ratio_of_mins", ratioMin)
                                 .num("median_of_round_ratios", bench::median(ratios))
                                 .boolean("target_1_5x_met", ratio <= 1.5)
                                 .num("cold_start_ms", coldStart)
                                 .num("cold_grab_ms", coldGrab)
                                 .raw("grab_ms", bench::Json::numbers(grabMs))
                                 .raw("start_ms", bench::Json::numbers(startMs))
                                 .text();
        if (!bench::writeFile(jsonPath, json)) {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(jsonPath));
            return 1;
        }
    }
    return 0;
}
