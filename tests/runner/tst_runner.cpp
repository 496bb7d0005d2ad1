#include "cloud/velmorcloudclient.h"
#include "runner/runnerthread.h"
#include "runner/zugatewrunner.h"
#include "settings/devicepool.h"
#include "settings/settingsstore.h"
#include "tests/support/fakething.h"
#include "tests/support/runnerresults.h"
#include "tests/support/testmain.h"
#include "things/gatewaything.h"

#include <QJsonArray>
#include <QPluginLoader>

class TestRunner : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QSettings().clear();
        for (const QByteArray &name : qApp->dynamicPropertyNames()) {
            qApp->setProperty(name.constData(), QVariant());
        }
        m_runner = std::make_unique<ZugatewRunner>();
        m_finished = std::make_unique<QSignalSpy>(m_runner.get(), &ZugatewRunner::finished);
        m_changed = std::make_unique<QSignalSpy>(m_runner.get(), &ZugatewRunner::thingChanged);
        m_runner->loadPlugins();
        QCOMPARE(results(), QStringList{"Load true"});
    }
    void cleanup() { m_runner.reset(); }

    void everyRequestEndsWithItsOwnResult()
    {
        m_runner->listPlugins();
        m_runner->rescan();
        m_runner->listThings();
        m_runner->connectToCloud(true);
        m_runner->cloudStatus();
        m_runner->registrationState();
        m_runner->resetGateway();
        m_runner->releaseThings();
        QCOMPARE(results(),
                 (QStringList{"Lsmod", "Rescan true", "Lsthings", "CConnect true", "CStatus",
                              "RegStatus 0", "CStatus", "DUnreg true", "ThingsGone true"}));
        m_runner->updatePool();
        m_runner->applyDeviceSettings();
        m_runner->resetDevPool();
        QVERIFY(m_finished->isEmpty());
    }

    void theStateOfTheLinkFollowsRegistrationAndCredentials()
    {
        GatewayThing gateway;
        LinkMonitor monitor(gateway);
        LinkState state;
        connect(&monitor, &LinkMonitor::changed, this, [&](const LinkState &now) { state = now; });
        monitor.report();
        QCOMPARE(state.kind, LinkState::NotRegistered);
        gateway.setRegid("G");
        monitor.refresh();
        QTRY_COMPARE(state.kind, LinkState::Unusable); // without key and certificate
        QVERIFY(state.failure.cause.contains("missing"));
    }

    void aDeviceIsAdoptedOnceHoweverOftenItIsSeen()
    {
        plug({"A", "B", "broken1", "X=A"}); // A has two keys
        QCOMPARE(shortids(), (QStringList{"gateway_200_?", "fake_1_A", "fake_1_B"}));
        plug({"A", "B", "C"});
        m_runner->rescan();
        QCOMPARE(shortids(), (QStringList{"gateway_200_?", "fake_1_A", "fake_1_B", "fake_1_C"}));

        qApp->setProperty("fake/devices", "D");
        QPluginLoader fake(qApp->applicationDirPath() + "/plugins/thing_fake");
        QMetaObject::invokeMethod(fake.instance(), "devicesChanged");
        QTRY_VERIFY(shortids().contains("fake_1_D"));
    }

    void aDisabledPluginHasNoThings()
    {
        SettingsStore().set(keys::CloudSerial, QString("S"));
        DevicePool::update([](DevicePool &pool) {
            pool.put({"gateway", "200", "S", "G", "Home"});
            pool.put({"fake", "1", "A", "1", "Lamp"});
        });
        SettingsStore().setPluginValue("fake", "enabled", false);
        plug({"A"});
        QCOMPARE(shortids(), QStringList{"gateway_200_S"});
        for (int round = 0; round < 2; ++round) {
            SettingsStore().setPluginValue("fake", "enabled", true);
            m_runner->applyDeviceSettings();
            QCOMPARE(results(), QStringList{"Rescan true"});
            QVERIFY(gateway()->hasSibling("fake_1_A_1"));
            m_runner->applyDeviceSettings(); // enabled as before
            QVERIFY(m_finished->isEmpty());
            m_changed->clear();
            SettingsStore().setPluginValue("fake", "enabled", false);
            m_runner->applyDeviceSettings();
            QCOMPARE(changes(), (QStringList{"gateway_200_S", "fake_1_A gone"}));
            QVERIFY(!gateway()->hasSibling("fake_1_A_1"));
            QVERIFY(m_finished->isEmpty());
        }
    }

    void aScanThatIsEnteredAgainFindsEachDeviceOnce()
    {
        qApp->setProperty("fake/during", 20);
        QMetaObject::invokeMethod(m_runner.get(), &ZugatewRunner::rescan, Qt::QueuedConnection);
        qApp->setProperty("fake/devices", QStringList{"A"});
        m_runner->rescan();
        QCOMPARE(results(), (QStringList{"Rescan true", "Rescan true"}));
        QCOMPARE(shortids(), (QStringList{"gateway_200_?", "fake_1_A"}));
        QCOMPARE(changes(), QStringList{"fake_1_A"});
        // Disabled while its devices are looked for, and enabled again in the next scan.
        qApp->setProperty("fake/devices", QStringList{"A", "B"});
        for (const bool enabled : {false, true}) {
            SettingsStore().setPluginValue("fake", "enabled", true);
            QTimer::singleShot(5, m_runner.get(), [this] {
                SettingsStore().setPluginValue("fake", "enabled", false);
                m_runner->applyDeviceSettings();
            });
            if (enabled) {
                QTimer::singleShot(10, m_runner.get(), [this] {
                    SettingsStore().setPluginValue("fake", "enabled", true);
                    m_runner->applyDeviceSettings();
                });
            }
            m_runner->rescan();
            QCOMPARE(shortids().size(), enabled ? 3 : 1);
        }
    }

    void stoppingWaitsForAPlugin()
    {
        qApp->setProperty("fake/during", 300);
        qApp->setProperty("fake/devices", QStringList{"A"});
        RunnerThread worker;
        const QPointer<ZugatewRunner> runner = worker.runner();
        QStringList order;
        connect(runner, &ZugatewRunner::finished, runner,
                [&order](int op) { order += QString::number(op); });
        connect(runner, &QObject::destroyed, runner, [&order] { order += "gone"; });
        worker.start();
        for (const auto slot : {&ZugatewRunner::loadPlugins, &ZugatewRunner::rescan}) {
            QMetaObject::invokeMethod(runner, slot, Qt::QueuedConnection);
        }
        worker.stop();
        QCOMPARE(order, (QStringList{"0", "1", "gone"}));
    }

    void anObjectThatCannotBecomeAWindowIsDeleted()
    {
        QSignalSpy created(m_runner.get(), &ZugatewRunner::deviceCreated);
        QThread other;
        other.start();
        const QPointer<QObject> ui = new QObject;
        ui->moveToThread(&other);
        qApp->setProperty("fake/ui", QVariant::fromValue(ui.data()));
        plug({"A"});
        QCOMPARE(created.value(0), (QVariantList{QVariant::fromValue<QObject *>(nullptr)}));
        QTRY_VERIFY(ui.isNull());
        other.quit();
        other.wait();
    }

    void settingsReachThingsTypedAndOverDefaults()
    {
        SettingsStore().setPluginValue("fake", "count", "7");
        SettingsStore().setPluginValue("fake", "bright", "perhaps");
        SettingsStore().setPluginValue("fake", "level", "nan");
        SettingsStore().set(keys::ReportInterval, 900);
        plug({"A"});
        const QVariantHash expected = {
            {"enabled", true}, {"count", 7}, {"bright", true}, {"level", 0.5}, {"note", "none"}};
        QCOMPARE(qApp->property("fake/settings").toHash(), expected);
        m_runner->applyDeviceSettings();
        QCOMPARE(thing("A")->settings, QList<QVariantHash>{expected});
        QCOMPARE(gateway()->reportInterval(), 900);
    }

    void aPluggedDeviceGetsItsNameAndIdBack()
    {
        DevicePool::update([](DevicePool &pool) {
            pool.put({"gateway", "200", "OLD", "void", "former"});
            pool.put({"gateway", "200", "NEW", "G", "Home"});
            pool.put({"fake", "1", "A", "1", "Lamp"});
        });
        SettingsStore().set(keys::CloudSerial, QString("NEW"));
        plug({"A", "B"});
        QCOMPARE(thing("A")->alias(), QString("Lamp"));
        QCOMPARE(gateway()->cloudid(), QString("gateway_200_NEW_G"));
        QVERIFY(gateway()->hasSibling("fake_1_A_1"));
        m_runner->registrationState();
        QCOMPARE(results(), QStringList{"RegStatus 1"});

        emit thing("B")->mediumGone();
        QCOMPARE(changes(), QStringList{"fake_1_B gone"});
        m_runner->registrationState();
        QCOMPARE(results(), QStringList{"RegStatus 2"});
        FakeThing *const lamp = thing("A");
        QSignalSpy deleted(lamp, &QObject::destroyed);
        emit lamp->mediumGone();
        emit lamp->mediumGone();
        QCOMPARE(changes(), (QStringList{"gateway_200_NEW", "fake_1_A gone"}));
        QTRY_COMPARE(deleted.size(), 1);
        plug({"A"});
        QCOMPARE(thing("A")->cloudid(), QString("fake_1_A_1"));
        QVERIFY(gateway()->hasSibling("fake_1_A_1"));
        m_runner->releaseThings(); // registered, but not in the cloud
        m_runner->registrationState();
        QCOMPARE(results(), (QStringList{"ThingsGone true", "RegStatus 1"}));
    }

    void aNameFromThePluginMustBeFree()
    {
        qApp->setProperty("fake/alias", "Lamp");
        plug({"A", "B"});
        QCOMPARE(thing("A")->alias() + thing("B")->alias(), QString("Lamp"));
        m_runner->renameThing("fake_1_A", "Torch");
        m_finished->clear();
        emit thing("A")->mediumGone();
        qApp->setProperty("fake/alias", "Torch");
        plug({"C"}); // A is called so in the pool
        QCOMPARE(thing("C")->alias(), QString());
    }

    void aVoidRegistrationAddsNoSiblings()
    {
        DevicePool::update([](DevicePool &pool) {
            pool.put({"gateway", "100", "X", "", "Of another version"});
            pool.put({"gateway", "200", "OLD", "", "Home"});
            pool.put({"fake", "1", "A", "1", "Lamp"});
        });
        plug({"A"});
        QCOMPARE(gateway()->alias(), QString("Home"));
        QCOMPARE(gateway()->state()["count"].toInt(), 0);
        m_runner->renameThing("gateway_200_?", "New");
        QCOMPARE(results(), QStringList{"TRename true"});
        m_changed->clear();
        m_runner->rescan();
        QCOMPARE(gateway()->alias(), QString("New"));
        QVERIFY(m_changed->isEmpty());
        m_runner->updatePool();
        QCOMPARE(gateway()->alias(), QString("New"));
        m_runner->renameThing("gateway_200_?", QString());
        m_runner->renameThing("fake_1_A", "Torch"); // drops the nameless gateway's entry
        m_changed->clear();
        m_runner->rescan();
        QCOMPARE(gateway()->alias(), QString("Home"));
        QCOMPARE(changes(), QStringList{"gateway_200_?"});
    }

    void renamingFindsTheRightThingAndKeepsNamesApart()
    {
        plug({"A", "AB"});
        for (const auto &[sid, alias] :
             {std::pair("fake_1_A", "one"), std::pair("fake_1_AB", "two"),
              std::pair("gateway_200_?", "gate"), std::pair("fake_1_A", "one")}) {
            m_runner->renameThing(sid, alias);
            QCOMPARE(results(), QStringList{"TRename true"});
        }
        QCOMPARE(thing("A")->alias(), QString("one"));
        QCOMPARE(thing("AB")->alias(), QString("two"));
        m_runner->renameThing("fake_1_A", "two");
        QCOMPARE(results(),
                 (QStringList{"Error Cannot rename to two - duplicate alias", "TRename false"}));
        m_runner->renameThing("xyz", "%1 three");
        QCOMPARE(results(),
                 (QStringList{"Error Cannot rename xyz: no such thing", "TRename false"}));
        QCOMPARE(DevicePool::read().indexOf("gateway_200_?"), -1); // went at the next write
        QCOMPARE(DevicePool::read().at(DevicePool::read().indexOf("fake_1_AB")).alias,
                 QString("two"));
    }

    void anEditedPoolIsFollowed()
    {
        SettingsStore().set(keys::CloudSerial, QString("S"));
        DevicePool::update([](DevicePool &pool) {
            pool.put({"gateway", "200", "S", "G", "Home"});
            pool.put({"fake", "1", "A", "1", "Lamp"});
            pool.put({"fake", "1", "B", "2", "Other"});
        });
        plug({"A", "B"});
        const auto *const client = m_runner->findChild<VelmorCloudClient *>();
        thing("A")->change({{"x", 1}});
        thing("B")->change({{"x", 1}});
        QCOMPARE(client->pendingCount(), 2);
        m_changed->clear();
        // Another id than the live thing's.
        DevicePool::update([](DevicePool &pool) { pool.put({"fake", "1", "A", "9", "Lamp"}); });
        m_runner->resetDevPool();
        QCOMPARE(changes(), (QStringList{"gateway_200_S", "fake_1_A"}));
        QVERIFY(thing("A")->regid().isEmpty());
        QVERIFY(gateway()->hasSibling("fake_1_B_2"));
        QCOMPARE(client->pendingCount(), 1); // B's

        DevicePool::update([](DevicePool &pool) {
            pool.put({"fake", "1", "B", "2", "Renamed"});
            pool.remove({"fake_1_A"});
        });
        m_runner->updatePool();
        QCOMPARE(changes(), (QStringList{"gateway_200_S", "fake_1_A", "fake_1_B"}));
        QCOMPARE(thing("A")->alias(), QString());
        QCOMPARE(thing("B")->alias(), QString("Renamed"));

        DevicePool::update([](DevicePool &pool) { pool.remove({"gateway_200_S"}); });
        m_runner->resetDevPool();
        QCOMPARE(results(), (QStringList{"CStatus", "DUnreg true"}));
        QVERIFY(gateway()->regid().isEmpty() && thing("B")->regid().isEmpty());
        QCOMPARE(client->pendingCount(), 0);
        QCOMPARE(gateway()->serial(), QString("?"));
        QCOMPARE(DevicePool::read().at(DevicePool::read().indexOf("fake_1_B")).regid, QString());
    }

    void thingsMayEndWhileTheyAreAsked()
    {
        plug({"A", "B", "C"});
        thing("A")->vanishesWhenAsked = true;
        delete thing("B"); // without a word
        QCOMPARE(shortids(), (QStringList{"gateway_200_?", "fake_1_C"}));
        QVERIFY(changes().contains("fake_1_B gone"));
        thing("C")->vanishesWhenAsked = true;
        m_runner->renameThing("fake_1_C", "c");
        QCOMPARE(results(), QStringList{"TRename true"});
        QCOMPARE(changes().last(), QString("fake_1_C gone")); // and nothing of it afterwards
        plug({"A", "B", "C"});
        QCOMPARE(shortids().size(), 4);
    }

    void changesOfAThingAreReported()
    {
        plug({"A"});
        emit thing("A")->stateChanged({{"x", 1}}); // not what state() says
        QCOMPARE(m_changed->takeFirst().first().value<ThingState>().state, (QJsonObject{{"x", 1}}));
        thing("A")->changeSerial("Z");
        QCOMPARE(changes(), (QStringList{"fake_1_A gone", "fake_1_Z"}));
    }

