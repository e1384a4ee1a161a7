#include "qapplication.h"

#include <QApplication>
#include <QClipboard>
#include <QDebug>
#include <QFileInfo>
#include <QMimeData>
#include <QUrl>

#include "linuxstartscreen.h"
#include "session.h"

extern QString g_ImagePath;

namespace {

// Every binding log line starts with this file name, the function and a line number.
const char kLogFile[] = "../src/QtGui/qapplication";

v8::Local<v8::String> utf8String(v8::Isolate* isolate, const QByteArray& bytes) {
    return v8::String::NewFromUtf8(isolate, bytes.constData(), v8::NewStringType::kNormal,
                                   bytes.size())
        .ToLocalChecked();
}

} // namespace

int QApplicationWrap::argc_ = 0;
char** QApplicationWrap::argv_ = nullptr;
std::weak_ptr<LinuxStartScreen> QApplicationWrap::sharedStartScreen_;

// The only place the application object is made. A second one would take over event
// delivery, and the first Main's event filter would no longer see Esc, Enter or clicks.
QApplication* QApplicationWrap::sharedApplication() {
    if (auto* app = qobject_cast<QApplication*>(QCoreApplication::instance()))
        return app;
    const SessionPlatformScope platform; // XWayland on a Wayland session
    return new QApplication(argc_, argv_);
}

QApplicationWrap::QApplicationWrap() : app_(nullptr) {
    QCoreApplication::addLibraryPath("./");
    app_ = sharedApplication();
    startScreen_ = sharedStartScreen_.lock();
    if (!startScreen_) {
        startScreen_ = std::make_shared<LinuxStartScreen>(nullptr);
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
    // Another addon's Qt application that is not a QApplication cannot host widgets.
    if (QCoreApplication::instance() &&
        !qobject_cast<QApplication*>(QCoreApplication::instance())) {
        v8::Isolate* isolate = args.GetIsolate();
        isolate->ThrowException(v8::Exception::Error(
            v8::String::NewFromUtf8(
                isolate, "this process already has a Qt application that is not a QApplication")
                .ToLocalChecked()));
        return;
    }
    QApplicationWrap* wrap = new QApplicationWrap();
    wrap->Wrap(args.This());
    args.GetReturnValue().Set(args.This());
}

void QApplicationWrap::Exec(const v8::FunctionCallbackInfo<v8::Value>& args) {
    QApplicationWrap* wrap = ObjectWrap::Unwrap<QApplicationWrap>(args.This());
    (void)wrap;
    QApplication::exec();
}

void QApplicationWrap::ScreenCapture(const v8::FunctionCallbackInfo<v8::Value>& args) {
    v8::Isolate* isolate = args.GetIsolate();
    QApplicationWrap* wrap = ObjectWrap::Unwrap<QApplicationWrap>(args.This());
    QApplication* app = wrap->app_;
    LinuxStartScreen* startScreen = wrap->startScreen_.get();

    QMessageLogger(kLogFile, 150, "ScreenCapture").debug() << "startLinuxScreen";
    startScreen->startWinScreen(app);
    QMessageLogger(kLogFile, 152, "ScreenCapture").debug() << "endLinuxScreen";

    QString exitString;
    switch (startScreen->getExitCode()) {
    case 1:
        exitString = QStringLiteral("image");
        break;
    case 2:
        exitString = QStringLiteral("save");
        break;
    default:
        exitString = QStringLiteral("exit");
        break;
    }
    qDebug() << kLogFile << "ScreenCapture" << 160 << ":"
             << "exitString" << exitString;
    qDebug() << kLogFile << "ScreenCapture" << 161 << ":"
             << "g_ImagePath: " << g_ImagePath.toUtf8().constData();

    args.GetReturnValue().Set(utf8String(isolate, g_ImagePath.toUtf8()));

    // A third argument that is not callable counts as no callback rather than a crash.
    if (args.Length() == 3 && args[2]->IsFunction()) {
        v8::Local<v8::Function> callback = args[2].As<v8::Function>();
        v8::Local<v8::Value> argv[1] = {utf8String(isolate, exitString.toUtf8())};
        // A throwing callback leaves its exception pending for the script.
        if (callback->Call(isolate->GetCurrentContext(), v8::Null(isolate), 1, argv).IsEmpty()) {
            return;
        }
    } else {
        qDebug() << kLogFile << "ScreenCapture" << 174 << ":"
                 << "other";
    }
}

void QApplicationWrap::GetFilePathFromClipboard(const v8::FunctionCallbackInfo<v8::Value>& args) {
    v8::Isolate* isolate = args.GetIsolate();
    v8::Local<v8::Context> context = isolate->GetCurrentContext();

    v8::Local<v8::Object> result = v8::Object::New(isolate);
    v8::Local<v8::Array> fileList = v8::Array::New(isolate, 0);
    v8::Local<v8::Array> dirList = v8::Array::New(isolate, 0);

    const QMimeData* mime = QGuiApplication::clipboard()->mimeData(QClipboard::Clipboard);
    if (mime && mime->hasUrls()) {
        const QList<QUrl> urls = mime->urls();
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

    QMimeData* mime = new QMimeData();
    mime->setUrls({url});
    QGuiApplication::clipboard()->setMimeData(mime, QClipboard::Clipboard);
}
