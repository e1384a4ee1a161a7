#include "portalscreenshot.h"
#include "portalrequest.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QTimer>
#include <QUrl>

namespace {

const char kService[] = "org.freedesktop.portal.Desktop";
const char kPath[] = "/org/freedesktop/portal/desktop";
const char kRequest[] = "org.freedesktop.portal.Request";

bool listen(QDBusConnection& bus, const QString& path, PortalRequest* request) {
    return bus.connect(kService, path, kRequest, QStringLiteral("Response"), request,
                       SLOT(response(uint, QVariantMap)));
}

void unlisten(QDBusConnection& bus, const QString& path, PortalRequest* request) {
    bus.disconnect(kService, path, kRequest, QStringLiteral("Response"), request,
                   SLOT(response(uint, QVariantMap)));
}

} // namespace

bool isWaylandSession() {
    return !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") ||
           qgetenv("XDG_SESSION_TYPE") == "wayland";
}

SessionPlatformScope::SessionPlatformScope() {
    if (!isWaylandSession())
        return;
    hadValue_ = qEnvironmentVariableIsSet("QT_QPA_PLATFORM");
    previous_ = qgetenv("QT_QPA_PLATFORM");
    // Qt tries these in order; offscreen always starts, so the host never aborts for want of
    // a display and the capture reports the missing XWayland instead.
    qputenv("QT_QPA_PLATFORM",
            qEnvironmentVariableIsEmpty("DISPLAY") ? "wayland;offscreen" : "xcb;wayland;offscreen");
    changed_ = true;
}

SessionPlatformScope::~SessionPlatformScope() {
    if (!changed_)
        return;
    if (hadValue_)
        qputenv("QT_QPA_PLATFORM", previous_);
    else
        qunsetenv("QT_QPA_PLATFORM");
}

QImage portalScreenshot(QString* error, int timeoutMs) {
    auto fail = [error](const QString& why) {
        if (error)
            *error = why;
        return QImage();
    };
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return fail(QStringLiteral("no D-Bus session bus (%1)").arg(bus.lastError().message()));

    // The answer comes as a signal on a request object named after our bus name and a token
    // of ours; listening before the call means it cannot be missed.
    static int serial = 0;
    const QString token =
        QStringLiteral("screencapture%1_%2").arg(QCoreApplication::applicationPid()).arg(++serial);
    const QString sender = bus.baseService().mid(1).replace(QLatin1Char('.'), QLatin1Char('_'));
    QString requestPath = QStringLiteral("%1/request/%2/%3").arg(kPath, sender, token);
    PortalRequest request;
    if (!listen(bus, requestPath, &request))
        return fail(QStringLiteral("cannot subscribe to the portal's answer (%1)")
                        .arg(bus.lastError().message()));

    QDBusMessage call = QDBusMessage::createMethodCall(
        kService, kPath, QStringLiteral("org.freedesktop.portal.Screenshot"),
        QStringLiteral("Screenshot"));
    call << QString()
         << QVariantMap{{QStringLiteral("handle_token"), token},
                        {QStringLiteral("interactive"), false}};
    const QDateTime asked = QDateTime::currentDateTimeUtc();
    QDBusPendingCallWatcher watcher(bus.asyncCall(call, timeoutMs));
    QObject::connect(&watcher, &QDBusPendingCallWatcher::finished, &request, [&] {
        const QDBusPendingReply<QDBusObjectPath> reply = watcher;
        if (reply.isError()) {
            request.fail(QStringLiteral("the desktop portal is not available (%1: %2)")
                             .arg(reply.error().name(), reply.error().message()));
            return;
        }
        // Older portals choose the request path themselves.
        const QString handle = reply.value().path();
        if (handle != requestPath && !request.answered) {
            unlisten(bus, requestPath, &request);
            requestPath = handle;
            listen(bus, requestPath, &request);
        }
    });
    QDBusServiceWatcher gone(QString::fromLatin1(kService), bus,
                             QDBusServiceWatcher::WatchForUnregistration);
    QObject::connect(&gone, &QDBusServiceWatcher::serviceUnregistered, &request, [&] {
        request.fail(QStringLiteral("the desktop portal left the bus before answering"));
    });
    QTimer timer;
    timer.setSingleShot(true);
    QObject::connect(&timer, &QTimer::timeout, &request, [&] {
        request.fail(QStringLiteral("no answer from the desktop portal within %1 s")
                         .arg(timeoutMs / 1000.0));
    });
    timer.start(timeoutMs);
    request.loop.exec();
    unlisten(bus, requestPath, &request);

    if (!request.answered) {
        // Takes a permission dialog that may still be open away with us.
        bus.send(QDBusMessage::createMethodCall(kService, requestPath, kRequest,
                                                QStringLiteral("Close")));
        return fail(request.failure);
    }
    if (request.code != 0)
        return fail(
            QStringLiteral("the desktop portal refused the screenshot (response %1%2)")
                .arg(request.code)
                .arg(request.code == 1 ? QStringLiteral(", cancelled or denied") : QString()));
    const QString uri = request.results.value(QStringLiteral("uri")).toString();
    const QString file = QUrl(uri).toLocalFile();
    QImageReader reader(file);
    const QImage image = reader.read();
    // A file the portal wrote for this call is ours to remove: no picture left per capture.
    const QFileInfo info(file);
    if (!file.isEmpty() && info.isFile() && info.lastModified().toUTC() >= asked.addSecs(-2))
        QFile::remove(file);
    if (image.isNull())
        return fail(QStringLiteral("cannot read the portal's screenshot \"%1\" (%2)")
                        .arg(uri, reader.errorString()));
    return image;
}
