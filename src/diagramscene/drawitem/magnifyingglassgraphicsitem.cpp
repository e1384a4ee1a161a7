#include "magnifyingglassgraphicsitem.h"

#include "defualtbasedate.h"
#include "stylemanager.h"

#include <QLocale>
#include <QPainter>

MagnifyingGlassGraphicsitem::MagnifyingGlassGraphicsitem() : QGraphicsItem(nullptr) {}

MagnifyingGlassGraphicsitem::~MagnifyingGlassGraphicsitem() = default;

bool MagnifyingGlassGraphicsitem::isChinese() {
    return QLocale::system().name().toLower() == QLatin1String("zh_cn");
}

void MagnifyingGlassGraphicsitem::setPixmap(QPointF const& topLeft, QPoint const& viewPoint,
                                            QPointF const& pixmapPoint, QPixmap const& piece) {
    prepareGeometryChange();
    DefualtBaseDate* base = DefualtBaseDate::instance();
    // The English texts need the wider panel.
    const double extra = isChinese() ? 0 : 15;
    rect_ = QRectF(topLeft.x(), topLeft.y(), base->magnifierWidth + extra, base->magnifierHeight);
    piece_ = piece;
    viewPoint_ = viewPoint;
    pixmapPoint_ = pixmapPoint;
}

QString MagnifyingGlassGraphicsitem::infoText() const {
    const bool chinese = isChinese();
    const QString label = chinese ? QStringLiteral("坐标: ") : QStringLiteral("POS:");
    const QString hint = chinese ? QStringLiteral("按住鼠标左键选择\n截图区域 ")
                                 : QStringLiteral("Hold down the mouse\nto select the area");
    const QColor centre = piece_.toImage().pixelColor(piece_.width() / 2, piece_.height() / 2);
    return QString::asprintf("%s(%d,%d)", label.toUtf8().constData(), viewPoint_.x(),
                             viewPoint_.y()) +
           "\n" + "RGB:" + centre.name() + "\n" + hint;
}

QRectF MagnifyingGlassGraphicsitem::boundingRect() const {
    return rect_.adjusted(-20, -20, 20, 20);
}

bool MagnifyingGlassGraphicsitem::contains(QPointF const&) const {
    return false;
}

void MagnifyingGlassGraphicsitem::paint(QPainter* painter, QStyleOptionGraphicsItem const*,
                                        QWidget*) {
    if (piece_.isNull())
        return;
    DefualtBaseDate* base = DefualtBaseDate::instance();
    const double X = rect_.x(), Y = rect_.y(), W = rect_.width(), H = rect_.height();
    const int x = int(X), y = int(Y), w = int(W);
    const double t = base->magnifierTextHeight;
    const double s = base->scale;

    painter->drawPixmap(QRectF(x, y, w, int(int(H) - t)), piece_, QRectF(piece_.rect()));

    painter->setPen(StyleManager::instance()->selectionPen);
    painter->drawLine(x + w / 2, y, x + w / 2, int(H + y - t));
    const int yc = int(Y + ((H - t) - 2) * 0.5);
    painter->drawLine(int(X), yc, int(X + W), yc);

    QPen boxPen(Qt::gray, 0);
    boxPen.setCapStyle(Qt::RoundCap);
    painter->setPen(boxPen);
    painter->setBrush(QBrush(QColor(0, 0, 0, 200), Qt::SolidPattern));
    const int b = int((y + int(H)) - t);
    painter->drawRect(QRect(x, b, w, int(t)));

    QFont font;
    font.setPixelSize(int(base->magnifierFontSize));
    painter->setFont(font);
    painter->setPen(Qt::white);
    const int m = isChinese() ? 10 : 5;
    painter->drawText(QRect(x + m, b + int(s * 10), w, int(t)), Qt::AlignLeft, infoText());

    QPen framePen(QColor("#606060"), 1);
    framePen.setCapStyle(Qt::RoundCap);
    painter->setPen(framePen);
    painter->setBrush(Qt::NoBrush);
    painter->drawRect(rect_);
}
