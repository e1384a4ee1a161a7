// Reference renderer for the end-to-end annotation tests: paints shapes with plain QPainter
// calls onto a copy of a picture, knowing nothing of the module's item classes.
//   annotref IN.png OUT.png '{"origin": [ox, oy], "items": [...]}'
// origin maps scene coordinates to picture pixels; items are {"type": "rect" | "ellipse",
// "box": [x, y, w, h]} or {"type": "arrow", "from", "to"} or {"type": "pen", "points"}, each
// with "width" and "color" ("#rrggbb"), or {"type": "badge", "box", "text"} (picture pixels).
#include <QtWidgets>
#include <cmath>
#include <cstdio>

static QRectF box(QJsonValue const& v) {
    return QRectF(v[0].toDouble(), v[1].toDouble(), v[2].toDouble(), v[3].toDouble());
}

static QPointF point(QJsonValue const& v) {
    return QPointF(v[0].toDouble(), v[1].toDouble());
}

// Unfilled outline, square pen of the given width, no antialiasing.
static void outline(QPainter& p, QJsonObject const& item) {
    p.setRenderHint(QPainter::Antialiasing, false);
    QPen pen(QColor(item.value("color").toString()));
    pen.setWidth(item.value("width").toInt());
    p.setPen(pen);
    p.setBrush(Qt::NoBrush);
    if (item.value("type").toString() == "rect") {
        QPainterPath path;
        path.addRoundedRect(box(item.value("box")), 5.0, 5.0, Qt::AbsoluteSize);
        p.drawPath(path);
    } else {
        p.drawEllipse(box(item.value("box")));
    }
}

// Head of length and width L = 2w at the end point, and a wedge from the start point to a
// base of about L/3 on the head's base line.
static void arrow(QPainter& p, QJsonObject const& item) {
    const QPointF s = point(item.value("from"));
    const QPointF e = point(item.value("to"));
    const double len = 2.0 * item.value("width").toInt();
    const double angle = std::atan2(e.y() - s.y(), e.x() - s.x());
    const double sn = std::sin(angle);
    const double cs = std::cos(angle);
    const QPointF baseCentre(e.x() - len * cs, e.y() - len * sn);
    const QPointF side(len / 2 * sn, -len / 2 * cs);
    const QPointF p1 = baseCentre - side;
    const QPointF p2 = baseCentre + side;
    const double ox = std::trunc(len * sn / 3);
    const double oy = std::trunc(len * cs / 3);
    const QPointF q1(p1.x() + ox, p1.y() - oy);
    const QPointF q2(p2.x() - ox, p2.y() + oy);

    const QColor colour(item.value("color").toString());
    p.setRenderHint(QPainter::Antialiasing, true);
    p.setPen(QPen(colour));
    p.setBrush(QBrush(colour, Qt::SolidPattern));
    p.drawPolygon(QPolygonF({e, p1, p2}), Qt::OddEvenFill);
    p.drawPolygon(QPolygonF({s, q1, q2}), Qt::OddEvenFill);
}

// Free-hand line: every segment drawn on its own with round caps, antialiased.
static void pen(QPainter& p, QJsonObject const& item) {
    const QJsonArray pts = item.value("points").toArray();
    QPen line(QColor(item.value("color").toString()));
    line.setWidth(item.value("width").toInt());
    line.setCapStyle(Qt::RoundCap);
    p.setRenderHint(QPainter::Antialiasing, true);
    p.setBrush(Qt::NoBrush);
    p.setPen(line);
    for (int i = 0; i + 1 < pts.size(); ++i) {
        const QLineF seg(point(pts.at(i)), point(pts.at(i + 1)));
        p.drawLines(&seg, 1);
    }
}

// Dark rounded badge with white centred text, as a size read-out is drawn on a widget.
static void badge(QPainter& p, QJsonObject const& item) {
    const QRectF r = box(item.value("box"));
    p.save();
    p.resetTransform();
    p.translate(r.topLeft());
    p.setClipRect(QRectF(0, 0, r.width(), r.height()));
    p.setRenderHint(QPainter::Antialiasing, false);
    QColor dark;
    dark.setRgb(0, 0, 0, 200);
    QPen border(dark);
    border.setCapStyle(Qt::RoundCap);
    p.setPen(border);
    p.setBrush(QBrush(dark, Qt::SolidPattern));
    p.drawRoundedRect(QRectF(0, 0, r.width(), r.height()), 5, 5);
    p.setPen(Qt::white);
    p.setFont(QApplication::font());
    p.drawText(QRect(0, 0, int(r.width()), int(r.height())), Qt::AlignCenter,
               item.value("text").toString());
    p.restore();
}

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QImage image;
    QJsonParseError err{};
    const QJsonObject desc =
        argc == 4 ? QJsonDocument::fromJson(QByteArray(argv[3]), &err).object() : QJsonObject();
    if (argc != 4 || err.error != QJsonParseError::NoError ||
        !image.load(QString::fromLocal8Bit(argv[1]))) {
        std::fprintf(stderr,
                     "usage: annotref IN.png OUT.png JSON (a readable picture, valid JSON)\n");
        return 2;
    }
    image = image.convertToFormat(QImage::Format_RGB32);
    QPainter p(&image);
    const QPointF origin = point(desc.value("origin"));
    for (const QJsonValue& v : desc.value("items").toArray()) {
        const QJsonObject item = v.toObject();
        const QString type = item.value("type").toString();
        p.save();
        p.translate(origin);
        if (type == "rect" || type == "ellipse")
            outline(p, item);
        else if (type == "arrow")
            arrow(p, item);
        else if (type == "pen")
            pen(p, item);
        else if (type == "badge")
            badge(p, item);
        else {
            std::fprintf(stderr, "unknown item type %s in %s\n", qPrintable(type), argv[3]);
            return 2;
        }
        p.restore();
    }
    p.end();
    if (!image.save(QString::fromLocal8Bit(argv[2]), "PNG")) {
        std::fprintf(stderr, "cannot write %s\n", argv[2]);
        return 1;
    }
    return 0;
}
