#include "mainwindow.h"

#include "defualtbasedate.h"
#include "linuxdiagramscene.h"
#include "paintramscene.h"
#include "screentoolframe.h"
#include "showsizewidget.h"
#include "stylemanager.h"

#include <QApplication>
#include <QBackingStore>
#include <QBuffer>
#include <QClipboard>
#include <QDebug>
#include <QDesktopWidget>
#include <QFile>
#include <QFileDialog>
#include <QGraphicsView>
#include <QImageWriter>
#include <QKeyEvent>
#include <QPainter>
#include <QSaveFile>
#include <QStandardPaths>

MainWindow::MainWindow(QWidget* parent)
    : QWidget(parent), diagramScene(nullptr), diagramView(nullptr), paintScene(nullptr),
      paintView(nullptr), paintFrame(nullptr), toolFrame(nullptr),
      styleManager(StyleManager::instance()), screenPixmap(nullptr), toolPosX(0), toolPosY(0),
      isPainting(false), currentShape(0), sizeWidget(nullptr) {
    diagramScene = new LinuxDiagramScene(this);
    diagramScene->setCurrentWidget(this);
    diagramScene->setSceneRect(0, 0, 0, 0);

    diagramView = new QGraphicsView(diagramScene, nullptr);
    diagramView->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    diagramView->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    diagramView->setGeometry(QRect());
    diagramView->setAttribute(Qt::WA_MouseTracking);
    // The magnifier follows the cursor before any button goes down.
    diagramView->viewport()->setMouseTracking(true);
    // Pointer positions finer than a view pixel, at fractional scales.
    diagramView->viewport()->installEventFilter(diagramScene);

    paintScene = new PaintRamScene(this);
    paintView = new QGraphicsView(this);
    paintView->setScene(paintScene);
    paintView->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    paintView->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    paintScene->setSceneRect(0, 0, 0, 0);
    paintScene->setCurrentWidget(this);
    paintView->setGeometry(QRect());

    paintFrame = new QFrame(this);
    paintFrame->setVisible(false);
    diagramView->setParent(this);
    paintView->setParent(paintFrame);

    setWindowTitle(tr("Diagramscene"));
    paintView->setStyleSheet("background-color:transparent; border: none");
    diagramView->setStyleSheet("background-color:transparent");
    paintFrame->setStyleSheet("background-color:transparent; border: 1px solid #3A91F3");

    sizeWidget = new ShowSizeWidget(this);
    sizeWidget->setVisible(false);
    toolFrame = new ScreenToolFrame(this);
    toolFrame->setVisible(false);

    connect(styleManager, &StyleManager::sigShapeChange, toolFrame,
            &ScreenToolFrame::slotShapeChange);
    connect(toolFrame, &ScreenToolFrame::finishScreenshots, this,
            &MainWindow::slotFinishScreenshots);
    connect(toolFrame, &ScreenToolFrame::exitScreenshots, this, &MainWindow::slotExitScreenshots);
    connect(toolFrame, &ScreenToolFrame::saveAs, this, &MainWindow::slotSaveAs);
    connect(toolFrame, &ScreenToolFrame::undo, this, &MainWindow::slotUndo);
    connect(toolFrame, &ScreenToolFrame::insertLabel, this, &MainWindow::slotInsertLabel);
    connect(toolFrame, &ScreenToolFrame::insertText, this, &MainWindow::slotInsertText);
    connect(toolFrame, &ScreenToolFrame::insertPaintePen, this, &MainWindow::slotInsertPaintePen);
    connect(toolFrame, &ScreenToolFrame::insertArrow, this, &MainWindow::slotInsertArrow);
    connect(toolFrame, &ScreenToolFrame::insertCircle, this, &MainWindow::slotInsertCircle);
    connect(toolFrame, &ScreenToolFrame::insertRectangle, this, &MainWindow::slotInsertRectangle);
    connect(toolFrame, &ScreenToolFrame::insertMosaic, this, &MainWindow::slotInsertMosaic);
    connect(paintScene, &PaintRamScene::sigDoubleClick, this, &MainWindow::slotFinishScreenshots);

    toolBarBounds = QRect();
    styleBounds = QRect();

    QFile sheet(":/screenstyle.qss");
    if (sheet.open(QIODevice::ReadOnly))
        setStyleSheet(QString::fromLatin1(sheet.readAll().constData()));

    // By signature: the typed signal is marked deprecated in favour of per-screen notices.
    connect(QApplication::desktop(), SIGNAL(screenCountChanged(int)), this,
            SLOT(slotScreenCountChanged(int)));
}

