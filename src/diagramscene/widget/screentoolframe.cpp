#include "screentoolframe.h"

#include "defualtbasedate.h"
#include "stylemanager.h"

#include <QHBoxLayout>

CustomButton::CustomButton(QWidget* parent) : QPushButton(parent) {
    setFixedSize(DefualtBaseDate::instance()->toolButtonSize);
}

void CustomButton::mousePressEvent(QMouseEvent*) {
    // Acts on press and never shows a pressed state of its own.
    emit clicked(false);
}

ScreenToolFrame::ScreenToolFrame(QWidget* parent) : QFrame(parent), currentButton_(nullptr) {
    setObjectName("ScreenToolFrame");
    layout_ = new QHBoxLayout();
    layout_->setContentsMargins(16, 12, 16, 12);
    setLayout(layout_);

    auto make = [this](const char* name) {
        auto* b = new CustomButton(this);
        b->setObjectName(name);
        return b;
    };
    confirmButton_ = make("tool_confirm");
    cancelButton_ = make("tool_cancel");
    saveButton_ = make("tool_save");
    backButton_ = make("tool_back");
    textButton_ = make("tool_text");
    penButton_ = make("tool_paintpen");
    arrowButton_ = make("tool_arrow");
    circleButton_ = make("tool_circle");
    squareButton_ = make("tool_square");
    mosaicButton_ = make("tool_mosaic");
    setAttribute(Qt::WA_MouseTracking);
    mosaicButton_->setFocusPolicy(Qt::StrongFocus);

    for (CustomButton* b : {squareButton_, circleButton_, arrowButton_, penButton_, mosaicButton_,
                            textButton_, backButton_, saveButton_, cancelButton_, confirmButton_})
        layout_->addWidget(b);
    layout_->setSpacing(16);

    connect(confirmButton_, &QPushButton::clicked, this, &ScreenToolFrame::slotFinishScreenshots);
    connect(cancelButton_, &QPushButton::clicked, this, &ScreenToolFrame::slotExitScreenshots);
    connect(saveButton_, &QPushButton::clicked, this, &ScreenToolFrame::slotSaveAs);
    connect(backButton_, &QPushButton::clicked, this, &ScreenToolFrame::slotUndo);
    connect(textButton_, &QPushButton::clicked, this, &ScreenToolFrame::slotInsertText);
    connect(penButton_, &QPushButton::clicked, this, &ScreenToolFrame::slotInsertPaintePen);
    connect(arrowButton_, &QPushButton::clicked, this, &ScreenToolFrame::slotInsertArrow);
    connect(circleButton_, &QPushButton::clicked, this, &ScreenToolFrame::slotInsertCircle);
    connect(squareButton_, &QPushButton::clicked, this, &ScreenToolFrame::slotInsertRectangle);
    connect(mosaicButton_, &QPushButton::clicked, this, &ScreenToolFrame::slotInsertMosaic);

    setFixedSize(DefualtBaseDate::instance()->toolBarSize);
    // Checked undo means there is nothing to undo.
    setButtonChecked(backButton_, true);
}

CustomButton* ScreenToolFrame::button(QString const& objectName) const {
    return findChild<CustomButton*>(objectName, Qt::FindDirectChildrenOnly);
}

void ScreenToolFrame::setButtonChecked(QPushButton* button, bool checked) {
    // The style sheet keys its pictures on the two together.
    if (checked) {
        button->setCheckable(true);
        button->setChecked(true);
    } else {
        button->setChecked(false);
        button->setCheckable(false);
    }
}

void ScreenToolFrame::checkSender() {
    auto* b = qobject_cast<CustomButton*>(sender());
    if (b)
        setButtonChecked(b, true);
    if (currentButton_ && currentButton_ != b)
        setButtonChecked(currentButton_, false);
    currentButton_ = b;
}

void ScreenToolFrame::slotFinishScreenshots() {
    checkSender();
    emit finishScreenshots();
}

void ScreenToolFrame::slotExitScreenshots() {
    checkSender();
    emit exitScreenshots();
}

void ScreenToolFrame::slotSaveAs() {
    checkSender();
    emit saveAs();
}

void ScreenToolFrame::slotInsertLabel() {
    checkSender();
    emit insertLabel();
}

void ScreenToolFrame::slotInsertText() {
    checkSender();
    emit insertText();
}

void ScreenToolFrame::slotInsertPaintePen() {
    checkSender();
    emit insertPaintePen();
}

void ScreenToolFrame::slotInsertArrow() {
    checkSender();
    emit insertArrow();
}

void ScreenToolFrame::slotInsertCircle() {
    checkSender();
    emit insertCircle();
}

void ScreenToolFrame::slotInsertRectangle() {
    checkSender();
    emit insertRectangle();
}

void ScreenToolFrame::slotInsertMosaic() {
    checkSender();
    emit insertMosaic();
}

void ScreenToolFrame::slotShapeChange(PaintShape shape) {
    CustomButton* target = nullptr;
    switch (shape) {
    case PaintShapesCircle:
        target = circleButton_;
        break;
    case PaintShapesRectangle:
        target = squareButton_;
        break;
    case PaintShapesMosaic:
        target = mosaicButton_;
        break;
    case PaintShapesPen:
        target = penButton_;
        break;
    case PaintShapesText:
        target = textButton_;
        break;
    case PaintShapesArrow:
        target = arrowButton_;
        break;
    default:
        return;
    }
    if (currentButton_)
        setButtonChecked(currentButton_, false);
    setButtonChecked(target, true);
    currentButton_ = target;
}

void ScreenToolFrame::slotUndo() {
    emit undo();
    if (StyleManager::instance()->getAllItem().isEmpty())
        setButtonChecked(backButton_, true);
}

void ScreenToolFrame::updateUndo() {
    if (!StyleManager::instance()->getAllItem().isEmpty())
        setButtonChecked(backButton_, false);
}

void ScreenToolFrame::resumeInitStatus() {
    if (currentButton_)
        setButtonChecked(currentButton_, false);
    setButtonChecked(backButton_, true);
    currentButton_ = nullptr;
}

void ScreenToolFrame::mousePressEvent(QMouseEvent*) {}

void ScreenToolFrame::mouseMoveEvent(QMouseEvent* event) {
    setCursor(Qt::ArrowCursor);
    QFrame::mouseMoveEvent(event);
}
