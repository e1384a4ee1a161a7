#include "qapplication.h"

#include <QApplication>
#include <QBuffer>
#include <QClipboard>
#include <QDebug>
#include <QFileInfo>
#include <QImage>
#include <QMimeData>
#include <QTimer>
#include <QUrl>

#include <node_buffer.h>
#include <uv.h>

#include <condition_variable>
#include <mutex>

#include "guithread.h"
#include "linuxstartscreen.h"
#include "mainwindow.h"

extern QString g_ImagePath;

namespace {

// Every binding log line starts with this file name, the function and a line number.
const char kLogFile[] = "../src/QtGui/qapplication";

v8::Local<v8::String> utf8String(v8::Isolate* isolate, const QByteArray& bytes) {
    return v8::String::NewFromUtf8(isolate, bytes.constData(), v8::NewStringType::kNormal,
                                   bytes.size())
        .ToLocalChecked();
}

v8::Local<v8::Value> scriptError(v8::Isolate* isolate, const std::string& message) {
    return v8::Exception::Error(v8::String::NewFromUtf8(isolate, message.c_str()).ToLocalChecked());
}

QString resultWord(int code) {
    switch (code) {
    case 1:
        return QStringLiteral("image");
    case 2:
        return QStringLiteral("save");
    default:
        return QStringLiteral("exit");
    }
}

// One capture at a time, from either entry. `caller` and the script handles belong to the
// script thread; what the Qt thread reports at the end is guarded by `mutex`.
enum class Caller { None, Blocking, Promise };

struct Session {
    Caller caller = Caller::None;
    int inCallback = 0; // screenCapture's callback is running
    std::mutex mutex;
    std::condition_variable endedChanged;
    bool ended = false;
    int code = 0;
    QByteArray png;
    // capture(): settled from the host's loop. Referenced only while a capture is open, so a
    // host with nothing else to do still exits.
    v8::Isolate* isolate = nullptr;
    v8::Global<v8::Context> context;
    v8::Global<v8::Promise::Resolver> resolver;
    uv_async_t async;
    bool asyncOpen = false;
    bool shutDown = false;
};

Session g_session;

// The confirmed image as the clipboard holds it (the module owns the clipboard right after a
// confirm or save-as, so this is a local read), as PNG.
QByteArray clipboardPng() {
    const QImage image = QGuiApplication::clipboard()->image(QClipboard::Clipboard);
    QByteArray bytes;
    if (image.isNull())
        return bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

// Qt thread: the session is over.
void reportEnd(int code, QByteArray png) {
    std::lock_guard<std::mutex> lock(g_session.mutex);
    g_session.ended = true;
    g_session.code = code;
    g_session.png = std::move(png);
    g_session.endedChanged.notify_all();
    if (g_session.asyncOpen)
        uv_async_send(&g_session.async);
}

// A close the session did not ask for (a window manager's Alt+F4) ends it as a cancel, where
// it would otherwise stay open with no window and keep its caller waiting.
class CloseWatch : public QObject {
public:
    CloseWatch(LinuxStartScreen* controller, std::shared_ptr<QMetaObject::Connection> open)
        : QObject(controller), controller_(controller), open_(std::move(open)) {
        controller->mainWindow()->installEventFilter(this);
    }
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() == QEvent::Close)
            QTimer::singleShot(0, this, [this] {
                if (*open_)
                    controller_->slotCloseWindow(0);
                deleteLater();
            });
        return false;
    }

private:
    LinuxStartScreen* controller_;
    std::shared_ptr<QMetaObject::Connection> open_;
};

// Starts a session on the Qt thread without waiting for it; reportEnd() tells how it ended.
void beginSession(const std::shared_ptr<LinuxStartScreen>& screen, bool wantPng) {
    {
        std::lock_guard<std::mutex> lock(g_session.mutex);
        g_session.ended = false;
        g_session.png.clear();
    }
    GuiThread::post([screen, wantPng] {
        LinuxStartScreen* controller = screen.get();
        auto connection = std::make_shared<QMetaObject::Connection>();
        const auto ended = [screen, connection, wantPng](int code) {
            QObject::disconnect(*connection);
            QByteArray png;
            if (wantPng && code != 0)
                png = clipboardPng();
            reportEnd(code, std::move(png));
        };
        *connection =
            QObject::connect(controller, &LinuxStartScreen::sessionEnded, controller, ended);
        if (!controller->startSession(qApp)) {
            QObject::disconnect(*connection);
            reportEnd(controller->getExitCode(), QByteArray());
            return;
        }
        new CloseWatch(controller, connection);
    });
}