MainWindow::~MainWindow() {
    qDebug() << "MainWindow";
    delete toolFrame;
    delete diagramScene;
    delete diagramView;
    // The popups may be our children; the manager owns and deletes them.
    if (StyleManager::manager == styleManager) {
        delete StyleManager::manager;
        StyleManager::manager = nullptr;
    }
    styleManager = nullptr;
    delete paintScene;
    delete paintView;
    delete screenPixmap;
    qDebug() << "~MainWindow";
}

void MainWindow::setMainWindowRect(QRect const& rect) {
    // Whatever reached the window after the last session ended (a double click's second
    // press comes after its confirm) does not reach this one.
    resumeInitStatus();
    DefualtBaseDate* base = DefualtBaseDate::instance();
    const int t = base->toolBarSize.height();
    const int p = base->lineWidgetSize.height();
    const int w = rect.width(), h = rect.height();
    styleBounds = QRect(rect.left(), rect.top() + (t + p + 20), w, h - 2 * (t + p + 20));
    toolBarBounds = QRect(rect.left(), rect.top() + (t + 10), w, h - 2 * (t + 10));
    toolFrame->hide();
    diagramScene->setSceneRect(-(w / 2) - 1, -(h / 2) - 1, w + 2, h + 2);
    diagramScene->setScreenRect(rect);
    diagramView->setGeometry(-1, -1, w + 2, h + 2);
    diagramView->centerOn(QPointF((-2 - w) / 2, (-2 - h) / 2));
    diagramView->show();
    setGeometry(rect);
    update();
}

void MainWindow::setScreenPixmap(QPixmap* pixmap) {
    if (screenPixmap && screenPixmap != pixmap)
        delete screenPixmap;
    diagramScene->setScreenPixmap(pixmap);
    screenPixmap = pixmap;
    dimmedCache = QImage();
    paintedOnce = false;
    update();
}

void MainWindow::paintDimmed(QPainter& painter) {
    if (screenPixmap) {
        // Pixel for pixel where the picture's ratio is the window's, at any scale.
        if (qFuzzyCompare(screenPixmap->devicePixelRatioF(), devicePixelRatioF()))
            painter.drawPixmap(QPointF(0, 0), *screenPixmap);
        else
            painter.drawPixmap(QRectF(0, 0, width(), height()), *screenPixmap,
                               QRectF(screenPixmap->rect()));
    }
    painter.setBrush(QBrush(QColor(53, 53, 53, 133), Qt::SolidPattern));
    painter.drawRect(0, 0, width(), height());
    // What no monitor shows stays plain black, so nothing there passes for the desktop.
    if (!monitors.isEmpty()) {
        QRegion unseen(rect());
        for (QRect const& m : monitors)
            unseen -= m;
        for (QRect const& r : unseen)
            painter.fillRect(r, Qt::black);
    }
}

void MainWindow::setMonitors(QVector<QRect> const& list) {
    monitors = list;
}

QRect MainWindow::monitorAt(QPoint const& p) const {
    for (QRect const& m : monitors)
        if (m.contains(p))
            return m;
    return rect();
}

void MainWindow::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    // The kept copy is dropped whenever the screenshot changes.
    if (!dimmedCache.isNull() && dimmedCache.size() == size()) {
        painter.drawImage(0, 0, dimmedCache);
    } else {
        paintDimmed(painter);
        // The first paint of a session stays direct (it is on the way to the first frame);
        // the next one records the same drawing in the backing store's own format, so the
        // copy gives the very same pixels.
        QPaintDevice* device = backingStore() ? backingStore()->paintDevice() : nullptr;
        if (paintedOnce && screenPixmap && device && device->devType() == QInternal::Image &&
            devicePixelRatioF() == 1) {
            dimmedCache = QImage(size(), static_cast<QImage*>(device)->format());
            QPainter cache(&dimmedCache);
            paintDimmed(cache);
        }
        paintedOnce = true;
    }
    painter.end();
    QWidget::paintEvent(event);
}

