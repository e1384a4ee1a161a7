// Test-only addon standing in for what an Electron main process keeps in its own process: an
// Xlib error handler of its own and GLib sources on the default main context.
#include <node.h>

#include <X11/Xlib.h>
#include <glib.h>

namespace {

int g_ticks = 0;

int hostErrorHandler(Display*, XErrorEvent*) {
    return 0;
}

int hostIoErrorHandler(Display*) {
    return 0;
}

gboolean tick(gpointer) {
    ++g_ticks;
    return G_SOURCE_CONTINUE;
}

void setXHandlers(const v8::FunctionCallbackInfo<v8::Value>&) {
    XSetErrorHandler(hostErrorHandler);
    XSetIOErrorHandler(hostIoErrorHandler);
}

// Whether the handlers in force are still ours; they stay installed either way.
void xHandlersKept(const v8::FunctionCallbackInfo<v8::Value>& args) {
    const bool error = XSetErrorHandler(hostErrorHandler) == hostErrorHandler;
    const bool io = XSetIOErrorHandler(hostIoErrorHandler) == hostIoErrorHandler;
    args.GetReturnValue().Set(error && io);
}

// A source that is always ready, on the default main context, as a host's main loop has them.
void addGlibSource(const v8::FunctionCallbackInfo<v8::Value>&) {
    g_timeout_add(1, tick, nullptr);
}

void glibTicks(const v8::FunctionCallbackInfo<v8::Value>& args) {
    args.GetReturnValue().Set(g_ticks);
}

// What the host's own loop would do: dispatch what is ready, without blocking.
void iterateGlib(const v8::FunctionCallbackInfo<v8::Value>& args) {
    for (int i = 0; i < 100 && g_ticks == 0; ++i) {
        g_usleep(2000);
        g_main_context_iteration(nullptr, FALSE);
    }
    args.GetReturnValue().Set(g_ticks);
}

void init(v8::Local<v8::Object> exports) {
    NODE_SET_METHOD(exports, "setXHandlers", setXHandlers);
    NODE_SET_METHOD(exports, "xHandlersKept", xHandlersKept);
    NODE_SET_METHOD(exports, "addGlibSource", addGlibSource);
    NODE_SET_METHOD(exports, "glibTicks", glibTicks);
    NODE_SET_METHOD(exports, "iterateGlib", iterateGlib);
}

} // namespace

NODE_MODULE(NODE_GYP_MODULE_NAME, init)
