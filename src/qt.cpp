#include <node.h>

#include <QString>

#include "QtGui/qapplication.h"

QString g_ImagePath = QStringLiteral("./");

// The resources live in a static library; naming the init function here is
// what pulls them into the module. Q_INIT_RESOURCE must sit outside any namespace.
static int registerResources() {
    Q_INIT_RESOURCE(diagramscene);
    return 1;
}

static const int g_resourcesRegistered = registerResources();

void Initialize(v8::Local<v8::Object> exports) {
    QApplicationWrap::Initialize(exports);
}

extern "C" {

static node::node_module _module = {
    NODE_MODULE_VERSION, // must match the headers this is built against
    0,
    nullptr,
    "../src/qt",
    reinterpret_cast<node::addon_register_func>(Initialize),
    nullptr,
    "screencapture",
    nullptr,
    nullptr,
};

// Runs during dlopen, so node finds the record right after loading us.
static void _register_screencapture(void) __attribute__((constructor));
static void _register_screencapture(void) {
    node_module_register(&_module);
}
}