private:
    void plug(const QStringList &keys)
    {
        qApp->setProperty("fake/devices", keys);
        m_runner->rescan();
        QCOMPARE(results(), QStringList{"Rescan true"});
        m_changed->clear();
    }
    QStringList results() { return takeResults(*m_finished); }
    QStringList changes()
    {
        QStringList texts;
        while (!m_changed->isEmpty()) {
            const auto record = m_changed->takeFirst().first().value<ThingState>();
            texts.append(record.shortid + (record.gone ? " gone" : ""));
        }
        return texts;
    }
    QStringList shortids()
    {
        m_runner->listThings();
        QStringList ids;
        const auto list = m_finished->takeLast().at(1).value<ThingStateList>();
        for (const ThingState &record : list) {
            ids.append(record.shortid);
        }
        return ids;
    }
    FakeThing *thing(const QString &serial) const
    {
        return static_cast<FakeThing *>(m_runner->findChild<QAbstractThing *>(serial));
    }
    GatewayThing *gateway() const { return m_runner->findChild<GatewayThing *>(); }

    std::unique_ptr<ZugatewRunner> m_runner;
    std::unique_ptr<QSignalSpy> m_finished;
    std::unique_ptr<QSignalSpy> m_changed;
};

KVG_TEST_MAIN(TestRunner)
#include "tst_runner.moc"
