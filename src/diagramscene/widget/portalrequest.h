#ifndef PORTALREQUEST_H
#define PORTALREQUEST_H

#include <QEventLoop>
#include <QObject>
#include <QString>
#include <QVariantMap>

// Receives the one Response of a portal request and ends the wait.
class PortalRequest : public QObject {
    Q_OBJECT
public:
    QEventLoop loop;
    bool answered = false;
    uint code = 0;
    QVariantMap results;
    QString failure;

    void fail(const QString& why) {
        if (failure.isEmpty() && !answered)
            failure = why;
        loop.quit();
    }

public slots:
    void response(uint c, const QVariantMap& r) {
        answered = true;
        code = c;
        results = r;
        loop.quit();
    }
};

#endif // PORTALREQUEST_H
