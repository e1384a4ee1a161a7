#ifndef QAPPLICATIONWRAP_H
#define QAPPLICATIONWRAP_H

#include <node.h>
#include <node_object_wrap.h>

class QApplication;
class LinuxStartScreen;

// Script-visible class "Main": owns the session controller; the QApplication it
// creates lives until the process ends.
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

    QApplication* app_;
    LinuxStartScreen* startScreen_;

    // QApplication keeps a reference to the count, so it must outlive the app.
    static int argc_;
    static char** argv_;
};

#endif // QAPPLICATIONWRAP_H
