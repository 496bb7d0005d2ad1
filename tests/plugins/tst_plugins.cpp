#include "tests/support/testmain.h"
#include "things/abstractthingtype.h"
#include "things/qabstractthing.h"

#include <QJsonArray>
#include <QPluginLoader>
#include <QStorageInfo>

#include <memory>

namespace {

using ThingPointer = std::unique_ptr<QAbstractThing>;

// A plugin as the gateway finds it, and the defaults of its description.
struct Plugin
{
    explicit Plugin(const QString &name)
        : loader(QStringLiteral(KVG_PLUGIN_DIR "/thing_") + name)
        , root(loader.instance())
        , type(qobject_cast<AbstractThingType *>(root))
        , keyed(qobject_cast<KeyedThingType *>(root))
    {
        const QJsonArray settings = description()["settings"].toArray();
        for (const QJsonValue &setting : settings) {
            defaults[setting["name"].toString()] = setting["value"].toVariant();
        }
    }
    QJsonObject description() const { return loader.metaData()["MetaData"].toObject(); }
    QVariantHash with(const QString &name, const QVariant &value) const
    {
        QVariantHash settings = defaults;
        settings[name] = value;
        return settings;
    }
    QHash<QString, QVariant> discover(const QVariantHash &settings) const
    {
        if (auto *configurable = qobject_cast<ConfigurableThingType *>(root)) {
            configurable->configure(settings);
        }
        return type->discover();
    }
    // All things of the type, as a scan makes them.
    std::vector<ThingPointer> things(const QVariantHash &settings) const
    {
        std::vector<ThingPointer> result;
        const auto devices = discover(settings);
        for (auto device = devices.begin(); device != devices.end(); ++device) {
            result.emplace_back(type->create(device.key(), device.value(), settings, nullptr));
        }
        return result;
    }
    // The only device of the host type; one lamp, when the settings leave just one.
    ThingPointer thing(const QVariantHash &settings) const
    {
        return std::move(things(settings).front());
    }

    QPluginLoader loader;
    QObject *root;
    AbstractThingType *type;
    KeyedThingType *keyed;
    QVariantHash defaults;
};

double procMemory(const QByteArray &name) // MiB
{
    QFile file("/proc/meminfo");
    file.open(QIODevice::ReadOnly);
    for (const QByteArray &line : file.readAll().split('\n')) {
        if (line.startsWith(name + ':')) {
            return line.simplified().split(' ').at(1).toDouble() / 1024;
        }
    }
    return -1;
}

} // namespace

class TestPlugins : public QObject
{
    Q_OBJECT

private slots:
    void shippedTypesKeepTheContract()
    {
        for (const QString name : {"host", "lamp"}) {
            const Plugin plugin(name);
            QVERIFY2(plugin.type, qPrintable(plugin.loader.errorString()));
            const QJsonObject description = plugin.description();
            QCOMPARE(description["name"].toString(), name);
            QCOMPARE(description["version"].toInt(), 1);
            QCOMPARE(description["type"].toString(), QString("thing"));
            QVERIFY(description["deps"].isArray());
            const QJsonArray settings = description["settings"].toArray();
            for (const QJsonValue &setting : settings) {
                QVERIFY(!setting["descr"].toString().isEmpty());
                if (setting["type"] == "int") {
                    QVERIFY(setting["min"].toInt(1) <= setting["value"].toInt(-1));
                    QVERIFY(setting["value"].toInt() <= setting["max"].toInt(-1));
                }
            }
            const Plugin other(name == "host" ? "lamp" : "host");
            const ThingPointer foreign = other.thing(other.defaults);
            const auto devices = plugin.discover(plugin.defaults);
            QCOMPARE(devices, plugin.discover(plugin.defaults));
            for (auto device = devices.begin(); device != devices.end(); ++device) {
                const auto create = [&](const QString &key) {
                    return ThingPointer(
                        plugin.type->create(key, device.value(), plugin.defaults, nullptr));
                };
                const ThingPointer thing = create(device.key());
                QCOMPARE(thing->type(), name);
                QVERIFY(!QRegularExpression("[#+_\\0]").match(thing->serial()).hasMatch());
                for (const QString &key : devices.keys() + QStringList{"", "x", "lamp-0"}) {
                    QCOMPARE(plugin.type->claims(key, thing.get()), key == device.key());
                    QVERIFY(!plugin.type->claims(key, foreign.get()));
                    QVERIFY(!plugin.type->claims(key, nullptr));
                }
                if (plugin.keyed) {
                    QCOMPARE(plugin.keyed->deviceKey(thing.get()), device.key());
                    QCOMPARE(plugin.keyed->deviceKey(foreign.get()), QString());
                }
                QVERIFY(!create(device.key() + "0") && !create(""));
            }
        }
    }

