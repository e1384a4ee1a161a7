#ifndef MAINWINDOW_H
#define MAINWINDOW_H

#include "drawdefine.h"

#include <QImage>
#include <QRect>
#include <QVector>
#include <QWidget>

class LinuxDiagramScene;
class PaintRamScene;
class QGraphicsView;
class QFrame;
class ScreenToolFrame;
class StyleManager;
class ShowSizeWidget;
class QKeyEvent;

// The frameless full-screen overlay on which one capture takes place.
class MainWindow : public QWidget {
    Q_OBJECT
public:
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

    void setMainWindowRect(QRect const& rect);
    void setScreenPixmap(QPixmap* pixmap);
    // The monitors' rectangles in window coordinates; none means the whole window is seen.
    void setMonitors(QVector<QRect> const& list);
    void showPaintToolWidget(QPointF const& pos);
    void hidePaintToolWidget();
    void showPaintView();
    void updateUndo();
    void setDynamicRect(QRect const& rect);
    // Arrow keys move the chosen region by a pixel, Shift+arrow moves its right or bottom
    // edge; only while selecting. True when the key was used.
    bool nudgeSelection(QKeyEvent const* event);
    QPixmap getPixmap();
    void finishScreenCapture();
    void resumeInitStatus();
    QPoint adjustStyleWidgetPosition();
    void startEditImage();
    void uneditable();

    LinuxDiagramScene* selectionScene() const { return diagramScene; }
    QGraphicsView* selectionView() const { return diagramView; }
    PaintRamScene* annotationScene() const { return paintScene; }
    QGraphicsView* annotationView() const { return paintView; }
    QFrame* annotationFrame() const { return paintFrame; }
    ScreenToolFrame* toolBar() const { return toolFrame; }
    ShowSizeWidget* sizeDisplay() const { return sizeWidget; }
    bool painting() const { return isPainting; }
    QRect toolBarArea() const { return toolBarBounds; }
    QRect styleArea() const { return styleBounds; }

signals:
    void mainWindowExit(int code);
    void showSaveAs();
    void macStartEditImage(MainWindow* window);
    void sigGrabWindow();

public slots:
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
    void slotScreenCountChanged(int count);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    // Writes `image` as PNG; on failure a log line says why. False when nothing was written.
    static bool saveImage(QImage const& image, QString const& name);
    void insertShape(PaintShape shape);
    void paintDimmed(QPainter& painter);
    QRect monitorAt(QPoint const& p) const;

    LinuxDiagramScene* diagramScene;
    QGraphicsView* diagramView;
    PaintRamScene* paintScene;
    QGraphicsView* paintView;
    QFrame* paintFrame;
    ScreenToolFrame* toolFrame;
    StyleManager* styleManager;
    QPixmap* screenPixmap;
    int toolPosX;
    int toolPosY;
    bool isPainting;
    int currentShape;
    QRect toolBarBounds;
    QRect styleBounds;
    ShowSizeWidget* sizeWidget;
    // The dimmed screenshot as painted, kept after the first paint of a session so later
    // repaints (every mouse move repaints under the selection) are one copy, not a blend.
    QImage dimmedCache;
    bool paintedOnce = false;
    QVector<QRect> monitors;
};

#endif // MAINWINDOW_H
