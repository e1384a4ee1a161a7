// Test-only image-format plugin: writes "marker-plugin-loaded" into the current folder as soon as
// Qt loads it, so a test can tell whether Qt ever loaded a plugin from there.
#include <QFile>
#include <QImageIOPlugin>

class MarkerPlugin : public QImageIOPlugin {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QImageIOHandlerFactoryInterface_iid FILE "markerplugin.json")
public:
    MarkerPlugin() {
        QFile marker(QStringLiteral("marker-plugin-loaded"));
        marker.open(QIODevice::WriteOnly);
    }
    Capabilities capabilities(QIODevice*, const QByteArray&) const override { return {}; }
    QImageIOHandler* create(QIODevice*, const QByteArray&) const override { return nullptr; }
};

#include "markerplugin.moc"
