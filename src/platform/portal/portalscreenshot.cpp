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

#include <unistd.h>

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

// A picture the portal wrote for a request of ours is ours to remove, so no copy of the
// desktop stays behind; anything else found under its name is left alone: a link, a file of
// another user, one older than the request.
void removePortalFile(const QString& file, const QDateTime& asked) {
    const QFileInfo info(file);
    if (file.isEmpty() || info.isSymLink() || !info.isFile() || info.ownerId() != ::geteuid() ||
        info.lastModified().toUTC() < asked.addSecs(-2))
        return;
    QFile::remove(file);
}

// How long a request given up on still waits for its answer, to remove the file it brings.
constexpr int kLateAnswerMs = 5 * 60 * 1000;

} // namespace

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
    auto* request = new PortalRequest;
    std::unique_ptr<PortalRequest> owned(request);
    if (!listen(bus, requestPath, request))
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
    QObject::connect(&watcher, &QDBusPendingCallWatcher::finished, request, [&] {
        const QDBusPendingReply<QDBusObjectPath> reply = watcher;
        if (reply.isError()) {
            request->fail(QStringLiteral("the desktop portal is not available (%1: %2)")
                              .arg(reply.error().name(), reply.error().message()));
            return;
        }
        // Older portals choose the request path themselves.
        const QString handle = reply.value().path();
        if (handle != requestPath && !request->answered) {
            unlisten(bus, requestPath, request);
            requestPath = handle;
            listen(bus, requestPath, request);
        }
    });
    QDBusServiceWatcher gone(QString::fromLatin1(kService), bus,
                             QDBusServiceWatcher::WatchForUnregistration);
    QObject::connect(&gone, &QDBusServiceWatcher::serviceUnregistered, request, [&] {
        request->fail(QStringLiteral("the desktop portal left the bus before answering"));
    });
    QTimer timer;
    timer.setSingleShot(true);
    QObject::connect(&timer, &QTimer::timeout, request, [&] {
        request->fail(QStringLiteral("no answer from the desktop portal within %1 s")
                          .arg(timeoutMs / 1000.0));
    });
    timer.start(timeoutMs);
    request->loop.exec();

    if (!request->answered) {
        // Takes a permission dialog that may still be open away with us; should the portal
        // answer all the same, its file is removed then.
        bus.send(QDBusMessage::createMethodCall(kService, requestPath, kRequest,
                                                QStringLiteral("Close")));
        request->late = [asked](uint code, const QVariantMap& results) {
            const QString file =
                QUrl(results.value(QStringLiteral("uri")).toString()).toLocalFile();
            if (code == 0 && QImageReader(file).canRead())
                removePortalFile(file, asked);
        };
        QTimer::singleShot(kLateAnswerMs, request, &QObject::deleteLater);
        owned.release();
        return fail(request->failure);
    }
    unlisten(bus, requestPath, request);
    if (request->code != 0)
        return fail(QStringLiteral("the desktop portal refused the screenshot (response %1%2)")
                        .arg(request->code)
                        .arg(request->code == 1 ? QStringLiteral(", cancelled or denied")
                             // GNOME's portal answers a denial in its dialog so.
                             : request->code == 2 ? QStringLiteral(", denied or failed")
                                                  : QString()));
    const QString uri = request->results.value(QStringLiteral("uri")).toString();
    const QString file = QUrl(uri).toLocalFile();
    QImageReader reader(file);
    const QImage image = reader.read();
    if (image.isNull())
        return fail(QStringLiteral("cannot read the portal's screenshot \"%1\" (%2)")
                        .arg(uri, reader.errorString()));
    removePortalFile(file, asked);
    return image;
}
