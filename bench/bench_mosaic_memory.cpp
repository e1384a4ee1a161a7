// Memory of 20 mosaic strokes in one annotation scene.
//
// A PaintRamScene with a view the size of the screen gets a screenshot-like pixmap through
// setPaintPixmap; with the mosaic tool selected, 20 strokes are drawn by real mouse events
// (press, ten moves, release) sent to the view's viewport, and the view repaints after each.
// Reported: resident set growth (/proc/self/statm) after one and after 20 strokes, the number
// of distinct pixelated-image buffers across the 20 items, and what 20 private copies would
// cost (20 x w x h x 4 bytes).
//
// Usage: bench_mosaic_memory [--pixmap-scale N] [--json FILE]
//   --pixmap-scale 2 hands the scene a pixmap twice the scene's size in each direction, the
//   way a grab in device pixels looks on a screen with device-pixel ratio 2.
// Run it on an X server whose screen has the size to measure: the mosaic block size and the
// scene size follow the primary screen.

#include "benchutil.h"
#include "defualtbasedate.h"
#include "mosaicgraphicsitem.h"
#include "paintramscene.h"
#include "stylemanager.h"

#include <QApplication>
#include <QGraphicsView>
#include <QMouseEvent>
#include <QScreen>
#include <QSet>

#include <cstdio>

namespace {

void send(QWidget* target, QEvent::Type type, QPoint pos, Qt::MouseButtons buttons) {
    const Qt::MouseButton button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
    QMouseEvent event(type, QPointF(pos), target->mapToGlobal(pos), button, buttons,
                      Qt::NoModifier);
    QApplication::sendEvent(target, &event);
}

void settle() {
    for (int i = 0; i < 5; ++i)
        QApplication::processEvents(QEventLoop::AllEvents, 20);
}

QList<MosaicGraphicsItem*> mosaicItems(PaintRamScene& scene) {
    QList<MosaicGraphicsItem*> out;
    for (QGraphicsItem* item : scene.items())
        if (auto* m = dynamic_cast<MosaicGraphicsItem*>(item))
            out << m;
    return out;
}

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    int pixmapScale = 1;
    QString jsonPath;
    const QStringList args = app.arguments();
    for (int i = 1; i < args.size(); ++i) {
        if (args[i] == "--pixmap-scale" && i + 1 < args.size())
            pixmapScale = std::max(1, args[++i].toInt());
        else if (args[i] == "--json" && i + 1 < args.size())
            jsonPath = args[++i];
    }
    const QSize screen = QGuiApplication::primaryScreen()->size();
    const int w = screen.width(), h = screen.height();
    const int block = MosaicGraphicsItem::blockSize();
    constexpr int strokes = 20;

    StyleManager* manager = StyleManager::instance();
    PaintRamScene scene;
    QGraphicsView view(&scene);
    view.setFrameShape(QFrame::NoFrame);
    view.setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view.setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view.setGeometry(0, 0, w, h);
    scene.setSceneRect(-w / 2, -h / 2, w, h);
    view.show();
    settle();

    const QPixmap pixmap =
        QPixmap::fromImage(bench::desktopPicture(w * pixmapScale, h * pixmapScale, 11));
    const qint64 rss0 = bench::residentBytes();
    const qint64 peak0 = bench::peakResidentBytes();
    scene.setPaintPixmap(pixmap);
    manager->currentDrawingShape(PaintShapesMosaic);
    settle();
    const qint64 rssBase = bench::residentBytes();

    QWidget* viewport = view.viewport();
    qint64 rssOne = 0;
    for (int s = 0; s < strokes; ++s) {
        const double y = -h / 2.0 + (s + 1) * h / double(strokes + 2);
        QPoint pos = view.mapFromScene(QPointF(-w / 3.0, y));
        send(viewport, QEvent::MouseButtonPress, pos, Qt::LeftButton);
        for (int m = 1; m <= 10; ++m) {
            pos = view.mapFromScene(QPointF(-w / 3.0 + m * (2.0 * w / 3.0) / 10.0, y + (m % 2) * 7));
            send(viewport, QEvent::MouseMove, pos, Qt::LeftButton);
        }
        send(viewport, QEvent::MouseButtonRelease, pos, Qt::NoButton);
        settle();
        if (s == 0)
            rssOne = bench::residentBytes();
    }
    view.viewport()->repaint();
    settle();
    const qint64 rss20 = bench::residentBytes();
    const qint64 peak20 = bench::peakResidentBytes();

    const QList<MosaicGraphicsItem*> items = mosaicItems(scene);
    QSet<const uchar*> buffers;
    bool allPixelated = !items.isEmpty();
    for (MosaicGraphicsItem* item : items) {
        buffers.insert(item->pixelatedImage().constBits());
        allPixelated = allPixelated && item->pixelatedImage().size() == QSize(w, h) &&
                       item->points().size() == 11;
    }
    if (items.size() != strokes || !allPixelated) {
        std::fprintf(stderr, "expected %d mosaic items with 11 points and a %dx%d image, got %d\n",
                     strokes, w, h, int(items.size()));
        return 1;
    }

    const qint64 imageBytes = qint64(w) * h * 4;
    const qint64 privateCopies = strokes * imageBytes;
    const qint64 growth = rss20 - rssBase;
    std::printf("Mosaic memory %dx%d scene, pixmap %dx%d, block %d: %d strokes\n", w, h,
                w * pixmapScale, h * pixmapScale, block, strokes);
    std::printf("  one %dx%d image              %8s MiB\n", w, h, qPrintable(bench::mib(imageBytes)));
    std::printf("  setPaintPixmap RSS growth      %8s MiB\n", qPrintable(bench::mib(rssBase - rss0)));
    std::printf("  RSS growth after 1 stroke      %8s MiB\n", qPrintable(bench::mib(rssOne - rssBase)));
    std::printf("  RSS growth after %d strokes    %8s MiB  (%.2f images)\n", strokes,
                qPrintable(bench::mib(growth)), double(growth) / double(imageBytes));
    std::printf("  peak RSS growth                %8s MiB\n", qPrintable(bench::mib(peak20 - peak0)));
    std::printf("  distinct pixelated buffers     %8d      (of %d items)\n", int(buffers.size()),
                int(items.size()));
    std::printf("  20 private copies would be     %8s MiB  -> measured/private = %.3f\n",
                qPrintable(bench::mib(privateCopies)), double(growth) / double(privateCopies));
    std::fflush(stdout);

    if (!jsonPath.isEmpty()) {
        const QString json = bench::Json()
                                 .integer("width", w)
                                 .integer("height", h)
                                 .integer("pixmap_width", w * pixmapScale)
                                 .integer("pixmap_height", h * pixmapScale)
                                 .integer("block", block)
                                 .integer("strokes", strokes)
                                 .integer("image_bytes", imageBytes)
                                 .integer("rss_set_paint_pixmap_bytes", rssBase - rss0)
                                 .integer("rss_growth_1_stroke_bytes", rssOne - rssBase)
                                 .integer("rss_growth_20_strokes_bytes", growth)
                                 .integer("peak_rss_growth_bytes", peak20 - peak0)
                                 .integer("distinct_pixelated_buffers", buffers.size())
                                 .integer("private_copies_bytes", privateCopies)
                                 .num("growth_over_private_copies", double(growth) / double(privateCopies))
                                 .text();
        if (!bench::writeFile(jsonPath, json)) {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(jsonPath));
            return 1;
        }
    }
    // Let the manager's items go before the scene that holds them.
    manager->cleanAllItem();
    return 0;
}
