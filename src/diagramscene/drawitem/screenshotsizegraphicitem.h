#ifndef SCREENSHOTSIZEGRAPHICITEM_H
#define SCREENSHOTSIZEGRAPHICITEM_H

#include <QGraphicsItem>
#include <QString>

// Dark rounded label with a centred text; takes no mouse input.
class ScreenShotSizeGraphicitem : public QGraphicsItem {
public:
    ScreenShotSizeGraphicitem();

    void setShowSizeString(QPointF const& topLeft, QString const& text);
    QRectF boundingRect() const override;
    bool contains(QPointF const& point) const override;
    void paint(QPainter* painter, QStyleOptionGraphicsItem const* option, QWidget* widget) override;
    QString text() const { return text_; }

private:
    QRectF rect_;
    QString text_;
};

// The dark size box shared by the size label and the selection frame.
void paintSizeBox(QPainter* painter, QRectF const& box, double roundness, QString const& text);

#endif // SCREENSHOTSIZEGRAPHICITEM_H
