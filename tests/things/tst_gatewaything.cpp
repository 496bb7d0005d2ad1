#include "cloud/credentialstore.h"
#include "runner/metatypes.h"
#include "settings/settingsstore.h"
#include "tests/support/fakething.h"
#include "tests/support/testbroker.h"
#include "tests/support/testmain.h"
#include "things/gatewaything.h"

#include <QJsonArray>

class TestGatewayThing : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        registerMetaTypes();
        QVERIFY(m_broker.start());
        m_credentials = m_broker.issue("gateway");
    }
    void init() { QSettings().clear(); }
    void cleanup() { CredentialStore().removeCredentials(); }

    void aReplyIsAppliedToGatewayAndFleet()
    {
        GatewayThing gateway;
        FakeThing a("A", this);
        FakeThing ab("AB", this);
        QSignalSpy serial(&gateway, &QAbstractThing::serialChanged);
        QSignalSpy settings(&gateway, &GatewayThing::settingsChanged);
        // The shorter serial comes first: its prefix owns the other's id, too.
        QVERIFY(gateway.applyRegistration(reply(), {&a, &ab}));
        QCOMPARE(gateway.cloudid(), QString("gateway_200_S1_G"));
        QCOMPARE(serial.value(0), (QVariantList{"?", "S1"}));
        QCOMPARE(settings.size(), 1);
        QCOMPARE(SettingsStore().value(keys::CloudPort), 1883U);
        QVERIFY(gateway.holdsCredentials());
        QCOMPARE(a.cloudid(), QString("fake_1_A_1"));
        QCOMPARE(ab.cloudid(), QString("fake_1_AB_2"));
        QCOMPARE(ab.alias(), QString("Lamp AB"));
        QVERIFY(gateway.hasSibling("fake_1_A_1") && gateway.hasSibling("fake_1_AB_2"));
        QCOMPARE(gateway.state(), (QJsonObject{{"count", 2}}));
    }

    void anOddReplyChangesNoMoreThanItMay_data()
    {
        QTest::addColumn<QString>("member");
        QTest::addColumn<QJsonValue>("value");
        QTest::addColumn<QString>("regid");
        QTest::addColumn<int>("port");
        const int asked = 1883;
        QTest::newRow("three parts") << "id" << QJsonValue("gateway_200_S1") << "" << asked;
        QTest::newRow("no cred") << "cred" << QJsonValue(QJsonValue::Undefined) << "" << asked;
        QTest::newRow("port 65536") << "port" << QJsonValue(65536) << "G" << 8883;
        QTest::newRow("fleet is no list") << "fleet" << QJsonValue("x") << "G" << asked;
    }
    void anOddReplyChangesNoMoreThanItMay()
    {
        QFETCH(QString, member);
        QFETCH(QJsonValue, value);
        GatewayThing gateway;
        QJsonObject odd = reply();
        odd[member] = value;
        QVERIFY(gateway.applyRegistration(odd, {}));
        QTEST(gateway.regid(), "regid");
        QTEST(int(SettingsStore().value(keys::CloudPort)), "port");
    }

    void siblingsComeAndGoWithoutDanglers()
    {
        GatewayThing gateway;
        QObject owner;
        auto *const thing = new FakeThing("A", &owner);
        thing->setRegid("1");
        QVERIFY(gateway.addSibling(thing));
        QVERIFY(!gateway.addSibling(thing));
        thing->setRegid("2"); // nobody tells the gateway
        QVERIFY(gateway.addSibling(thing));
        QVERIFY(!gateway.hasSibling("fake_1_A_1") && gateway.hasSibling("fake_1_A_2"));
        thing->changeSerial("B");
        QVERIFY(gateway.hasSibling("fake_1_B_2"));
        QCOMPARE(gateway.state()["count"].toInt(), 1);
        thing->setRegid("3");
        QVERIFY(gateway.removeSibling(thing)); // found by its pointer
        QVERIFY(gateway.addSibling(thing));
        delete thing;
        QCOMPARE(gateway.state()["count"].toInt(), 0);

        QPointer<FakeThing> adopted = new FakeThing("C");
        gateway.addSibling(adopted);
        QCOMPARE(adopted->parent(), &gateway);
        gateway.removeSibling(adopted->cloudid());
        QTRY_VERIFY(adopted.isNull());
    }

    // States out, updates in, over a real broker.
    void statesAndUpdatesTravel()
    {
        QObject owner;
        GatewayThing gateway;
        auto *const lamp = new FakeThing("A", &owner);
        auto *const silent = new FakeThing("B", &owner);
        silent->current = {};
        QJsonObject registration = reply();
        registration["port"] = m_broker.port();
        registration["fleet"] =
            QJsonArray{QJsonObject{{"id", "fake_1_A_1"}}, QJsonObject{{"id", "fake_1_B_2"}}};
        QVERIFY(gateway.applyRegistration(registration, {lamp, silent}));
        HostProcess watcher;
        // A retained message tells when the subscription stands.
        send("ready", "1", "-r");
        watcher.start("mosquitto_sub",
                      m_broker.clientArguments(m_credentials, {"-v", "-t", "things/+/state", "-t",
                                                               "things/ready/update"}));
        QCOMPARE(next(watcher), QString("things/ready/update 1"));
        QSignalSpy connectivity(&gateway, &GatewayThing::connectivityChanged);
        lamp->change({{"before", 1}}); // waits for the connection
        QVERIFY(gateway.connectToCloud(false));
        QTRY_COMPARE(connectivity.size(), 1);
        QCOMPARE(next(watcher), QString(R"(things/fake_1_A_1/state {"before":1})"));
        QTRY_COMPARE(lamp->published, 1);

        gateway.reportStates();
        QCOMPARE(next(watcher), QString(R"(things/fake_1_A_1/state {"before":1})"));
        QCOMPARE(next(watcher), QString(R"(things/gateway_200_S1_G/state {"count":2})"));
        lamp->setActive(false);
        lamp->change({{"hidden", 1}});
        lamp->setActive(true);
        lamp->change({});
        silent->change({{"spoke", 1}});
        QCOMPARE(next(watcher), QString(R"(things/fake_1_B_2/state {"spoke":1})"));

        for (const char *const payload : {"[1]", "nonsense", "5", ""}) {
            send("fake_1_A_1", payload);
        }
        QSignalSpy updated(&gateway, &GatewayThing::siblingUpdated);
        send("fake_1_unknown", "{}");
        send("fake_1_A_1", R"({"on":false})");
        QCOMPARE(next(watcher), QString(R"(things/fake_1_A_1/state {"on":false})"));
        QCOMPARE(lamp->updates.size(), 1);
        QCOMPARE(updated.size(), 1);

        gateway.removeSibling(lamp);
        lamp->change({{"unseen", 1}});
        silent->change({{"last", 1}});
        QCOMPARE(next(watcher), QString(R"(things/fake_1_B_2/state {"last":1})"));
        gateway.disconnectFromCloud();
        QCOMPARE(connectivity.last(), QVariantList{false});
        // Subscriptions are made again after a stop.
        QVERIFY(gateway.connectToCloud(true));
        QTRY_VERIFY(gateway.isConnected());
        gateway.reportStates();
        QCOMPARE(next(watcher), QString(R"(things/fake_1_B_2/state {"last":1})"));
        send("fake_1_B_2", R"({"again":1})");
        QTRY_COMPARE(silent->updates.size(), 1);
        watcher.kill();
        watcher.waitForFinished();
    }

