#ifndef FONTCLICKFRAME_H
#define FONTCLICKFRAME_H

#include <QFrame>
#include <QString>

class QHBoxLayout;
class QLabel;

// Label that remembers the chosen text size.
class FontClickFrame : public QFrame {
    Q_OBJECT
public:
    explicit FontClickFrame(QWidget* parent = nullptr);
    void setFont(QString const& size);
    int getFont() const;
    QString text() const { return sizeText_; }

signals:
    void sigShowFontWidget();

private:
    QString sizeText_;
    QString unused_;
    QHBoxLayout* layout_;
    QLabel* label_;
};

#endif // FONTCLICKFRAME_H
