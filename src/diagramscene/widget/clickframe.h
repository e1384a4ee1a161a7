#ifndef CLICKFRAME_H
#define CLICKFRAME_H

#include <QColor>
#include <QFrame>

class QHBoxLayout;
class QLabel;

// Colour swatch that remembers the chosen colour.
class ClickFrame : public QFrame {
    Q_OBJECT
public:
    explicit ClickFrame(QWidget* parent = nullptr);
    void setColor(QColor const& color);
    QColor getColor() const { return color_; }

signals:
    void sigShowColorWidget();

private:
    QColor color_;
    QHBoxLayout* layout_;
    QLabel* colorLabel_;
    QLabel* arrowLabel_;
};

#endif // CLICKFRAME_H