// Script thread, from the host's loop: settles capture()'s promise.
void settleCapture(uv_async_t*) {
    if (g_session.caller != Caller::Promise)
        return;
    int code = 0;
    QByteArray png;
    {
        std::lock_guard<std::mutex> lock(g_session.mutex);
        if (!g_session.ended)
            return;
        code = g_session.code;
        png = std::move(g_session.png);
        g_session.png.clear();
    }
    g_session.caller = Caller::None;
    uv_unref(reinterpret_cast<uv_handle_t*>(&g_session.async));
    qDebug() << kLogFile << "Capture"
             << ":"
             << "exitString" << resultWord(code);

    v8::Isolate* isolate = g_session.isolate;
    v8::HandleScope handles(isolate);
    v8::Local<v8::Context> context = g_session.context.Get(isolate);
    v8::Context::Scope contextScope(context);
    v8::Local<v8::Promise::Resolver> resolver = g_session.resolver.Get(isolate);
    g_session.resolver.Reset();
    v8::Local<v8::Object> result = v8::Object::New(isolate);
    result
        ->Set(context, v8::String::NewFromUtf8(isolate, "result").ToLocalChecked(),
              utf8String(isolate, resultWord(code).toUtf8()))
        .Check();
    v8::Local<v8::Value> bytes = v8::Null(isolate);
    if (code != 0 && !png.isEmpty())
        bytes = node::Buffer::Copy(isolate, png.constData(), png.size()).ToLocalChecked();
    result->Set(context, v8::String::NewFromUtf8(isolate, "png").ToLocalChecked(), bytes).Check();
    // Leaving the scope runs the promise's reactions, as for any callback from the loop.
    node::CallbackScope scope(isolate, v8::Object::New(isolate), {0, 0});
    resolver->Resolve(context, result).Check();
}

// The host is going away: an open overlay is closed (no window, no grab left behind), Qt's
// loop ends and its thread is joined.
void shutDown(void*) {
    if (g_session.shutDown)
        return;
    g_session.shutDown = true;
    GuiThread::stop([] {
        QApplication::closeAllWindows();
        QCoreApplication::processEvents();
    });
    {
        std::lock_guard<std::mutex> lock(g_session.mutex);
        if (g_session.asyncOpen)
            uv_close(reinterpret_cast<uv_handle_t*>(&g_session.async), nullptr);
        g_session.asyncOpen = false;
    }
    g_session.resolver.Reset();
    g_session.context.Reset();
    // Qt's process-wide caches (the pixmap cache and its flush timer) belong to the Qt thread
    // and are destroyed at exit from this one, after their timers went with that thread.
    static QtMessageHandler previous = qInstallMessageHandler(
        [](QtMsgType type, const QMessageLogContext& context, const QString& message) {
            if (!message.contains(QLatin1String("Timers cannot be stopped from another thread")))
                previous(type, context, message);
        });
}

void prepareHost(v8::Isolate* isolate) {
    if (g_session.isolate)
        return;
    g_session.isolate = isolate;
    g_session.context.Reset(isolate, isolate->GetCurrentContext());
    if (uv_loop_t* loop = node::GetCurrentEventLoop(isolate)) {
        std::lock_guard<std::mutex> lock(g_session.mutex);
        uv_async_init(loop, &g_session.async, settleCapture);
        uv_unref(reinterpret_cast<uv_handle_t*>(&g_session.async));
        g_session.asyncOpen = true;
    }
    node::AddEnvironmentCleanupHook(isolate, shutDown, nullptr);
    // process.exit() runs these, not the cleanup hooks.
    if (node::Environment* env = node::GetCurrentEnvironment(isolate->GetCurrentContext()))
        node::AtExit(env, shutDown, nullptr);
}

} // namespace

int QApplicationWrap::argc_ = 0;
char** QApplicationWrap::argv_ = nullptr;
std::weak_ptr<LinuxStartScreen> QApplicationWrap::sharedStartScreen_;

QApplicationWrap::QApplicationWrap() : app_(qApp) {
    startScreen_ = sharedStartScreen_.lock();
    if (!startScreen_) {
        // Made, and deleted, on the Qt thread like every widget.
        LinuxStartScreen* screen = nullptr;
        GuiThread::call([&screen] { screen = new LinuxStartScreen(nullptr); });
        startScreen_.reset(screen, [](LinuxStartScreen* s) { GuiThread::post([s] { delete s; }); });
        sharedStartScreen_ = startScreen_;
    }
}

QApplicationWrap::~QApplicationWrap() = default;

