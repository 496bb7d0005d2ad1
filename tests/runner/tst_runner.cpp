#include "runner/runnerthread.h"
#include "runner/zugatewrunner.h"
#include "settings/devicepool.h"
#include "settings/settingsstore.h"
#include "tests/support/fakething.h"
#include "tests/support/testmain.h"
#include "things/gatewaything.h"

#include <QJsonArray>
#include <QThread>

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
    void cleanup()
    {
        m_finished.reset();
        m_changed.reset();
        m_runner.reset();
    }

    void everyRequestEndsWithItsOwnResult()
    {
        m_runner->listPlugins();
        QCOMPARE(m_finished->takeFirst().at(1).toJsonObject().keys(), QStringList{"fake"});
        m_runner->rescan();
        m_runner->listThings();
        m_runner->connectToCloud(true);
        m_runner->cloudStatus();
        m_runner->registrationState();
        m_runner->resetGateway();
        m_runner->releaseThings();
        QCOMPARE(results(),
                 (QStringList{"Rescan true", "Lsthings", "CConnect true", "CStatus", "RegStatus 0",
                              "CStatus", "DUnreg true", "ThingsGone true"}));
        m_runner->updatePool();
        m_runner->applyDeviceSettings();
        m_runner->resetDevPool();
        QVERIFY(m_finished->isEmpty());
    }

    void aDeviceIsAdoptedOnceHoweverOftenItIsSeen()
    {
        plug({"A", "B", "broken1", "X=A"}); // A has two keys
        QCOMPARE(shortids(), (QStringList{"gateway_200_?", "fake_1_A", "fake_1_B"}));
        plug({"A", "B", "C"});
        m_runner->rescan();
        QCOMPARE(shortids(), (QStringList{"gateway_200_?", "fake_1_A", "fake_1_B", "fake_1_C"}));
        qApp->setProperty("fake/claims", 0);
        m_runner->rescan();
        QCOMPARE(qApp->property("fake/claims").toInt(), 3); // one question for each device
    }

    void aDisabledPluginIsNotAsked()
    {
        SettingsStore().setPluginValue("fake", "enabled", false);
        plug({"A"});
        QCOMPARE(qApp->property("fake/asked").toInt(), 0);
        SettingsStore().setPluginValue("fake", "enabled", "garbage"); // counts as absent
        m_runner->rescan();
        QCOMPARE(qApp->property("fake/asked").toInt(), 1);
    }

    void settingsReachThingsTypedAndOverDefaults()
    {
        {
            SettingsStore store;
            store.setPluginValue("fake", "count", "7");
            store.setPluginValue("fake", "bright", "perhaps");
            store.setPluginValue("fake", "level", "nan");
            store.setPluginValue("fake", "unknown", "kept");
            store.set(keys::ReportInterval, 900);
        }
        plug({"A"});
        const QVariantHash expected = {
            {"count", 7}, {"bright", true}, {"level", 0.5}, {"note", "none"}, {"unknown", "kept"}};
        QCOMPARE(qApp->property("fake/settings").toHash(), expected);
        m_runner->applyDeviceSettings();
        QCOMPARE(thing("A")->settings, QList<QVariantHash>{expected});
        QCOMPARE(gateway()->reportInterval(), 900);
        QVERIFY(m_finished->isEmpty());
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
        QCOMPARE(gateway()->alias(), QString("Home"));
        QVERIFY(gateway()->hasSibling("fake_1_A_1"));
        QCOMPARE(state(), int(ZugatewRunner::PartiallyRegistered));

        m_changed->clear();
        emit thing("B")->mediumGone();
        QCOMPARE(changes(), QStringList{"fake_1_B gone"});
        QCOMPARE(state(), int(ZugatewRunner::Complete));
        m_changed->clear();
        FakeThing *const lamp = thing("A");
        QSignalSpy deleted(lamp, &QObject::destroyed);
        emit lamp->mediumGone();
        emit lamp->mediumGone();
        QCOMPARE(changes(), (QStringList{"gateway_200_NEW", "fake_1_A gone"}));
        QTRY_COMPARE(deleted.size(), 1);
        plug({"A"});
        QCOMPARE(thing("A")->cloudid(), QString("fake_1_A_1"));
        QVERIFY(gateway()->hasSibling("fake_1_A_1"));
    }

    void aVoidRegistrationAddsNoSiblings()
    {
        DevicePool::update([](DevicePool &pool) {
            pool.put({"gateway", "200", "OLD", "", "Home"});
            pool.put({"fake", "1", "A", "1", "Lamp"});
        });
        plug({"A"});
        QCOMPARE(gateway()->alias(), QString("Home"));
        QCOMPARE(gateway()->state()["count"].toInt(), 0);
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
        m_runner->renameThing("fake_1_A", "gate");
        QCOMPARE(results().last(), QString("TRename false"));
        m_runner->renameThing("xyz", "%1 three");
        QCOMPARE(results(),
                 (QStringList{"Error Cannot rename xyz: no such thing", "TRename false"}));
        m_runner->renameThing("fake_1_A", "");
        m_runner->renameThing("fake_1_AB", ""); // another thing's empty alias counts as taken
        QCOMPARE(results().filter("TRename"), (QStringList{"TRename true", "TRename false"}));
        QCOMPARE(DevicePool::read().indexOf("gateway_200_?"), -1); // went at the next write
        QCOMPARE(DevicePool::read().at(DevicePool::read().indexOf("fake_1_AB")).alias,
                 QString("two"));
    }

    void anEditedPoolIsFollowed()
    {
        const auto reset = [](const QString &regid) {
            DevicePool::update([&](DevicePool &pool) {
                pool.put({"gateway", "200", "S", "G", "Home"});
                pool.put({"fake", "1", "A", regid, "Lamp"});
                pool.put({"fake", "1", "B", "2", "Other"});
            });
        };
        SettingsStore().set(keys::CloudSerial, QString("S"));
        reset("1");
        plug({"A", "B"});
        reset("9"); // another id than the live thing's
        m_changed->clear();
        m_runner->resetDevPool();
        QCOMPARE(changes(), (QStringList{"gateway_200_S", "fake_1_A"}));
        QVERIFY(thing("A")->regid().isEmpty());
        QVERIFY(gateway()->hasSibling("fake_1_B_2"));

        DevicePool::update([](DevicePool &pool) {
            pool.put({"fake", "1", "B", "2", "Renamed"});
            pool.remove("fake_1_A");
        });
        m_changed->clear();
        m_runner->updatePool();
        QCOMPARE(changes(), (QStringList{"gateway_200_S", "fake_1_A", "fake_1_B"}));
        QCOMPARE(thing("A")->alias(), QString());
        QCOMPARE(thing("B")->alias(), QString("Renamed"));
        QVERIFY(m_finished->isEmpty());

        DevicePool::update([](DevicePool &pool) { pool.remove("gateway_200_S"); });
        m_runner->resetDevPool();
        QCOMPARE(results(), (QStringList{"CStatus", "DUnreg true"}));
        QVERIFY(gateway()->regid().isEmpty() && thing("B")->regid().isEmpty());
        QCOMPARE(gateway()->serial(), QString("?"));
        QCOMPARE(DevicePool::read().at(DevicePool::read().indexOf("fake_1_B")).regid, QString());
    }

    void thingsMayEndWhileTheyAreAsked()
    {
        plug({"A", "B", "C"});
        thing("A")->vanishesWhenAsked = true;
        delete thing("B"); // without a word
        m_runner->listThings();
        const auto list = m_finished->takeFirst().at(1).value<ThingStateList>();
        QCOMPARE(list.size(), 2);
        QCOMPARE(list.at(1).shortid, QString("fake_1_C"));
        QVERIFY(changes().contains("fake_1_B gone"));
        thing("C")->vanishesWhenAsked = true;
        m_runner->renameThing("fake_1_C", "c");
        QCOMPARE(results(), QStringList{"TRename true"});
        QCOMPARE(changes().last(), QString("fake_1_C gone")); // and nothing of it afterwards
        plug({"A", "B", "C"});
        QCOMPARE(shortids().size(), 4);
    }

    void aNewSerialEndsTheOldRecord()
    {
        plug({"A"});
        m_changed->clear();
        thing("A")->changeSerial("A");
        QCOMPARE(changes(), QStringList{"fake_1_A"});
        m_changed->clear();
        thing("A")->changeSerial("Z");
        QCOMPARE(changes(), (QStringList{"fake_1_A gone", "fake_1_Z"}));
    }

    void statesAreReportedAsTheyCame()
    {
        plug({"A"});
        m_changed->clear();
        emit thing("A")->stateChanged({{"x", 1}});
        const auto record = m_changed->first().first().value<ThingState>();
        QCOMPARE(record.state, (QJsonObject{{"x", 1}})); // not what state() says
        QVERIFY(!record.gone);
        m_changed->clear();
        m_runner->releaseThings();
        QCOMPARE(changes(), QStringList{"fake_1_A gone"});
    }

    void interfaceObjectsGoToTheInterfaceThread()
    {
        qApp->setProperty("fake/ui", true);
        qApp->setProperty("fake/devices", QStringList{"A"});
        RunnerThread worker;
        QSignalSpy created(worker.runner(), &ZugatewRunner::deviceCreated);
        QSignalSpy finished(worker.runner(), &ZugatewRunner::finished);
        QCOMPARE(worker.runner()->thread() == thread(), false);
        const auto children = worker.runner()->findChildren<QObject *>();
        for (const QObject *const child : children) {
            QCOMPARE(child->thread(), worker.runner()->thread());
        }
        worker.start();
        QMetaObject::invokeMethod(worker.runner(), "loadPlugins");
        QMetaObject::invokeMethod(worker.runner(), "rescan");
        QTRY_COMPARE(finished.size(), 2);
        QTRY_COMPARE(created.size(), 1);
        std::unique_ptr<QObject> ui(created.first().first().value<QObject *>());
        QVERIFY(ui && ui->thread() == thread() && ui->parent() == nullptr);
        QPointer<ZugatewRunner> runner = worker.runner();
        worker.stop();
        QVERIFY(runner.isNull()); // died with its thread
    }