    void lampCountIsChecked()
    {
        const Plugin plugin("lamp");
        const auto lamps = [&](const QVariant &count) {
            QSet<QString> serials;
            for (const ThingPointer &lamp : plugin.things(plugin.with("count", count))) {
                serials << (lamp->isActive() ? lamp->serial() : QString());
            }
            return serials;
        };
        QVERIFY(lamps(0).isEmpty());
        QCOMPARE(lamps("2"), (QSet<QString>{"0001", "0002"}));
        QCOMPARE(lamps(10000).size(), 10000);
        for (const QVariant &bad : std::initializer_list<QVariant>{10001,
                                                                   -1,
                                                                   "many",
                                                                   2.5,
                                                                   qInf(),
                                                                   qQNaN(),
                                                                   Q_INT64_C(1) << 32,
                                                                   QVariantList{5},
                                                                   {}}) {
            QCOMPARE(lamps(bad).size(), 3);
        }
    }

    void fewerLampsEndTheOthersOnce()
    {
        const Plugin plugin("lamp");
        for (const bool byScan : {true, false}) {
            const auto lamps = plugin.things(plugin.with("count", 10000));
            QStringList gone;
            for (const ThingPointer &lamp : lamps) {
                connect(lamp.get(), &QAbstractThing::mediumGone,
                        [&gone, serial = lamp->serial()] { gone << serial; });
            }
            for (const int count : {9999, 1, 10000}) {
                plugin.discover(plugin.with("count", byScan ? count : 10000));
                for (const ThingPointer &lamp : lamps) {
                    lamp->setSettings(plugin.with("count", byScan ? 10000 : count));
                }
            }
            QCOMPARE(gone.size(), 9999);
            QCOMPARE(gone.first(), QString("10000"));
            QVERIFY(!gone.contains("0001"));
            // One that has ended stands for no device any more: a new one takes its place.
            for (const ThingPointer &lamp : lamps) {
                const bool ended = lamp->serial() != "0001";
                QCOMPARE(plugin.keyed->deviceKey(lamp.get()).isEmpty(), ended);
                QCOMPARE(lamp->applyUpdate({{"brightness", 1}}), !ended);
            }
        }
    }

    void lampUpdatesTakeWhatMakesSense()
    {
        using Object = QJsonObject;
        QList<QPair<Object, Object>> table = {
            {{}, {}},
            {{{"on", false}, {"brightness", 0}, {"color", "#0aF09b"}},
             {{"on", false}, {"brightness", 0}, {"color", "#0af09b"}}},
            {{{"on", true}, {"brightness", 100}, {"color", "#FFFFFF"}}, {}},
            {{{"on", "false"}, {"brightness", 101}, {"color", "#000000"}}, {{"color", "#000000"}}},
            {{{"On", false}, {"serial", "x"}}, {}}};
        for (const QJsonValue &bad : std::initializer_list<QJsonValue>{
                 -1, 50.5, 1e300, "50", Object{{"on", false}}, QJsonArray{false}, QJsonValue(),
                 "#fffff", "#0000000", "0000000", "#00000g", "#+12345", "#-00001", "# 12345", "",
                 "#\u0661\u0661\u0661\u0661\u0661\u0661"}) {
            table << qMakePair(Object{{"on", bad}, {"brightness", bad}, {"color", bad}}, Object());
        }
        const Plugin plugin("lamp");
        QVariantHash settings = plugin.with("count", 1);
        settings["start_on"] = "true";
        for (const auto &[update, change] : qAsConst(table)) {
            const ThingPointer lamp = plugin.thing(settings);
            QJsonObject expected{{"on", true}, {"brightness", 100}, {"color", "#ffffff"}};
            QCOMPARE(lamp->state(), expected);
            for (auto member = change.begin(); member != change.end(); ++member) {
                expected[member.key()] = member.value();
            }
            QSignalSpy changed(lamp.get(), &QAbstractThing::stateChanged);
            QCOMPARE(lamp->applyUpdate(update), !change.isEmpty());
            QCOMPARE(lamp->state(), expected);
            QVERIFY(!lamp->applyUpdate(update));
            QCOMPARE(changed.count(), 0); // the gateway announces what it had changed
        }
    }

    void blinkingLampsToggleAndMayBeDeletedByIt()
    {
        const Plugin plugin("lamp");
        QVariantHash settings = plugin.with("count", 2);
        settings["blink"] = 1;
        auto lamps = plugin.things(settings);
        QStringList seen;
        for (const ThingPointer &lamp : lamps) {
            connect(lamp.get(), &QAbstractThing::stateChanged, [&](const QJsonObject &state) {
                seen << lamp->serial();
                QCOMPARE(state["on"].toBool(), true);
                (&lamp == &lamps[0] ? lamps[1] : lamps[0]).reset();
            });
        }
        QTRY_COMPARE(seen.size(), 1);
        const ThingPointer &last = lamps[0] ? lamps[0] : lamps[1];
        last->disconnect();
        QSignalSpy changed(last.get(), &QAbstractThing::stateChanged);
        QVERIFY(changed.wait());
        QCOMPARE(changed.first().first().toJsonObject()["on"].toBool(), false);
        settings["blink"] = 0;
        last->setSettings(settings);
        QVERIFY(!changed.wait(1500));
    }

