#include "cloud/credentialstore.h"
#include "runner/metatypes.h"
#include "settings/settingsstore.h"
#include "tests/support/fakething.h"
#include "tests/support/testbroker.h"
#include "tests/support/testmain.h"
#include "things/gatewaything.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>

namespace {

// The registrar's reply for a new gateway, as far as a test does not replace it.
QJsonObject reply(const TestBroker::Credentials &credentials)
{
    return {{"id", "gateway_200_S1_G"},
            {"alias", "Home"},
            {"server", "localhost"},
            {"port", 1883},
            {"cred", QJsonObject{{"priv", QString::fromLatin1(credentials.key)},
                                 {"file", QString::fromLatin1(credentials.cert)}}},
            {"fleet", QJsonArray{QJsonObject{{"id", "fake_1_A_1"}, {"alias", "Lamp A"}},
                                 QJsonObject{{"id", "fake_1_AB_2"}, {"alias", "Lamp AB"}},
                                 QJsonObject{{"id", "stranger_1_1_1"}, {"alias", "?"}}, 5}}};
}

} // namespace

class TestGatewayThing : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        registerMetaTypes();
        QVERIFY(m_broker.start());
        m_credentials = m_broker.issue("gateway");
        QVERIFY(!m_credentials.key.isEmpty());
    }
    void init() { QSettings().clear(); }
    void cleanup() { CredentialStore().removeCredentials(); }

    void aReplyIsAppliedToGatewayAndFleet()
    {
        GatewayThing gateway;
        FakeThing a("A");
        FakeThing ab("AB");
        QSignalSpy serial(&gateway, &QAbstractThing::serialChanged);
        QSignalSpy settings(&gateway, &GatewayThing::settingsChanged);
        QSignalSpy counts(&gateway, &QAbstractThing::stateChanged);
        // The shorter serial comes first: its prefix owns the other's id, too.
        QVERIFY(gateway.applyRegistration(reply(m_credentials), {&a, &ab}));
        QCOMPARE(gateway.cloudid(), QString("gateway_200_S1_G"));
        QCOMPARE(serial.value(0), (QVariantList{"?", "S1"}));
        QCOMPARE(settings.size(), 1);
        QCOMPARE(SettingsStore().value(keys::CloudPort), 1883U);
        QVERIFY(gateway.holdsCredentials());
        QCOMPARE(a.cloudid(), QString("fake_1_A_1"));
        QCOMPARE(ab.cloudid(), QString("fake_1_AB_2"));
        QCOMPARE(ab.alias(), QString("Lamp AB"));
        QVERIFY(gateway.hasSibling("fake_1_A_1") && gateway.hasSibling("fake_1_AB_2"));
        QCOMPARE(counts.size(), 2);
        QCOMPARE(gateway.state(), (QJsonObject{{"count", 2}}));
        a.setParent(this); // things without a parent became the gateway's
        ab.setParent(this);
        gateway.removeSibling(&a);
        gateway.removeSibling(&ab);
        a.setParent(nullptr);
        ab.setParent(nullptr);
    }

    void anOddReplyChangesNoMoreThanItMay_data()
    {
        QTest::addColumn<QString>("member");
        QTest::addColumn<QJsonValue>("value");
        QTest::addColumn<bool>("succeeds");
        QTest::addColumn<QString>("regid");
        QTest::addColumn<int>("port");
        const QJsonValue none(QJsonValue::Undefined);
        const int asked = 1883;
        QTest::newRow("three parts") << "id" << QJsonValue("gateway_200_S1") << true << "" << asked;
        QTest::newRow("five parts") << "id" << QJsonValue("a_b_c_d_e") << true << "" << asked;
        QTest::newRow("no cred") << "cred" << none << true << "" << asked;
        QTest::newRow("bad cred") << "cred" << QJsonValue("x") << false << "G" << 8883;
        QTest::newRow("port 0") << "port" << QJsonValue(0) << true << "G" << 8883;
        QTest::newRow("port 65536") << "port" << QJsonValue(65536) << true << "G" << 8883;
        QTest::newRow("port 1.5") << "port" << QJsonValue(1.5) << true << "G" << 8883;
        QTest::newRow("port text") << "port" << QJsonValue("1883") << true << "G" << 8883;
        QTest::newRow("fleet is no list") << "fleet" << QJsonValue("x") << true << "G" << asked;
    }
    void anOddReplyChangesNoMoreThanItMay()
    {
        QFETCH(QString, member);
        QFETCH(QJsonValue, value);
        GatewayThing gateway;
        QJsonObject odd = reply(m_credentials);
        odd[member] = value;
        QTEST(gateway.applyRegistration(odd, {}), "succeeds");
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
        QVERIFY(!gateway.addSibling(nullptr));
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
        QJsonObject registration = reply(m_credentials);
        registration["port"] = m_broker.port();
        registration["fleet"] =
            QJsonArray{QJsonObject{{"id", "fake_1_A_1"}}, QJsonObject{{"id", "fake_1_B_2"}}};
        QVERIFY(gateway.applyRegistration(registration, {lamp, silent}));
        QProcess watcher;
        watch(watcher);
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
        lamp->takesUpdates = false;
        send("fake_1_A_1", R"({"on":true})");
        QTRY_COMPARE(lamp->updates.size(), 2);

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
    QStringList brokerArguments() const
    {
        return {"-h",       "localhost",
                "-p",       QString::number(m_broker.port()),
                "--cafile", m_broker.caFile(),
                "--cert",   m_dir.filePath("c.pem"),
                "--key",    m_dir.filePath("c.key")};
    }
    void watch(QProcess &watcher)
    {
        for (const auto &[name, text] :
             {std::pair("c.pem", m_credentials.cert), std::pair("c.key", m_credentials.key)}) {
            QFile file(m_dir.filePath(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(text);
        }
        // A retained message tells when the subscription stands.
        send("ready/state", "1", true);
        watcher.start("mosquitto_sub", brokerArguments() << "-v"
                                                         << "-t"
                                                         << "things/+/state"
                                                         << "-t"
                                                         << "things/ready/state/update");
        QCOMPARE(next(watcher), QString("things/ready/state/update 1"));
    }
    void send(const QString &tid, const QByteArray &payload, bool retain = false)
    {
        QProcess process;
        QStringList arguments = brokerArguments() << "-t"
                                                  << "things/" + tid + "/update"
                                                  << "-m" << payload;
        if (retain) {
            arguments << "-r";
        }
        process.start("mosquitto_pub", arguments);
        QVERIFY(process.waitForFinished() && process.exitCode() == 0);
    }
    // The next line that the watcher prints.
    QString next(QProcess &watcher)
    {
        [&] { QTRY_VERIFY_WITH_TIMEOUT(watcher.canReadLine(), 10000); }();
        return QString::fromUtf8(watcher.readLine()).trimmed();
    }

    QTemporaryDir m_dir;
    TestBroker m_broker;
    TestBroker::Credentials m_credentials;
};

KVG_TEST_MAIN(TestGatewayThing)
#include "tst_gatewaything.moc"
