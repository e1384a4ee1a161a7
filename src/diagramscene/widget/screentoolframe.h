#ifndef SCREENTOOLFRAME_H
#define SCREENTOOLFRAME_H

#include "drawdefine.h"

#include <QColor>
#include <QFrame>
#include <QPushButton>

class QHBoxLayout;

// A button that acts on press and carries an optional colour.
class CustomButton : public QPushButton {
    Q_OBJECT
public:
    explicit CustomButton(QWidget* parent = nullptr);
    void setColor(QColor const& color) { color_ = color; }
    QColor getColor() const { return color_; }

protected:
    void mousePressEvent(QMouseEvent* event) override;

private:
    QColor color_;
};

// The row of tool and action buttons shown beside the selection.
class ScreenToolFrame : public QFrame {
    Q_OBJECT
public:
    explicit ScreenToolFrame(QWidget* parent = nullptr);

    void resumeInitStatus();
    void updateUndo();
    CustomButton* currentButton() const { return currentButton_; }
    CustomButton* button(QString const& objectName) const;

signals:
    void finishScreenshots();
    void exitScreenshots();
    void saveAs();
    void undo();
    void insertLabel();
    void insertText();
    void insertPaintePen();
    void insertArrow();
    void insertCircle();
    void insertRectangle();
    void insertMosaic();

public slots:
    void slotShapeChange(PaintShape shape);
    void slotFinishScreenshots();
    void slotExitScreenshots();
    void slotSaveAs();
    void slotUndo();
    void slotInsertLabel();
    void slotInsertText();
    void slotInsertPaintePen();
    void slotInsertArrow();
    void slotInsertCircle();
    void slotInsertRectangle();
    void slotInsertMosaic();

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;

private:
    // Checks the sending button, unchecks the previous one and makes it current.
    void checkSender();
    static void setButtonChecked(QPushButton* button, bool checked);

    CustomButton* currentButton_;
    QHBoxLayout* layout_;
    CustomButton* confirmButton_;
    CustomButton* cancelButton_;
    CustomButton* saveButton_;
    CustomButton* backButton_;
    CustomButton* textButton_;
    CustomButton* penButton_;
    CustomButton* arrowButton_;
    CustomButton* circleButton_;
    CustomButton* squareButton_;
    CustomButton* mosaicButton_;
};

#endif // SCREENTOOLFRAME_H
