// Pixelation speed: the core's fast MosaicGraphicsItem::pixelate against a plain per-pixel
// version (pixelColor / setPixel, exactly the block-average algorithm) and against the core's
// own per-pixel fallback. Output must be bit-identical; the program aborts otherwise.
//
// Usage: bench_pixelate [--json FILE] [--rounds N]

#include "benchutil.h"
#include "mosaicgraphicsitem.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QStringList>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>

namespace {

// Straightforward version: every block's b x b pixels are read with pixelColor().rgb();
// the "red" sum takes the value shifted right by 16 without masking (alpha rides along),
// the sums are divided by b*b and the value is written back with setPixel. Only whole
// blocks are visited.
QImage referencePixelate(QImage const& image, int b) {
    QImage out = image.copy();
    if (b <= 0)
        return out;
    const int cols = image.width() / b, rows = image.height() / b;
    if (rows < 1 || cols < 1)
        return out;
    for (int k = 0; k < rows; ++k) {
        const int y0 = k * b;
        for (int j = 0; j < cols; ++j) {
            const int x0 = j * b;
            quint32 red = 0, green = 0, blue = 0;
            for (int y = y0; y < y0 + b; ++y) {
                for (int x = x0; x < x0 + b; ++x) {
                    const quint32 v = image.pixelColor(x, y).rgb();
                    red += v >> 16;
                    green += (v >> 8) & 0xff;
                    blue += v & 0xff;
                }
            }
            const quint32 n = quint32(b) * quint32(b);
            const quint32 value = ((red / n) << 16) + ((green / n) << 8) + blue / n;
            for (int y = y0; y < y0 + b; ++y)
                for (int x = x0; x < x0 + b; ++x)
                    out.setPixel(x, y, value);
        }
    }
    return out;
}

QImage randomImage(int w, int h, unsigned seed, bool garbagePadding) {
    QImage img(w, h, QImage::Format_RGB32);
    std::mt19937 rng(seed);
    for (int y = 0; y < h; ++y) {
        quint32* line = reinterpret_cast<quint32*>(img.scanLine(y));
        for (int x = 0; x < w; ++x)
            line[x] = garbagePadding ? quint32(rng()) : (0xff000000u | (quint32(rng()) & 0xffffffu));
    }
    return img;
}

bool sameBits(QImage const& a, QImage const& b) {
    if (a.size() != b.size() || a.format() != b.format())
        return false;
    const int bytes = a.width() * 4;
    for (int y = 0; y < a.height(); ++y)
        if (std::memcmp(a.constScanLine(y), b.constScanLine(y), size_t(bytes)) != 0)
            return false;
    return true;
}

// For RGB32 the padding byte is not part of the pixel: compare what pixel() reads.
bool samePixels(QImage const& a, QImage const& b) {
    if (a.size() != b.size())
        return false;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x)
            if (a.pixel(x, y) != b.pixel(x, y))
                return false;
    return true;
}

[[noreturn]] void fail(QString const& what) {
    std::fprintf(stderr, "\n*** PIXELATE MISMATCH: %s ***\n", qPrintable(what));
    std::fflush(stderr);
    std::abort();
}

