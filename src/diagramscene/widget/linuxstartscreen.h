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

    // Grabs the desktop, shows the overlay and runs the event loop until it closes.
    int startWinScreen(QApplication* app);
    int getExitCode();
    MainWindow* mainWindow() const { return mainWindow_; }

public slots:
    void slotCloseWindow(int code);

private:
    void warmUp();

    MainWindow* mainWindow_;
    int exitCode_;
    EventFilter* eventFilter_;
};

#endif // LINUXSTARTSCREEN_H
