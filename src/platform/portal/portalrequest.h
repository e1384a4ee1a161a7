#ifndef PORTALREQUEST_H
#define PORTALREQUEST_H

#include <QEventLoop>
#include <QObject>
#include <QString>
#include <QVariantMap>

#include <functional>

// Receives the one Response of a portal request and ends the wait. A request given up on
// stays to receive a late answer, hands it to `late` and goes away.
class PortalRequest : public QObject {
    Q_OBJECT
public:
    QEventLoop loop;
    bool answered = false;
    uint code = 0;
    QVariantMap results;
    QString failure;
    std::function<void(uint, const QVariantMap&)> late;

    void fail(const QString& why) {
        if (failure.isEmpty() && !answered)
            failure = why;
        loop.quit();
    }

public slots:
    void response(uint c, const QVariantMap& r) {
        if (late) {
            late(c, r);
            deleteLater();
            return;
        }
        answered = true;
        code = c;
        results = r;
        loop.quit();
    }
};

#endif // PORTALREQUEST_H