QVector<double> timeRuns(int warmups, int runs, std::function<QImage()> const& f, QImage* last) {
    for (int i = 0; i < warmups; ++i)
        *last = f();
    QVector<double> ms;
    QElapsedTimer t;
    for (int i = 0; i < runs; ++i) {
        t.start();
        QImage r = f();
        ms << t.nsecsElapsed() / 1e6;
        *last = r;
    }
    return ms;
}

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const QStringList args = app.arguments();
    QString jsonPath;
    int fastRuns = 25, slowRuns = 3;
    for (int i = 1; i < args.size(); ++i) {
        if (args[i] == "--json" && i + 1 < args.size())
            jsonPath = args[++i];
        else if (args[i] == "--rounds" && i + 1 < args.size())
            fastRuns = std::max(3, args[++i].toInt());
    }

    // Block sizes: 5 is the cell at 1920x1080 (scale 1.35), 8 at 2560x1600 (scale 2),
    // 10 at 3840x2160 (scale 2.7).
    struct Case {
        int w, h, block;
    };
    const Case cases[] = {{1920, 1080, 5}, {1920, 1080, 8}, {3840, 2160, 5},
                          {3840, 2160, 8}, {3840, 2160, 10}};

    std::printf("Pixelation (RGB32, random pixels; median of %d fast runs, %d per-pixel runs;\n"
                "  plain = pixelColor/setPixel version in this bench, core-pp = pixelatePerPixel,\n"
                "  copy() = a bare QImage::copy of the input, 1st call = first fast call per case)\n",
                fastRuns, slowRuns);
    std::printf("  %-10s %5s %9s %9s %9s %10s %11s %10s %8s %5s %9s\n", "image", "block", "fast ms",
                "fast min", "plain ms", "plain/fast", "core-pp ms", "copy() ms", "<=10ms?", "same", "1st call");
    QStringList records;
    for (Case const& c : cases) {
        const QImage img = randomImage(c.w, c.h, unsigned(c.w * 31 + c.block), false);
        QImage fast, plain, corePerPixel;
        // First call in a fresh state, as at the start of a real stroke (allocation included).
        QElapsedTimer cold;
        cold.start();
        fast = MosaicGraphicsItem::pixelate(img, c.block);
        const double coldMs = cold.nsecsElapsed() / 1e6;
        const QVector<double> fastMs =
            timeRuns(2, fastRuns, [&] { return MosaicGraphicsItem::pixelate(img, c.block); }, &fast);
        const QVector<double> plainMs =
            timeRuns(0, slowRuns, [&] { return referencePixelate(img, c.block); }, &plain);
        const QVector<double> corePpMs = timeRuns(
            0, slowRuns, [&] { return MosaicGraphicsItem::pixelatePerPixel(img, c.block); },
            &corePerPixel);
        // Floor for any version that starts from a full copy of the input.
        QImage copied;
        const QVector<double> copyMs = timeRuns(2, fastRuns, [&] { return img.copy(); }, &copied);
        const QString label = QString("%1x%2 block %3").arg(c.w).arg(c.h).arg(c.block);
        if (!sameBits(fast, plain))
            fail(label + ": pixelate differs from the per-pixel reference");
        if (!sameBits(corePerPixel, plain))
            fail(label + ": pixelatePerPixel differs from the per-pixel reference");
        if (sameBits(fast, img))
            fail(label + ": output equals input (nothing pixelated)");
        const double fm = bench::median(fastMs), pm = bench::median(plainMs),
                     cm = bench::median(corePpMs);
        const bool big = c.w == 3840;
        const double copyMedian = bench::median(copyMs);
        std::printf("  %-10s %5d %9.2f %9.2f %9.1f %9.0fx %11.1f %10.2f %8s %5s %9.2f\n",
                    qPrintable(QString("%1x%2").arg(c.w).arg(c.h)), c.block, fm,
                    bench::minimum(fastMs), pm, pm / fm, cm, copyMedian,
                    big ? (fm <= 10 ? "yes" : "NO") : "-", "yes", coldMs);
        std::fflush(stdout);
        records << bench::Json()
                       .integer("width", c.w)
                       .integer("height", c.h)
                       .integer("block", c.block)
                       .num("fast_median_ms", fm)
                       .num("fast_min_ms", bench::minimum(fastMs))
                       .num("plain_median_ms", pm)
                       .num("core_per_pixel_median_ms", cm)
                       .num("plain_over_fast", pm / fm)
                       .num("image_copy_median_ms", copyMedian)
                       .num("first_call_ms", coldMs)
                       .boolean("bit_identical", true)
                       .boolean("target_10ms_applies", big)
                       .boolean("target_10ms_met", fm <= 10)
                       .raw("fast_runs_ms", bench::Json::numbers(fastMs))
                       .raw("plain_runs_ms", bench::Json::numbers(plainMs))
                       .text();
    }

    // The padding byte of RGB32 must not leak into the result: random top bytes give the
    // same pixels as the per-pixel reference, which reads every pixel as opaque.
    {
        const QImage img = randomImage(1920, 1080, 99, true);
        const QImage fast = MosaicGraphicsItem::pixelate(img, 5);
        const QImage plain = referencePixelate(img, 5);
        if (!samePixels(fast, plain))
            fail("RGB32 with random padding bytes: pixelate differs from the reference");
        std::printf("  RGB32 with random padding bytes (1920x1080, block 5): same pixels as reference\n");
    }

    if (!jsonPath.isEmpty()) {
        const QString json = bench::Json()
                                 .integer("fast_runs", fastRuns)
                                 .integer("plain_runs", slowRuns)
                                 .raw("cases", bench::Json::array(records))
                                 .text();
        if (!bench::writeFile(jsonPath, json)) {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(jsonPath));
            return 1;
        }
    }
    return 0;
}