    void hostFiguresAreThoseOfThisComputer()
    {
        const Plugin plugin("host");
        const ThingPointer host = plugin.thing(plugin.with("interval", 1));
        QVERIFY(QRegularExpression("^[0-9a-f]{12}$").match(host->serial()).hasMatch());
        QVERIFY(!QString::fromLatin1(QSysInfo::machineUniqueId()).contains(host->serial()));
        QCOMPARE(plugin.thing(plugin.defaults)->serial(), host->serial());
        QVERIFY(!host->isActive());
        QVERIFY(!host->applyUpdate({{"interval", 5}}));

        QSignalSpy changed(host.get(), &QAbstractThing::stateChanged);
        QTRY_VERIFY(host->isActive());
        QCOMPARE(changed.count(), 1);
        const QJsonObject state = changed.first().first().toJsonObject();
        QCOMPARE(state, host->state());
        QVERIFY(state["cpu"].isDouble());
        const double cpu = state["cpu"].toDouble();
        QVERIFY(cpu >= 0 && cpu <= 100 && qAbs(cpu * 10 - qRound(cpu * 10)) < 1e-6);
        const double total = procMemory("MemTotal");
        QVERIFY(qAbs(state["memory"]["total"].toDouble() - total) <= 1);
        QVERIFY(qAbs(state["memory"]["used"].toDouble() - (total - procMemory("MemAvailable"))) <
                total / 4);
        QCOMPARE(state["disk"]["path"].toString(), QString("/"));
        QCOMPARE(state["disk"]["total"].toDouble(), double(QStorageInfo("/").bytesTotal() >> 20));
        QFile uptime("/proc/uptime");
        QVERIFY(uptime.open(QIODevice::ReadOnly));
        const double now = uptime.readAll().split(' ').first().toDouble();
        QVERIFY(state["uptime"].toDouble() <= now && state["uptime"].toDouble() > now - 60);

        QVERIFY(changed.wait()); // the time goes on
        QVERIFY(changed.last().first().toJsonObject()["uptime"].toInt() > state["uptime"].toInt());
    }

    void hostWarnsFromTheLimitsOn()
    {
        const Plugin plugin("host");
        const ThingPointer host = plugin.thing(plugin.defaults);
        QTRY_VERIFY(host->isActive());
        const struct
        {
            QVariant stored;
            double limit;
        } rows[] = {{1, 1}, {"2", 2}, {100, 100}, {0, 90}, {101, 90}, {"x", 90}, {1.5, 90}};
        for (const auto &row : rows) {
            QVariantHash settings = plugin.defaults;
            for (const char *name : {"cpu_limit", "memory_limit", "disk_limit"}) {
                settings[name] = row.stored;
            }
            host->setSettings(settings);
            const QJsonObject state = host->state();
            const double disk = state["disk"]["total"].toDouble();
            const std::pair<const char *, double> used[] = {
                {"cpu", state["cpu"].toDouble()},
                {"memory",
                 100 * state["memory"]["used"].toDouble() / state["memory"]["total"].toDouble()},
                {"disk", 100 * (disk - state["disk"]["free"].toDouble()) / disk}};
            for (const auto &[name, percent] : used) {
                if (qAbs(percent - row.limit) > 0.5) { // the state's figures are rounded
                    QCOMPARE(state["warnings"].toArray().contains(name), percent > row.limit);
                }
            }
        }
    }

    void hostWatchesTheDiskItIsTold()
    {
        const Plugin plugin("host");
        const ThingPointer host = plugin.thing(plugin.with("disk", "/proc"));
        QVERIFY(!host->state().contains("disk")); // no space to speak of
        const auto watched = [&](const QVariant &disk) {
            host->setSettings(plugin.with("disk", disk));
            return host->state().value("disk")["path"].toString();
        };
        QCOMPARE(watched(QDir::tempPath()), QDir::tempPath());
        for (const QVariant &bad :
             std::initializer_list<QVariant>{"etc",
                                             "",
                                             7,
                                             QString('/' + QString(5000, 'x')),
                                             QVariantList{"/tmp"},
                                             {},
                                             QString(QString("/tmp") + QChar(0))}) {
            QCOMPARE(watched(bad), QString("/"));
        }
        host->setSettings(plugin.with("disk", "/nowhere/at/all"));
        QVERIFY(!host->state().contains("disk"));
    }
};

KVG_TEST_MAIN(TestPlugins)
#include "tst_plugins.moc"
