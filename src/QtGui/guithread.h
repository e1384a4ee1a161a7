#ifndef GUITHREAD_H
#define GUITHREAD_H

#include <functional>
#include <string>

// Qt lives on a thread of its own, started by the first `new Main()` and kept for the life of
// the host: the QApplication is made there and its event loop runs there, idle in poll() when
// nothing happens, so the clipboard is served between captures while the host's own loop (and,
// in Electron, its GLib main context) is never entered by Qt.
namespace GuiThread {

// Starts the thread once and makes the QApplication on it, if not made yet. Returns an empty
// string once Qt runs; otherwise what is missing (no display, no platform): nothing of Qt was
// made, and a later call tries again.
std::string start(int& argc, char** argv);

// Runs fn on the Qt thread and returns when it has run. Not for the Qt thread itself.
void call(const std::function<void()>& fn);

// Queues fn on the Qt thread.
void post(std::function<void()> fn);

// Blocks until Qt's event loop has ended (stop()).
void waitForQuit();

// Runs `before` on the Qt thread, ends its event loop and joins it. Later calls do nothing.
void stop(const std::function<void()>& before);

} // namespace GuiThread

#endif // GUITHREAD_H