private:
    void plug(const QStringList &keys)
    {
        qApp->setProperty("fake/devices", keys);
        m_runner->rescan();
        QCOMPARE(results(), QStringList{"Rescan true"});
    }
    // What finished() told since the last call.
    QStringList results()
    {
        QStringList texts;
        while (!m_finished->isEmpty()) {
            const QVariantList arguments = m_finished->takeFirst();
            const auto operation = ZugatewRunner::Operation(arguments.at(0).toInt());
            QString text = QVariant::fromValue(operation).toString();
            if (arguments.at(1).canConvert(QMetaType::QString)) {
                text += ' ' + arguments.at(1).toString();
            }
            texts.append(text);
        }
        return texts;
    }
    QStringList changes() const
    {
        QStringList texts;
        for (const QVariantList &arguments : *m_changed) {
            const auto record = arguments.first().value<ThingState>();
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
    int state()
    {
        m_runner->registrationState();
        return m_finished->takeLast().at(1).toInt();
    }
    FakeThing *thing(const QString &serial) const
    {
        const auto things = m_runner->findChildren<QAbstractThing *>();
        for (QAbstractThing *const candidate : things) {
            if (candidate->type() == "fake" && candidate->serial() == serial) {
                return static_cast<FakeThing *>(candidate);
            }
        }
        return nullptr;
    }
    GatewayThing *gateway() const { return m_runner->findChild<GatewayThing *>(); }

    std::unique_ptr<ZugatewRunner> m_runner;
    std::unique_ptr<QSignalSpy> m_finished;
    std::unique_ptr<QSignalSpy> m_changed;
};

KVG_TEST_MAIN(TestRunner)
#include "tst_runner.moc"
