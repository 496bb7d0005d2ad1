#include "tests/plugins/computer.h"
#include "tests/support/testclock.h"
#include "tests/support/testmain.h"
#include "things/abstractthingtype.h"
#include "things/qabstractthing.h"

#include <QJsonArray>
#include <QPluginLoader>

#include <memory>

namespace {

using ThingPointer = std::unique_ptr<QAbstractThing>;

QObject *plugin(const QString &name)
{
    return QPluginLoader(QStringLiteral(KVG_PLUGIN_DIR "/thing_") + name).instance();
}

// All things of the type, created as by a scan.
std::vector<ThingPointer> things(const QString &name, const QVariantHash &settings)
{
    if (auto *const configurable = qobject_cast<ConfigurableThingType *>(plugin(name))) {
        configurable->configure(settings);
    }
    auto *const type = qobject_cast<AbstractThingType *>(plugin(name));
    std::vector<ThingPointer> result;
    const auto devices = type->discover();
    for (auto device = devices.begin(); device != devices.end(); ++device) {
        result.emplace_back(type->create(device.key(), device.value(), settings, nullptr));
    }
    return result;
}

ThingPointer thing(const QString &name, const QVariantHash &settings)
{
    return std::move(things(name, settings).front());
}

} // namespace

class TestPlugins : public QObject
{
    Q_OBJECT

private slots:
    void lampCountIsChecked()
    {
        QVERIFY(things("lamp", {{"count", 0}}).empty());
        QCOMPARE(thing("lamp", {{"count", "1"}})->serial(), QString("0001"));
        for (const QVariant &bad : QVariantList{10001, -1, "many", 2.5, qQNaN(), qInf(), {}}) {
            QCOMPARE(things("lamp", {{"count", bad}}).size(), size_t(3));
        }

        // A lamp above the new count emits mediumGone() and has no device key then.
        auto *const keyed = qobject_cast<KeyedThingType *>(plugin("lamp"));
        const auto lamps = things("lamp", {{"count", 2}});
        QStringList gone;
        for (const ThingPointer &lamp : lamps) {
            connect(lamp.get(), &QAbstractThing::mediumGone,
                    [&] { gone += lamp->serial() + keyed->deviceKey(lamp.get()); });
        }
        things("lamp", {{"count", 1}});
        QCOMPARE(gone, QStringList("0002"));
    }

    void lampAppliesValidMembersOfAnUpdate()
    {
        const ThingPointer lamp = thing("lamp", {{"start_on", "true"}});
        QVERIFY(lamp->state()["on"].toBool());
        const QJsonObject state{{"on", false}, {"brightness", 0}, {"color", "#0af09b"}};
        QVERIFY(lamp->applyUpdate({{"on", false}, {"brightness", 0}, {"color", "#0aF09b"}}));
        QCOMPARE(lamp->state(), state);
        QVERIFY(!lamp->applyUpdate(state));
        for (const QJsonValue bad : QJsonArray{-1, 101, 50.5, "50", QJsonValue(), "#fffff",
                                               "#0000000", "0000000", "#+12345", ""}) {
            QVERIFY(!lamp->applyUpdate({{"on", bad}, {"brightness", bad}, {"color", bad}}));
            QCOMPARE(lamp->state(), state);
        }
        QVERIFY(lamp->applyUpdate({{"on", "true"}, {"brightness", 101}, {"color", "#000000"}}));
    }

    void aBlinkingLampMayDeleteTheOther()
    {
        auto lamps = things("lamp", {{"count", 2}, {"blink", 1}});
        connect(lamps[0].get(), &QAbstractThing::stateChanged, [&] { lamps[1].reset(); });
        connect(lamps[1].get(), &QAbstractThing::stateChanged, [&] { lamps[0].reset(); });
        testclock::advance(std::chrono::milliseconds(1100));
        QTRY_VERIFY(!lamps[0] != !lamps[1]);
    }

    void hostFiguresAreThoseOfThisComputer()
    {
        const ThingPointer host = thing("host", {{"interval", 1}});
        QVERIFY(!QString::fromLatin1(QSysInfo::machineUniqueId()).contains(host->serial()));

        QSignalSpy changed(host.get(), &QAbstractThing::stateChanged);
        QTRY_VERIFY_WITH_TIMEOUT(host->isActive(), 30000);
        const QJsonObject state = changed.first().first().toJsonObject();
        QVERIFY(qAbs(state["cpu"].toDouble(-1) - 50) <= 50);
        QVERIFY(qAbs(state["memory"]["total"].toDouble() - computer::memory() / (1 << 20)) <= 1);
        for (const char *way : {"received", "sent"}) {
            const double rate = state["network"].toObject()[way].toDouble();
            QVERIFY2(rate >= 0 && rate < 1e8, qPrintable(QString::number(rate)));
        }
        QTRY_VERIFY(host->state()["uptime"].toInt() > state["uptime"].toInt(INT_MAX));
    }

    void hostSettingsAreChecked()
    {
        const ThingPointer host = thing("host", {});
        const auto warnings = [&](const QVariant &limit) {
            host->setSettings({{"memory_limit", limit}});
            return host->state()["warnings"].toArray();
        };
        QVERIFY(warnings(1).contains("memory"));
        for (const QVariant &bad : QVariantList{0, -1, 1.5, "x", {}}) {
            QCOMPARE(warnings(bad), warnings(90));
        }

        const auto watched = [&](const QVariant &disk) {
            host->setSettings({{"disk", disk}});
            return host->state().value("disk")["path"].toString();
        };
        const QStringList usable = computer::folders();
        for (const QString &path : usable + computer::placesWithoutSpace()) {
            QCOMPARE(watched(path), usable.contains(path) ? path : QString());
        }
        const QVariantList bad = {"etc", "", QDir::rootPath() + QString(5000, 'x'), {}};
        for (const QVariant &disk : bad + computer::relativePaths()) {
            QCOMPARE(watched(disk), QDir::rootPath());
        }
    }
};

KVG_TEST_MAIN(TestPlugins)
#include "tst_plugins.moc"
