#include "x11keyboardfocus.h"

#include "xcbconnection.h"

#include <QCoreApplication>
#include <QEvent>
#include <QGuiApplication>
#include <QPointer>
#include <QTimer>
#include <QWidget>

#include <array>
#include <memory>

namespace {

const char kName[] = "x11KeyboardFocus";

// Lives as a child of the window: gone with it, or once a key came or the tries ran out.
class FocusKeeper : public QObject {
public:
    explicit FocusKeeper(QWidget* window) : QObject(window), window_(window) {
        setObjectName(QLatin1String(kName));
        qApp->installEventFilter(this);
        timer_.setSingleShot(true);
        connect(&timer_, &QTimer::timeout, this, &FocusKeeper::reassert);
        timer_.start(kDelaysMs[0]);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if ((event->type() == QEvent::KeyPress && watched->isWidgetType() &&
             static_cast<QWidget*>(watched)->window() == window_) ||
            (watched == window_ && event->type() == QEvent::Hide))
            deleteLater();
        return false;
    }

private:
    // Spread over about four seconds: a busy compositor takes a window on late.
    static constexpr std::array<int, 7> kDelaysMs{50, 100, 200, 400, 700, 1000, 1500};

    void reassert() {
        if (!conn_)
            conn_ = std::make_unique<XcbConnection>();
        if (!conn_->screen() || !window_ || !window_->isVisible()) {
            deleteLater();
            return;
        }
        // Setting the focus where it already is changes nothing and tells no one: it goes to
        // the root window first, then back.
        xcb_connection_t* c = conn_->get();
        const xcb_window_t target = xcb_window_t(window_->winId());
        xcb_set_input_focus(c, XCB_INPUT_FOCUS_POINTER_ROOT, conn_->screen()->root,
                            XCB_CURRENT_TIME);
        xcb_set_input_focus(c, XCB_INPUT_FOCUS_PARENT, target, XCB_CURRENT_TIME);
        xcb_flush(c);
        if (++tries_ < int(kDelaysMs.size()))
            timer_.start(kDelaysMs[tries_]);
        else
            deleteLater();
    }

    QPointer<QWidget> window_;
    std::unique_ptr<XcbConnection> conn_;
    QTimer timer_;
    int tries_ = 0;
};

} // namespace

void keepX11KeyboardFocus(QWidget* window) {
    if (QGuiApplication::platformName() != QLatin1String("xcb"))
        return;
    // One from an earlier show may still wait for its deferred deletion.
    delete window->findChild<QObject*>(QLatin1String(kName), Qt::FindDirectChildrenOnly);
    new FocusKeeper(window);
}
