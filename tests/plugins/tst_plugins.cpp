#include "tests/plugins/computer.h"
#include "tests/support/testmain.h"
#include "things/abstractthingtype.h"
#include "things/qabstractthing.h"

#include <QJsonArray>
#include <QPluginLoader>

#include <memory>

namespace {

using ThingPointer = std::unique_ptr<QAbstractThing>;

// A plugin as the gateway finds it.
struct Plugin
{
    explicit Plugin(const QString &name)
        : loader(QStringLiteral(KVG_PLUGIN_DIR "/thing_") + name)
        , type(qobject_cast<AbstractThingType *>(loader.instance()))
    {
    }
    // All things of the type, as a scan makes them.
    std::vector<ThingPointer> things(const QVariantHash &settings) const
    {
        if (auto *configurable = qobject_cast<ConfigurableThingType *>(loader.instance())) {
            configurable->configure(settings);
        }
        std::vector<ThingPointer> result;
        const auto devices = type->discover();
        for (auto device = devices.begin(); device != devices.end(); ++device) {
            result.emplace_back(type->create(device.key(), device.value(), settings, nullptr));
        }
        return result;
    }
    ThingPointer thing(const QVariantHash &settings) const
    {
        return std::move(things(settings).front());
    }

    mutable QPluginLoader loader;
    AbstractThingType *type;
};

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
            const auto devices = plugin.type->discover();
            QVERIFY(!devices.isEmpty());
            for (auto device = devices.begin(); device != devices.end(); ++device) {
                QObject *ui = nullptr;
                const auto create = [&](const QString &key) {
                    return ThingPointer(plugin.type->create(key, device.value(), {}, &ui));
                };
                const ThingPointer thing = create(device.key());
                QCOMPARE(thing->type(), name);
                QVERIFY(!QRegularExpression("[#+_\\0]").match(thing->serial()).hasMatch());
                for (const QString &key : devices.keys() + QStringList{"", "x", "lamp-0"}) {
                    QCOMPARE(plugin.type->claims(key, thing.get()), key == device.key());
                }
                QVERIFY(!create(device.key() + "0") && !create(""));
                const std::unique_ptr<QObject> owned(ui);
                QVERIFY(!ui || (!ui->parent() &&
                                ui->metaObject()->indexOfMethod("createWidget(QWidget*)") >= 0));
            }
        }
    }

    void lampCountIsChecked()
    {
        const Plugin plugin("lamp");
        QVERIFY(plugin.things({{"count", 0}}).empty());
        QCOMPARE(plugin.thing({{"count", "1"}})->serial(), QString("0001"));
        for (const QVariant &bad : QVariantList{10001, -1, "many", 2.5, qQNaN(), qInf(), {}}) {
            QCOMPARE(plugin.things({{"count", bad}}).size(), size_t(3));
        }

        // One that has ended says so once and stands for no device any more.
        auto *const keyed = qobject_cast<KeyedThingType *>(plugin.loader.instance());
        const auto lamps = plugin.things({{"count", 2}});
        int gone = 0;
        for (const ThingPointer &lamp : lamps) {
            connect(lamp.get(), &QAbstractThing::mediumGone, [&gone] { ++gone; });
        }
        plugin.things({{"count", 1}});
        for (const ThingPointer &lamp : lamps) {
            lamp->setSettings({{"count", 1}});
            QCOMPARE(keyed->deviceKey(lamp.get()).isEmpty(), lamp->serial() != "0001");
        }
        QCOMPARE(gone, 1);
    }

    void lampUpdatesTakeWhatMakesSense()
    {
        const Plugin plugin("lamp");
        const ThingPointer lamp = plugin.thing({{"start_on", "true"}});
        QJsonObject state{{"on", true}, {"brightness", 100}, {"color", "#ffffff"}};
        QCOMPARE(lamp->state(), state);
        state = {{"on", false}, {"brightness", 0}, {"color", "#0af09b"}};
        QVERIFY(lamp->applyUpdate({{"on", false}, {"brightness", 0}, {"color", "#0aF09b"}}));
        QCOMPARE(lamp->state(), state);
        QVERIFY(!lamp->applyUpdate(state));
        for (const QJsonValue bad :
             QJsonArray{-1, 50.5, 1e300, "50", QJsonObject{{"on", true}}, QJsonValue(), "#fffff",
                        "#0000000", "0000000", "#00000g", "#+12345", "# 12345", ""}) {
            QVERIFY(!lamp->applyUpdate({{"on", bad}, {"brightness", bad}, {"color", bad}}));
            QCOMPARE(lamp->state(), state);
        }
        QVERIFY(lamp->applyUpdate({{"on", "true"}, {"brightness", 101}, {"color", "#000000"}}));
        state["color"] = "#000000";
        QCOMPARE(lamp->state(), state);
    }

    void aBlinkingLampMayDeleteTheOther()
    {
        const Plugin plugin("lamp");
        auto lamps = plugin.things({{"count", 2}, {"blink", 1}});
        int seen = 0;
        for (const ThingPointer &lamp : lamps) {
            connect(lamp.get(), &QAbstractThing::stateChanged, [&](const QJsonObject &state) {
                QCOMPARE(state["on"].toBool(), seen++ % 2 == 0);
                (&lamp == &lamps[0] ? lamps[1] : lamps[0]).reset();
            });
        }
        QTRY_VERIFY_WITH_TIMEOUT(seen >= 2, 30000);
    }

    void hostFiguresAreThoseOfThisComputer()
    {
        const Plugin plugin("host");
        const ThingPointer host = plugin.thing({{"interval", 1}});
        QVERIFY(QRegularExpression("^[0-9a-f]{12}$").match(host->serial()).hasMatch());
        QVERIFY(!QString::fromLatin1(QSysInfo::machineUniqueId()).contains(host->serial()));
        QCOMPARE(plugin.thing({})->serial(), host->serial());

        QSignalSpy changed(host.get(), &QAbstractThing::stateChanged);
        QTRY_VERIFY_WITH_TIMEOUT(host->isActive(), 30000);
        const QJsonObject state = changed.first().first().toJsonObject();
        const double cpu = state["cpu"].toDouble(-1);
        QVERIFY(cpu >= 0 && cpu <= 100);
        const double memory = computer::memory() / (1 << 20);
        QVERIFY(qAbs(state["memory"]["total"].toDouble() - memory) <= 1);
        QTRY_VERIFY(host->state()["uptime"].toInt() > state["uptime"].toInt(INT_MAX));
    }

    void hostSettingsAreChecked()
    {
        const Plugin plugin("host");
        const ThingPointer host = plugin.thing({});
        const auto warnings = [&](const QVariant &limit) {
            host->setSettings({{"memory_limit", limit}});
            return host->state()["warnings"].toArray();
        };
        QVERIFY(warnings(1).contains("memory"));
        for (const QVariant &bad : QVariantList{0, -1, 1.5, "x", {}}) {
            QCOMPARE(warnings(bad), warnings(90));
        }
        QVERIFY(!warnings(100).contains("memory"));

        const auto watched = [&](const QVariant &disk) {
            host->setSettings({{"disk", disk}});
            return host->state().value("disk")["path"].toString();
        };
        for (const QString &usable : computer::folders()) {
            QCOMPARE(watched(usable), usable);
        }
        const QVariantList bad = {"etc", "", QDir::rootPath() + QString(5000, 'x'), {}};
        for (const QVariant &disk : bad + computer::relativePaths()) {
            QCOMPARE(watched(disk), QDir::rootPath());
        }
        for (const QString &unusable : computer::placesWithoutSpace()) {
            QVERIFY2(watched(unusable).isEmpty(), qPrintable(unusable));
        }
    }
};

KVG_TEST_MAIN(TestPlugins)
#include "tst_plugins.moc"