void MainWindow::showPaintToolWidget(QPointF const& pos) {
    toolFrame->show();
    const int x = qRound(pos.x()), y = qRound(pos.y());
    const int tw = toolFrame->width(), t = toolFrame->height();
    // The toolbar and the popups stay on the monitor of the region's bottom-right corner.
    const QRect m = monitorAt(QPoint(x - 1, y - 1));
    const int p = DefualtBaseDate::instance()->lineWidgetSize.height();
    toolBarBounds = m.adjusted(0, t + 10, 0, -(t + 10));
    styleBounds = m.adjusted(0, t + p + 20, 0, -(t + p + 20));
    int left = x - tw;
    if (left < m.left())
        left = x > m.right() + 1 ? m.right() + 1 - tw : m.left();
    else if (left > m.right() + 1 - tw)
        left = m.right() + 1 - tw;
    if (y <= toolBarBounds.bottom()) {
        toolFrame->move(left, y + 10);
    } else {
        const double h = diagramScene->getPixmapRect().height();
        if (y - h > toolBarBounds.top())
            toolFrame->move(left, int(y - h - t - 10));
        else
            toolFrame->move(left, y - t - 10);
    }
    toolPosX = left;
    toolPosY = y;
}

void MainWindow::hidePaintToolWidget() {
    toolFrame->hide();
}

QPoint MainWindow::adjustStyleWidgetPosition() {
    const int p = DefualtBaseDate::instance()->lineWidgetSize.height();
    const int t = toolFrame->height();
    const int left = toolPosX, y = toolPosY;
    if (y <= styleBounds.bottom()) {
        toolFrame->move(left, y + 10);
        return QPoint(left, y + 10 + t + 10);
    }
    const double h = diagramScene->getPixmapRect().height();
    if (y - h > styleBounds.top()) {
        toolFrame->move(left, int(y - h - t - 10));
        return QPoint(left, int(y - h - t - 20 - p));
    }
    toolFrame->move(left, y - t - 10);
    return QPoint(left, y - t - 20 - p);
}

void MainWindow::showPaintView() {
    if (isPainting)
        return;
    for (QWidget* popup : styleManager->getAllWidget())
        popup->setParent(this);
    const QPixmap pix = diagramScene->getPixmap();
    const QRectF r = diagramScene->getPixmapRect();
    const QPoint p = diagramView->mapFromScene(r.topLeft());
    const QSize size = r.toRect().size();
    const int w = size.width(), h = size.height();
    paintFrame->setGeometry(p.x() - 1, p.y() - 1, w + 2, h + 2);
    paintView->setGeometry(1, 1, w, h);
    paintScene->setSceneRect(-r.width() / 2, -r.height() / 2, r.width(), r.height());
    paintScene->setPaintPixmap(pix);
    sizeWidget->move(p.x() - 1, int(p.y() - DefualtBaseDate::instance()->sizeBoxHeight - 10));
    // The size of the image the user gets, in picture pixels.
    sizeWidget->setSelectSize(pix.isNull() ? QSize(w, h) : pix.size());
    isPainting = true;
    paintView->show();
    paintFrame->show();
    sizeWidget->show();
    diagramView->hide();
}

void MainWindow::insertShape(PaintShape shape) {
    showPaintView();
    paintScene->setPaintShape(shape);
    currentShape = shape;
    const QPoint pos = adjustStyleWidgetPosition();
    styleManager->show(pos, PaintShape(currentShape));
}

void MainWindow::slotInsertText() {
    insertShape(PaintShapesText);
}
void MainWindow::slotInsertPaintePen() {
    insertShape(PaintShapesPen);
}
void MainWindow::slotInsertArrow() {
    insertShape(PaintShapesArrow);
}
void MainWindow::slotInsertCircle() {
    insertShape(PaintShapesCircle);
}
void MainWindow::slotInsertRectangle() {
    insertShape(PaintShapesRectangle);
}
void MainWindow::slotInsertMosaic() {
    insertShape(PaintShapesMosaic);
}
void MainWindow::slotInsertLabel() {}

void MainWindow::slotUndo() {
    paintScene->paintUndo();
}

void MainWindow::updateUndo() {
    toolFrame->updateUndo();
}

void MainWindow::setDynamicRect(QRect const& rect) {
    diagramScene->setDynamicRect(rect);
}

bool MainWindow::nudgeSelection(QKeyEvent const* event) {
    const Qt::KeyboardModifiers mods = event->modifiers() & ~Qt::KeypadModifier;
    if (isPainting || (mods != Qt::NoModifier && mods != Qt::ShiftModifier))
        return false;
    int dx = 0, dy = 0;
    switch (event->key()) {
    case Qt::Key_Left:
        dx = -1;
        break;
    case Qt::Key_Right:
        dx = 1;
        break;
    case Qt::Key_Up:
        dy = -1;
        break;
    case Qt::Key_Down:
        dy = 1;
        break;
    default:
        return false;
    }
    return diagramScene->nudgeSelection(dx, dy, mods == Qt::ShiftModifier);
}

