#ifndef BENCHUTIL_H
#define BENCHUTIL_H

// Small helpers shared by the benchmarks: statistics, resident memory, JSON output.

#include <QColor>
#include <QFile>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QRadialGradient>
#include <QString>
#include <QStringList>
#include <QTextStream>
#include <QVector>

#include <algorithm>
#include <cstdio>
#include <random>
#include <unistd.h>

namespace bench {

inline double median(QVector<double> v) {
    if (v.isEmpty())
        return 0;
    std::sort(v.begin(), v.end());
    const int n = v.size();
    return n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

inline double minimum(QVector<double> const& v) {
    return v.isEmpty() ? 0 : *std::min_element(v.begin(), v.end());
}

// Resident set size of this process in bytes (second field of /proc/self/statm).
inline qint64 residentBytes() {
    long size = 0, resident = 0;
    FILE* f = std::fopen("/proc/self/statm", "r");
    if (!f)
        return -1;
    if (std::fscanf(f, "%ld %ld", &size, &resident) != 2)
        resident = -1;
    std::fclose(f);
    return resident < 0 ? -1 : qint64(resident) * sysconf(_SC_PAGESIZE);
}

// Peak resident set size (VmHWM) in bytes.
inline qint64 peakResidentBytes() {
    QFile f("/proc/self/status");
    if (!f.open(QIODevice::ReadOnly))
        return -1;
    for (QByteArray line = f.readLine(); !line.isEmpty(); line = f.readLine()) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').value(0).toLongLong() * 1024;
    }
    return -1;
}

inline QString mib(qint64 bytes) {
    return QString::number(double(bytes) / (1024.0 * 1024.0), 'f', 1);
}

// Opaque desktop-like picture: gradients, discs and text, so grabs and mosaics see
// real variation (and a PNG of it stays small).
inline QImage desktopPicture(int w, int h, unsigned seed = 7) {
    QImage img(w, h, QImage::Format_RGB32);
    QPainter p(&img);
    QLinearGradient bg(0, 0, w, h);
    bg.setColorAt(0, QColor(20, 60, 120));
    bg.setColorAt(0.5, QColor(200, 120, 40));
    bg.setColorAt(1, QColor(30, 150, 90));
    p.fillRect(img.rect(), bg);
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> coord(0, std::max(w, h));
    std::uniform_int_distribution<int> channel(0, 255);
    p.setRenderHint(QPainter::Antialiasing);
    for (int i = 0; i < 60; ++i) {
        const int x = coord(rng) % w, y = coord(rng) % h, r = 20 + coord(rng) % (h / 4 + 1);
        QRadialGradient g(x, y, r);
        g.setColorAt(0, QColor(channel(rng), channel(rng), channel(rng), 220));
        g.setColorAt(1, QColor(channel(rng), channel(rng), channel(rng), 40));
        p.setBrush(g);
        p.setPen(Qt::NoPen);
        p.drawEllipse(QPoint(x, y), r, r);
    }
    p.setPen(Qt::white);
    QFont font = p.font();
    font.setPixelSize(std::max(12, h / 60));
    p.setFont(font);
    for (int y = font.pixelSize(); y < h; y += font.pixelSize() * 3)
        p.drawText(10, y, QStringLiteral("screencapture bench desktop %1x%2 line %3").arg(w).arg(h).arg(y));
    p.end();
    return img;
}

// Minimal JSON writer for flat records and arrays of them.
class Json {
public:
    Json& num(QString const& key, double v) {
        items_ << QString("\"%1\": %2").arg(key, QString::number(v, 'g', 10));
        return *this;
    }
    Json& integer(QString const& key, qint64 v) {
        items_ << QString("\"%1\": %2").arg(key).arg(v);
        return *this;
    }
    Json& boolean(QString const& key, bool v) {
        items_ << QString("\"%1\": %2").arg(key, v ? "true" : "false");
        return *this;
    }
    Json& str(QString const& key, QString const& v) {
        QString e = v;
        e.replace("\\", "\\\\").replace("\"", "\\\"");
        items_ << QString("\"%1\": \"%2\"").arg(key, e);
        return *this;
    }
    Json& raw(QString const& key, QString const& json) {
        items_ << QString("\"%1\": %2").arg(key, json);
        return *this;
    }
    QString text() const { return "{" + items_.join(", ") + "}"; }

    static QString array(QStringList const& objects) { return "[" + objects.join(",\n  ") + "]"; }
    static QString numbers(QVector<double> const& v) {
        QStringList s;
        for (double d : v)
            s << QString::number(d, 'g', 8);
        return "[" + s.join(", ") + "]";
    }

private:
    QStringList items_;
};

inline bool writeFile(QString const& path, QString const& text) {
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    QTextStream(&f) << text << "\n";
    return true;
}

} // namespace bench

#endif // BENCHUTIL_H
