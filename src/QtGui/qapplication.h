#ifndef QAPPLICATIONWRAP_H
#define QAPPLICATIONWRAP_H

#include <node.h>
#include <node_object_wrap.h>

#include <memory>

class QApplication;
class LinuxStartScreen;

// Script-visible class "Main". Every Main in a process shares the one QApplication (never
// deleted, living on the Qt thread, see guithread.h) and one session controller, which goes
// with the last Main collected: two controllers would mean two overlay windows sharing, and
// each deleting, the style manager.
class QApplicationWrap : public node::ObjectWrap {
public:
    static void Initialize(v8::Local<v8::Object> exports);

private:
    QApplicationWrap();
    ~QApplicationWrap() override;

    static void New(const v8::FunctionCallbackInfo<v8::Value>& args);
    static void Exec(const v8::FunctionCallbackInfo<v8::Value>& args);
    static void ScreenCapture(const v8::FunctionCallbackInfo<v8::Value>& args);
    static void GetFilePathFromClipboard(const v8::FunctionCallbackInfo<v8::Value>& args);
    static void DeleteScreenCapture(const v8::FunctionCallbackInfo<v8::Value>& args);
    static void SetClipboardUrl(const v8::FunctionCallbackInfo<v8::Value>& args);
    static void Capture(const v8::FunctionCallbackInfo<v8::Value>& args);

    QApplication* app_;
    std::shared_ptr<LinuxStartScreen> startScreen_;

    static std::weak_ptr<LinuxStartScreen> sharedStartScreen_;

    // QApplication keeps a reference to the count, so it must outlive the app.
    static int argc_;
    static char** argv_;
};

#endif // QAPPLICATIONWRAP_H
