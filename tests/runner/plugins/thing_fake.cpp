// A device type that a test drives through properties of the application object:
// "fake/devices" (QStringList of keys, which are the serials too; "A=B" is a second key of the
// device B), "fake/settings" (what create() got), "fake/during" (milliseconds that discover() runs
// an event loop of its own), "fake/ui" (what create() hands out for the interface), "fake/alias"
// (that create() gives).

#include "tests/support/fakething.h"
#include "things/abstractthingtype.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>

class FakeType : public QObject, public AbstractThingType
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID AbstractThingType_iid FILE "thing_fake.json")
    Q_INTERFACES(AbstractThingType)

signals:
    void devicesChanged();

public:
    QHash<QString, QVariant> discover() override
    {
        if (const int during = qApp->property("fake/during").toInt()) {
            QEventLoop loop;
            QTimer::singleShot(during, &loop, &QEventLoop::quit);
            loop.exec();
        }
        QHash<QString, QVariant> devices;
        const QStringList keys = qApp->property("fake/devices").toStringList();
        for (const QString &key : keys) {
            devices.insert(key, key.section('=', -1));
        }
        return devices;
    }
    QAbstractThing *create(const QString & /*key*/, const QVariant &descriptor,
                           const QVariantHash &settings, QObject **ui) override
    {
        *ui = qApp->property("fake/ui").value<QObject *>();
        qApp->setProperty("fake/settings", settings);
        if (descriptor.toString().startsWith("broken")) {
            return nullptr;
        }
        auto *const thing = new FakeThing(descriptor.toString());
        thing->setAlias(qApp->property("fake/alias").toString());
        return thing;
    }
    bool claims(const QString &key, const QAbstractThing *thing) override
    {
        return thing->type() == "fake" && thing->serial() == key.section('=', -1);
    }
};

#include "thing_fake.moc"
