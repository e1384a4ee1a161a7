#include "guithread.h"

#include <QApplication>
#include <QDir>
#include <QLibraryInfo>

#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>

#include "session.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <xcb/xcb.h>
// Last: Xlib's macros (Status, None, Bool) clash with Qt's headers.
#include <X11/Xlib.h>

namespace {

enum class Phase { NoApplication, Running, Stopped };

std::mutex g_mutex;
std::condition_variable g_changed;
Phase g_phase = Phase::NoApplication;
bool g_startRequested = false;
std::string g_failure;
int* g_argc = nullptr;
char** g_argv = nullptr;
// Never destroyed: a host that ends without the cleanup (a worker's isolate torn down
// elsewhere) must not have std::thread's destructor end the process.
std::thread* g_thread = nullptr;

// Sets an environment variable for the lifetime of the scope, then puts the caller's back, so
// child processes of the host inherit its environment unchanged.
class EnvScope {
public:
    EnvScope(const char* name, const std::string& value) : name_(name) {
        if (const char* old = std::getenv(name)) {
            had_ = true;
            old_ = old;
        }
        setenv(name, value.c_str(), 1);
    }
    ~EnvScope() {
        if (had_)
            setenv(name_, old_.c_str(), 1);
        else
            unsetenv(name_);
    }
    EnvScope(const EnvScope&) = delete;
    EnvScope& operator=(const EnvScope&) = delete;

private:
    const char* name_;
    bool had_ = false;
    std::string old_;
};

// Qt's xcb platform installs its own Xlib error handlers for the whole process; the host's
// (Electron's, GTK's) are put back once the application is made.
class XlibHandlersScope {
public:
    XlibHandlersScope() : error_(XSetErrorHandler(nullptr)), io_(XSetIOErrorHandler(nullptr)) {
        XSetErrorHandler(error_);
        XSetIOErrorHandler(io_);
    }
    ~XlibHandlersScope() {
        XSetErrorHandler(error_);
        XSetIOErrorHandler(io_);
    }
    XlibHandlersScope(const XlibHandlersScope&) = delete;
    XlibHandlersScope& operator=(const XlibHandlersScope&) = delete;

private:
    XErrorHandler error_;
    XIOErrorHandler io_;
};

std::string envOr(const char* name, const char* fallback) {
    const char* value = std::getenv(name);
    return value && *value ? value : fallback;
}

// Qt ends the process (qFatal) when no platform of its list starts, so each is tried here
// first with a connection of our own.
std::string xcbProblem() {
    const std::string display = envOr("DISPLAY", "");
    if (display.empty())
        return "DISPLAY is not set";
    int screen = 0;
    xcb_connection_t* connection = xcb_connect(nullptr, &screen);
    const bool failed = xcb_connection_has_error(connection);
    xcb_disconnect(connection);
    return failed ? "the X display \"" + display + "\" cannot be opened" : std::string();
}

std::string waylandProblem() {
    std::string socketPath = envOr("WAYLAND_DISPLAY", "wayland-0");
    if (socketPath[0] != '/') {
        const std::string runtime = envOr("XDG_RUNTIME_DIR", "");
        if (runtime.empty())
            return "XDG_RUNTIME_DIR is not set for the Wayland display \"" + socketPath + "\"";
        socketPath = runtime + "/" + socketPath;
    }
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socketPath.size() >= sizeof address.sun_path)
        return "the Wayland socket path \"" + socketPath + "\" is too long";
    std::strcpy(address.sun_path, socketPath.c_str());
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool ok =
        fd >= 0 && ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    if (fd >= 0)
        close(fd);
    return ok ? std::string() : "no Wayland compositor answers at \"" + socketPath + "\"";
}

bool platformPluginExists(const std::string& key) {
    QStringList dirs = QString::fromLocal8Bit(qgetenv("QT_QPA_PLATFORM_PLUGIN_PATH"))
                           .split(QLatin1Char(':'), Qt::SkipEmptyParts);
    for (const QString& dir : QString::fromLocal8Bit(qgetenv("QT_PLUGIN_PATH"))
                                  .split(QLatin1Char(':'), Qt::SkipEmptyParts))
        dirs << dir + QStringLiteral("/platforms");
    dirs << QLibraryInfo::location(QLibraryInfo::PluginsPath) + QStringLiteral("/platforms");
    const QString file = QStringLiteral("libq%1.so").arg(QString::fromStdString(key));
    for (const QString& dir : dirs)
        if (QDir(dir).exists(file))
            return true;
    return false;
}

