#ifndef EVENTFILTER_H
#define EVENTFILTER_H

#include <QList>
#include <QObject>

class MainWindow;

// Application-wide filter: Esc and the right button cancel, Enter/Return confirms.
class EventFilter : public QObject {
    Q_OBJECT
public:
    EventFilter(QList<MainWindow*>& windows, QObject* parent = nullptr);
    bool eventFilter(QObject* watched, QEvent* event) override;

signals:
    void rightMouseButtonRelease();
    void escapeRelease();
    void enterRelease();

private:
    QList<MainWindow*> windows_;
};

#endif // EVENTFILTER_H