private:
    // The registrar's reply for a new gateway, as far as a test does not replace it.
    QJsonObject reply() const
    {
        return {{"id", "gateway_200_S1_G"},
                {"alias", "Home"},
                {"server", "localhost"},
                {"port", 1883},
                {"cred", QJsonObject{{"priv", QString::fromLatin1(m_credentials.key)},
                                     {"file", QString::fromLatin1(m_credentials.cert)}}},
                {"fleet", QJsonArray{QJsonObject{{"id", "fake_1_A_1"}, {"alias", "Lamp A"}},
                                     QJsonObject{{"id", "fake_1_AB_2"}, {"alias", "Lamp AB"}},
                                     QJsonObject{{"id", "stranger_1_1_1"}}, 5}}};
    }
    void send(const QString &tid, const QString &payload, const QString &option = "--quiet")
    {
        const QStringList more = {"-t", "things/" + tid + "/update", "-m", payload, option};
        const QStringList arguments = m_broker.clientArguments(m_credentials, more);
        HostProcess publisher;
        publisher.start("mosquitto_pub", arguments);
        QVERIFY(publisher.waitForFinished());
        QCOMPARE(publisher.exitCode(), 0);
    }
    // The next line that the watcher prints.
    QString next(QProcess &watcher)
    {
        [&] { QTRY_VERIFY_WITH_TIMEOUT(watcher.canReadLine(), 10000); }();
        return QString::fromUtf8(watcher.readLine()).trimmed();
    }

    TestBroker m_broker;
    TestBroker::Credentials m_credentials;
};

KVG_TEST_MAIN(TestGatewayThing)
#include "tst_gatewaything.moc"