void QApplicationWrap::Initialize(v8::Local<v8::Object> exports) {
    v8::Isolate* isolate = exports->GetIsolate();
    v8::Local<v8::Context> context = isolate->GetCurrentContext();

    v8::Local<v8::FunctionTemplate> tpl = v8::FunctionTemplate::New(isolate, New);
    tpl->SetClassName(v8::String::NewFromUtf8(isolate, "QApplicationWrap").ToLocalChecked());
    tpl->InstanceTemplate()->SetInternalFieldCount(1);

    struct Method {
        const char* name;
        v8::FunctionCallback callback;
    };
    const Method methods[] = {
        {"exec", Exec},
        {"screenCapture", ScreenCapture},
        {"getFilePathFromClipboard", GetFilePathFromClipboard},
        {"deleteScreenCapture", DeleteScreenCapture},
        {"setClipboardUrl", SetClipboardUrl},
        {"capture", Capture},
    };
    for (const Method& method : methods) {
        v8::HandleScope scope(isolate);
        // The signature makes the engine reject a foreign receiver before Unwrap sees it.
        v8::Local<v8::Signature> signature = v8::Signature::New(isolate, tpl);
        v8::Local<v8::FunctionTemplate> fn =
            v8::FunctionTemplate::New(isolate, method.callback, v8::Local<v8::Value>(), signature);
        v8::Local<v8::String> name =
            v8::String::NewFromUtf8(isolate, method.name, v8::NewStringType::kInternalized)
                .ToLocalChecked();
        fn->SetClassName(name);
        tpl->PrototypeTemplate()->Set(name, fn, v8::None);
    }

    v8::Local<v8::Function> constructor = tpl->GetFunction(context).ToLocalChecked();
    exports->Set(context, v8::String::NewFromUtf8(isolate, "Main").ToLocalChecked(), constructor)
        .Check();
}

void QApplicationWrap::New(const v8::FunctionCallbackInfo<v8::Value>& args) {
    // Main() without new: deliberately no object and no QApplication.
    if (args.NewTarget()->IsUndefined()) {
        return;
    }
    v8::Isolate* isolate = args.GetIsolate();
    // Another addon's Qt application that is not a QApplication cannot host widgets.
    if (QCoreApplication::instance() &&
        !qobject_cast<QApplication*>(QCoreApplication::instance())) {
        isolate->ThrowException(scriptError(
            isolate, "this process already has a Qt application that is not a QApplication"));
        return;
    }
    prepareHost(isolate);
    // No display is the host's problem to handle, not a reason to end it.
    const std::string problem = GuiThread::start(argc_, argv_);
    if (!problem.empty()) {
        isolate->ThrowException(scriptError(isolate, problem));
        return;
    }
    QApplicationWrap* wrap = new QApplicationWrap();
    wrap->Wrap(args.This());
    args.GetReturnValue().Set(args.This());
}

void QApplicationWrap::Exec(const v8::FunctionCallbackInfo<v8::Value>& args) {
    QApplicationWrap* wrap = ObjectWrap::Unwrap<QApplicationWrap>(args.This());
    (void)wrap;
    // Qt's loop runs on its own thread all along; this only waits for it to end.
    GuiThread::waitForQuit();
}

void QApplicationWrap::ScreenCapture(const v8::FunctionCallbackInfo<v8::Value>& args) {
    v8::Isolate* isolate = args.GetIsolate();
    QApplicationWrap* wrap = ObjectWrap::Unwrap<QApplicationWrap>(args.This());
    if (g_session.caller != Caller::None) {
        isolate->ThrowException(scriptError(
            isolate, "screencapture: a capture() is open; screenCapture cannot start another"));
        return;
    }

    QMessageLogger(kLogFile, 150, "ScreenCapture").debug() << "startLinuxScreen";
    // The script thread only waits: nothing of the host runs until the session is over.
    g_session.caller = Caller::Blocking;
    beginSession(wrap->startScreen_, false);
    int code = 0;
    {
        std::unique_lock<std::mutex> lock(g_session.mutex);
        g_session.endedChanged.wait(lock, [] { return g_session.ended; });
        code = g_session.code;
    }
    g_session.caller = Caller::None;
    QMessageLogger(kLogFile, 152, "ScreenCapture").debug() << "endLinuxScreen";

    const QString exitString = resultWord(code);
    qDebug() << kLogFile << "ScreenCapture" << 160 << ":"
             << "exitString" << exitString;
    qDebug() << kLogFile << "ScreenCapture" << 161 << ":"
             << "g_ImagePath: " << g_ImagePath.toUtf8().constData();

    args.GetReturnValue().Set(utf8String(isolate, g_ImagePath.toUtf8()));

    // A third argument that is not callable counts as no callback rather than a crash.
    if (args.Length() == 3 && args[2]->IsFunction()) {
        v8::Local<v8::Function> callback = args[2].As<v8::Function>();
        v8::Local<v8::Value> argv[1] = {utf8String(isolate, exitString.toUtf8())};
        ++g_session.inCallback;
        // A throwing callback leaves its exception pending for the script.
        const bool threw =
            callback->Call(isolate->GetCurrentContext(), v8::Null(isolate), 1, argv).IsEmpty();
        --g_session.inCallback;
        if (threw)
            return;
    } else {
        qDebug() << kLogFile << "ScreenCapture" << 174 << ":"
                 << "other";
    }
}

