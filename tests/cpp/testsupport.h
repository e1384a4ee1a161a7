#ifndef TESTSUPPORT_H
#define TESTSUPPORT_H

// Route QTest mouse input through the window system layer, so moves carry the held buttons
// and double clicks are synthesised the way real input produces them.
#define QTEST_QPA_MOUSE_HANDLING
#include <QtTest>
#include <QtWidgets>

#include "defualtbasedate.h"
#include "drawdefine.h"
#include "stylemanager.h"

namespace ts {

inline double scale() {
    return DefualtBaseDate::instance()->scale;
}

// Drops the shared manager (and everything it owns) so each test starts from a fresh one.
inline void resetManager() {
    delete StyleManager::manager;
    StyleManager::manager = nullptr;
}

// Every pixel distinct for images up to 4096 x 4096: red = x low byte, green = y low byte.
inline QImage patternImage(int w, int h) {
    QImage img(w, h, QImage::Format_RGB32);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            img.setPixel(x, y,
                         qRgb(x & 0xff, y & 0xff, (((x >> 8) & 0xf) << 4) | ((y >> 8) & 0xf)));
    return img;
}

// Raw random words, alpha byte included (RGB32 thus gets a random padding byte too).
inline QImage randomImage(int w, int h, QImage::Format format, quint32 seed) {
    QImage img(w, h, format);
    QRandomGenerator gen(seed);
    for (int y = 0; y < h; ++y)
        gen.fillRange(reinterpret_cast<quint32*>(img.scanLine(y)), w);
    return img;
}

// A frameless view with scene point (x, y) at viewport pixel (x - left, y - top).
inline void setupView(QGraphicsView& view, QGraphicsScene* scene, QSize size) {
    view.setScene(scene);
    view.setFrameShape(QFrame::NoFrame);
    view.setAlignment(Qt::AlignLeft | Qt::AlignTop);
    view.setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view.setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view.setFixedSize(size);
    view.move(0, 0);
    view.show();
    QVERIFY(QTest::qWaitForWindowExposed(&view));
}

// A drag in widget pixels, the button held through the moves. (QTest treats QPoint(0,0) as
// "centre", so tests keep away from the widget's origin.)
inline void dragPx(QWidget* w, QPoint from, QPoint to, int steps = 4) {
    QTest::mousePress(w, Qt::LeftButton, {}, from);
    for (int i = 1; i <= steps; ++i)
        QTest::mouseMove(w, from + (to - from) * i / steps);
    QTest::mouseRelease(w, Qt::LeftButton, {}, to);
}

// The same between scene positions of a view.
inline void drag(QGraphicsView* v, QPointF from, QPointF to, int steps = 4) {
    dragPx(v->viewport(), v->mapFromScene(from), v->mapFromScene(to), steps);
}

} // namespace ts

#endif // TESTSUPPORT_H
