#ifndef LINUXSTARTSCREEN_H
#define LINUXSTARTSCREEN_H

#include <QObject>

class QApplication;
class MainWindow;
class EventFilter;

// Owns the overlay window and runs one capture session at a time.
class LinuxStartScreen : public QObject {
    Q_OBJECT
public:
    explicit LinuxStartScreen(QObject* parent = nullptr);
    ~LinuxStartScreen() override;

    // Grabs the desktop, shows the overlay and runs an event loop until it closes.
    int startWinScreen(QApplication* app);
    // The same without waiting, for a caller whose event loop already runs: false when the
    // session ended at once (no screenshot), else sessionEnded() tells when it is over.
    bool startSession(QApplication* app);
    int getExitCode();
    MainWindow* mainWindow() const { return mainWindow_; }

public slots:
    void slotCloseWindow(int code);

signals:
    void sessionEnded(int code);

private:
    void warmUp();

    MainWindow* mainWindow_;
    int exitCode_;
    EventFilter* eventFilter_;
};

#endif // LINUXSTARTSCREEN_H