void QApplicationWrap::Capture(const v8::FunctionCallbackInfo<v8::Value>& args) {
    v8::Isolate* isolate = args.GetIsolate();
    v8::Local<v8::Context> context = isolate->GetCurrentContext();
    QApplicationWrap* wrap = ObjectWrap::Unwrap<QApplicationWrap>(args.This());
    v8::Local<v8::Promise::Resolver> resolver =
        v8::Promise::Resolver::New(context).ToLocalChecked();
    args.GetReturnValue().Set(resolver->GetPromise());
    const char* refusal = nullptr;
    if (g_session.inCallback)
        refusal = "screencapture: capture() cannot start inside screenCapture's callback";
    else if (g_session.caller != Caller::None)
        refusal = "screencapture: a capture is already open";
    else if (!g_session.asyncOpen)
        refusal = "screencapture: capture() needs the host's event loop";
    if (refusal) {
        resolver->Reject(context, scriptError(isolate, refusal)).Check();
        return;
    }
    g_session.caller = Caller::Promise;
    g_session.resolver.Reset(isolate, resolver);
    uv_ref(reinterpret_cast<uv_handle_t*>(&g_session.async));
    beginSession(wrap->startScreen_, true);
}

void QApplicationWrap::GetFilePathFromClipboard(const v8::FunctionCallbackInfo<v8::Value>& args) {
    v8::Isolate* isolate = args.GetIsolate();
    v8::Local<v8::Context> context = isolate->GetCurrentContext();

    v8::Local<v8::Object> result = v8::Object::New(isolate);
    v8::Local<v8::Array> fileList = v8::Array::New(isolate, 0);
    v8::Local<v8::Array> dirList = v8::Array::New(isolate, 0);

    bool hasUrls = false;
    QList<QUrl> urls;
    GuiThread::call([&] {
        const QMimeData* mime = QGuiApplication::clipboard()->mimeData(QClipboard::Clipboard);
        hasUrls = mime && mime->hasUrls();
        if (hasUrls)
            urls = mime->urls();
    });
    if (hasUrls) {
        for (const QUrl& url : urls) {
            const QString path = url.toLocalFile();
            qDebug() << kLogFile << "GetFilePathFromClipboard" << 192 << ":" << path;
            const QFileInfo info(path);
            if (info.isFile()) {
                fileList->Set(context, fileList->Length(), utf8String(isolate, path.toUtf8()))
                    .Check();
            } else if (info.isDir()) {
                dirList->Set(context, dirList->Length(), utf8String(isolate, path.toUtf8()))
                    .Check();
            } else {
                qDebug() << kLogFile << "GetFilePathFromClipboard" << 205 << ":"
                         << "others, skip it.";
            }
        }
    } else {
        qDebug() << kLogFile << "GetFilePathFromClipboard" << 211 << ":"
                 << "no url in clipboard.";
    }

    result->Set(context, v8::String::NewFromUtf8(isolate, "fileList").ToLocalChecked(), fileList)
        .Check();
    result->Set(context, v8::String::NewFromUtf8(isolate, "dirList").ToLocalChecked(), dirList)
        .Check();
    args.GetReturnValue().Set(result);
}

void QApplicationWrap::DeleteScreenCapture(const v8::FunctionCallbackInfo<v8::Value>&) {
    // Kept empty on purpose: the session objects live as long as the wrapper.
}

void QApplicationWrap::SetClipboardUrl(const v8::FunctionCallbackInfo<v8::Value>& args) {
    v8::Isolate* isolate = args.GetIsolate();
    if (!args[0]->IsString()) {
        isolate->ThrowException(v8::Exception::TypeError(
            v8::String::NewFromUtf8(isolate, "Wrong arguments").ToLocalChecked()));
        args.GetReturnValue().Set(
            v8::String::NewFromUtf8(isolate, "parameter type invalid").ToLocalChecked());
        return;
    }
    v8::String::Utf8Value utf8(isolate, args[0]);
    // Byte-wise on purpose: non-ASCII paths arrive mis-decoded, as they always have.
    QString text = QString::fromLatin1(*utf8, utf8.length());
    text.insert(0, QStringLiteral("file:///"));
    const QUrl url(text, QUrl::TolerantMode);

    GuiThread::call([&url] {
        QMimeData* mime = new QMimeData();
        mime->setUrls({url});
        QGuiApplication::clipboard()->setMimeData(mime, QClipboard::Clipboard);
    });
}