// The first platform of Qt's list that can start, in *platform; else why none can.
std::string choosePlatform(std::string* platform) {
    const std::string list = envOr("QT_QPA_PLATFORM", "xcb");
    std::string problems;
    size_t from = 0;
    while (from <= list.size()) {
        const size_t end = std::min(list.find(';', from), list.size());
        const std::string name = list.substr(from, end - from);
        from = end + 1;
        if (name.empty())
            continue;
        const std::string key = name.substr(0, name.find(':'));
        std::string problem;
        if (key == "xcb")
            problem = xcbProblem();
        else if (key.rfind("wayland", 0) == 0)
            problem = waylandProblem();
        else if (!platformPluginExists(key))
            problem = "no Qt platform plugin \"" + key + "\"";
        if (problem.empty()) {
            *platform = name;
            return {};
        }
        problems += (problems.empty() ? "" : "; ") + problem;
    }
    return "screencapture: no usable display for Qt: " + problems;
}

std::string makeApplication() {
    const SessionPlatformScope session; // XWayland on a Wayland session
    std::string platform;
    const std::string problem = choosePlatform(&platform);
    if (!problem.empty())
        return problem;
    const EnvScope pinned("QT_QPA_PLATFORM", platform);
    // Qt's own UNIX event dispatcher: a GLib one on this thread would take the default main
    // context, which is the host's (Electron runs its main loop on it).
    const EnvScope noGlib("QT_NO_GLIB", "1");
    // No theme plugin (GTK's among them) is loaded into a host that may use GTK itself.
    const EnvScope theme("QT_QPA_PLATFORMTHEME", "generic");
    QGuiApplication::setDesktopSettingsAware(false);
    const XlibHandlersScope handlers;
    (new QApplication(*g_argc, g_argv))->setQuitOnLastWindowClosed(false);
    return {};
}

void threadMain() {
    std::unique_lock<std::mutex> lock(g_mutex);
    for (;;) {
        g_changed.wait(lock, [] { return g_startRequested || g_phase == Phase::Stopped; });
        if (g_phase == Phase::Stopped)
            return;
        lock.unlock();
        std::string failure = makeApplication();
        lock.lock();
        g_startRequested = false;
        g_failure = std::move(failure);
        const bool made = g_failure.empty();
        if (made)
            g_phase = Phase::Running;
        g_changed.notify_all();
        if (made)
            break;
    }
    lock.unlock();
    QApplication::exec();
    lock.lock();
    g_phase = Phase::Stopped;
    g_changed.notify_all();
}

bool onGuiThread() {
    return g_thread && std::this_thread::get_id() == g_thread->get_id();
}

bool running() {
    std::lock_guard<std::mutex> lock(g_mutex);
    return g_phase == Phase::Running;
}

} // namespace

namespace GuiThread {

std::string start(int& argc, char** argv) {
    std::unique_lock<std::mutex> lock(g_mutex);
    if (g_phase == Phase::Running)
        return {};
    if (g_phase == Phase::Stopped)
        return "screencapture: Qt has been stopped (the host is shutting down)";
    g_argc = &argc;
    g_argv = argv;
    // One thread for the process, whether or not its first attempt worked: the first thread to
    // touch Qt is the one Qt takes for its main thread.
    if (!g_thread)
        g_thread = new std::thread(threadMain);
    g_startRequested = true;
    g_changed.notify_all();
    g_changed.wait(lock, [] { return !g_startRequested; });
    return g_failure;
}

void call(const std::function<void()>& fn) {
    if (onGuiThread()) {
        fn();
        return;
    }
    if (running())
        QMetaObject::invokeMethod(qApp, fn, Qt::BlockingQueuedConnection);
}

void post(std::function<void()> fn) {
    if (running())
        QMetaObject::invokeMethod(qApp, std::move(fn), Qt::QueuedConnection);
}

void waitForQuit() {
    std::unique_lock<std::mutex> lock(g_mutex);
    g_changed.wait(lock, [] { return g_phase == Phase::Stopped; });
}

void stop(const std::function<void()>& before) {
    std::unique_lock<std::mutex> lock(g_mutex);
    if (g_phase == Phase::Running) {
        QMetaObject::invokeMethod(
            qApp,
            [before] {
                before();
                QCoreApplication::quit();
            },
            Qt::QueuedConnection);
        g_changed.wait(lock, [] { return g_phase == Phase::Stopped; });
    }
    g_phase = Phase::Stopped;
    g_changed.notify_all();
    lock.unlock();
    if (g_thread && g_thread->joinable() && !onGuiThread())
        g_thread->join();
}

} // namespace GuiThread