QPixmap MainWindow::getPixmap() {
    if (!diagramScene || !diagramScene->isCanGetPixmap())
        return QPixmap();
    if (isPainting) {
        paintScene->finishPaint();
        const QRectF r = diagramScene->getPixmapRect();
        if (r.width() == int(r.width()) && r.height() == int(r.height()))
            return paintView->grab();
        // A region whose edges fall between logical pixels (at a fractional scale) fits no
        // widget: the scene is drawn straight onto the picture's own pixels.
        const QPixmap crop = diagramScene->getPixmap();
        QPixmap out(crop.size());
        out.setDevicePixelRatio(crop.devicePixelRatioF());
        out.fill(Qt::transparent);
        QPainter painter(&out);
        painter.setRenderHints(paintView->renderHints());
        paintScene->render(&painter,
                           QRectF(QPointF(), QSizeF(out.size()) / out.devicePixelRatioF()),
                           paintScene->sceneRect(), Qt::IgnoreAspectRatio);
        return out;
    }
    return diagramScene->getPixmap();
}

void MainWindow::finishScreenCapture() {
    QPixmap pix = getPixmap();
    if (pix.isNull()) {
        emit mainWindowExit(0);
        resumeInitStatus();
        return;
    }
    QClipboard* clipboard = QApplication::clipboard();
    clipboard->clear(QClipboard::Clipboard);
    clipboard->setImage(pix.toImage(), QClipboard::Clipboard);
    emit mainWindowExit(1);
    resumeInitStatus();
}

void MainWindow::slotFinishScreenshots() {
    finishScreenCapture();
}

void MainWindow::slotExitScreenshots() {
    QMessageLogger("../src/diagramscene/widget/mainwindow", __LINE__, Q_FUNC_INFO).debug()
        << "slotExitScreenshots";
    resumeInitStatus();
    emit mainWindowExit(0);
}

void MainWindow::slotSaveAs() {
    // The file gets this very image: while the dialog is open the clipboard may change hands.
    const QImage image = getPixmap().toImage();
    QApplication::clipboard()->setImage(image, QClipboard::Clipboard);
    emit showSaveAs();
    resumeInitStatus();
    const QString name = QFileDialog::getSaveFileName(
        nullptr, tr("存储"),
        QStandardPaths::writableLocation(QStandardPaths::DownloadLocation) + "/temp",
        "Image Files(*.png)");
    if (!name.isNull())
        saveImage(image, name);
    emit mainWindowExit(2);
}

bool MainWindow::saveImage(QImage const& image, QString const& name) {
    QByteArray png;
    QBuffer buffer(&png);
    QImageWriter writer(&buffer, "PNG");
    QString why;
    if (!writer.write(image)) {
        why = writer.errorString();
    } else {
        // Written aside and renamed over the name, so a full disk leaves no half file.
        QSaveFile file(name);
        file.setDirectWriteFallback(true);
        if (!file.open(QIODevice::WriteOnly) || file.write(png) != png.size() || !file.commit())
            why = file.errorString();
    }
    if (!why.isEmpty())
        qWarning().noquote() << QStringLiteral("save as: the image was not written to \"%1\": %2 "
                                               "(it is on the clipboard)")
                                    .arg(name, why);
    return why.isEmpty();
}

void MainWindow::slotScreenCountChanged(int) {
    resumeInitStatus();
    emit mainWindowExit(0);
}

// The one reset of a session's state, whatever ended it: the scenes' gestures, the items, the
// manager's flags, the popups (and a drop-down list open in one), the views.
void MainWindow::resumeInitStatus() {
    for (int i = 0; i < 8 && QApplication::activePopupWidget(); ++i)
        QApplication::activePopupWidget()->close();
    delete screenPixmap;
    screenPixmap = nullptr;
    dimmedCache = QImage();
    paintedOnce = false;
    isPainting = false;
    currentShape = 0;
    diagramScene->resumeInitStatus();
    paintScene->resumeInitStatus();
    styleManager->resetSession();
    toolFrame->resumeInitStatus();
    toolFrame->hide();
    sizeWidget->hide();
    paintView->hide();
    paintFrame->hide();
    diagramView->show();
    update();
}

void MainWindow::startEditImage() {
    emit macStartEditImage(this);
}

void MainWindow::uneditable() {
    diagramView->hide();
}
