#include "eventfilter.h"

#include "mainwindow.h"
#include "stylemanager.h"

#include <QKeyEvent>
#include <QMouseEvent>

EventFilter::EventFilter(QList<MainWindow*>& windows, QObject* parent)
    : QObject(parent), windows_(windows) {}

bool EventFilter::eventFilter(QObject* watched, QEvent* event) {
    // Arrow keys reach the focused child first (a view would scroll with them): take them
    // there, for any widget of the overlay.
    if (event->type() == QEvent::KeyPress && watched->isWidgetType()) {
        QWidget* top = static_cast<QWidget*>(watched)->window();
        for (MainWindow* w : windows_) {
            if (w == top && w->nudgeSelection(static_cast<QKeyEvent*>(event)))
                return true;
        }
    }
    MainWindow* window = nullptr;
    for (MainWindow* w : windows_) {
        if (static_cast<QObject*>(w) == watched)
            window = w;
    }
    if (!window)
        return false;
    switch (event->type()) {
    case QEvent::MouseButtonPress:
        if (static_cast<QMouseEvent*>(event)->button() == Qt::RightButton)
            window->slotExitScreenshots();
        return true;
    case QEvent::KeyPress: {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Escape) {
            window->slotExitScreenshots();
            return true;
        }
        if (key == Qt::Key_Return || key == Qt::Key_Enter) {
            StyleManager* manager = StyleManager::instance();
            // Enter belongs to a text being edited, and means nothing before a region exists.
            if (manager->textFlag || !manager->selectDoneFlag)
                return true;
            window->slotFinishScreenshots();
            return true;
        }
        return false;
    }
    default:
        return false;
    }
}
