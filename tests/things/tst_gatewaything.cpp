#include "settings/settingsstore.h"
#include "tests/support/fakebroker.h"
#include "tests/support/fakething.h"
#include "tests/support/testbroker.h"
#include "tests/support/testclock.h"
#include "tests/support/testmain.h"
#include "things/gatewaything.h"

#include <QJsonArray>

using namespace std::chrono_literals;

class TestGatewayThing : public QObject
{
    Q_OBJECT

private slots:
    void init() { QSettings().clear(); }

    void invalidMembersOfAReplyAreIgnored()
    {
        const std::tuple<const char *, QJsonValue, QString, quint32> rows[] = {
            {"id", "gateway_200_S1", "", 1883}, // three parts
            {"id", "gateway_200_S1_", "", 1883},
            {"cred", QJsonValue::Undefined, "", 1883},
            {"port", 65536, "G", 8883}};
        for (const auto &[member, value, regid, port] : rows) {
            QSettings().clear();
            GatewayThing gateway;
            QJsonObject changed = reply();
            changed[member] = value;
            QVERIFY(gateway.applyRegistration(changed, {}));
            QCOMPARE(gateway.regid(), regid);
            QCOMPARE(SettingsStore().value(keys::CloudPort), port);
        }
    }

    void siblingsAreTrackedThroughIdChangesAndDeletion()
    {
        GatewayThing gateway;
        QObject owner;
        auto *const thing = new FakeThing("A", &owner);
        thing->setRegid("1");
        QVERIFY(gateway.addSibling(thing));
        QVERIFY(!gateway.addSibling(thing));
        thing->setRegid("2"); // emits no signal
        QVERIFY(gateway.addSibling(thing));
        QVERIFY(!gateway.hasSibling("fake_1_A_1") && gateway.hasSibling("fake_1_A_2"));
        thing->changeSerial("B");
        QVERIFY(gateway.hasSibling("fake_1_B_2"));
        thing->setRegid("3");
        QVERIFY(gateway.removeSibling(thing)); // found by its pointer
        QVERIFY(gateway.addSibling(thing));
        delete thing;
        QCOMPARE(gateway.state()["count"].toInt(), 0);

        QPointer<FakeThing> adopted = new FakeThing("C");
        gateway.addSibling(adopted);
        gateway.removeSibling(adopted->cloudid());
        QTRY_VERIFY(adopted.isNull());
    }

    void statesArePublishedAndUpdatesApplied()
    {
        FakeBroker broker(m_credentials.cert, m_credentials.key);
        const auto published = [&broker] {
            return broker.seen.filter("publish").replaceInStrings("publish things/", QString());
        };
        QObject owner;
        GatewayThing gateway;
        auto *const lamp = new FakeThing("A", &owner);
        auto *const silent = new FakeThing("AB", &owner);
        silent->current = {};
        QSignalSpy serial(&gateway, &QAbstractThing::serialChanged);
        // The shorter serial comes first: its prefix owns the other's id, too.
        QVERIFY(gateway.applyRegistration(reply(broker.serverPort()), {lamp, silent}));
        QCOMPARE(serial.value(0), (QVariantList{"?", "S1"}));
        lamp->change({{"before", 1}}); // waits for the connection
        QVERIFY(gateway.connectToCloud(false));
        QTRY_COMPARE(lamp->published, 1);
        gateway.reportStates();
        lamp->setActive(false);
        lamp->change({{"hidden", 1}});
        lamp->setActive(true);
        lamp->change({});
        silent->change({{"spoke", 1}});
        QStringList expected = {
            R"(fake_1_A_1/state {"before":1})", R"(fake_1_A_1/state {"before":1})",
            R"(gateway_200_S1_G/state {"count":2})", R"(fake_1_AB_2/state {"spoke":1})"};
        QTRY_COMPARE(published(), expected);

        QSignalSpy updated(&gateway, &GatewayThing::siblingUpdated);
        for (const char *const payload : {"[1]", "nonsense", "5", ""}) {
            broker.publish("things/fake_1_A_1/update", payload);
        }
        broker.publish("things/fake_1_unknown/update", "{}");
        broker.publish("things/fake_1_A_1/update", R"({"on":false})");
        expected << R"(fake_1_A_1/state {"on":false})";
        QTRY_COMPARE(published(), expected);
        QCOMPARE(updated.size(), 1);

        gateway.removeSibling(lamp);
        lamp->change({{"unseen", 1}});
        silent->change({{"last", 1}});
        expected << R"(fake_1_AB_2/state {"last":1})";
        QTRY_COMPARE(published(), expected);
        broker.seen.clear();
        QVERIFY(gateway.connectToCloud(true));
        QTRY_COMPARE(broker.seen, (QStringList{"disconnect", "connect gateway_200_S1_G",
                                               "subscribe things/fake_1_AB_2/update"}));
    }

    void registrationsNeedAnExactIdAndLargeUpdatesAreIgnored()
    {
        QObject owner;
        GatewayThing gateway;
        auto *const lamp = new FakeThing("A", &owner);
        auto *const bare = new FakeThing("C", &owner);
        const QJsonArray fleet{QJsonObject{{"id", "fake_1_AB_2"}, {"alias", "Lamp AB"}},
                               QJsonObject{{"id", "fake_1_A_"}, {"alias", "Nothing"}},
                               QJsonObject{{"id", "fake_1_C"}, {"alias", QString(2000, 'c')}}};
        QVERIFY(gateway.applyRegistration({{"fleet", fleet}}, {lamp, bare}));
        QCOMPARE(lamp->alias() + lamp->regid(), QString());
        QCOMPARE(bare->alias(), QString(1024, 'c'));
        const QByteArray large = "{\"n\":\"" + QByteArray(64 * 1024 - 8, 'x') + "\"}";
        gateway.mqtt_messageReceived("fake_1_C", large + ' '); // a byte too many
        const QSignalSpy updated(&gateway, &GatewayThing::siblingUpdated);
        bare->takesUpdates = false;
        gateway.mqtt_messageReceived("fake_1_C", large);
        QCOMPARE(bare->updates.size(), 1);
        QVERIFY(updated.isEmpty());
    }

    void reportsAndKeepAliveFollowTheirIntervals()
    {
        if (!testclock::canAdvance()) {
            QSKIP("The time cannot be moved here.");
        }
        FakeBroker broker(m_credentials.cert, m_credentials.key);
        GatewayThing gateway;
        QVERIFY(gateway.applyRegistration(reply(broker.serverPort()), {}));
        const auto reportsAfter = [&](std::chrono::seconds time) {
            for (auto left = time; left > 0s; left -= 10s) { // or pings would time out
                testclock::advance(std::min(left, 10s));
                QTest::qWait(5);
            }
            QTest::qWait(50); // for reports that are not due
            return broker.seen.filter("publish").size();
        };
        gateway.setReportInterval(30);
        QCOMPARE(gateway.reportInterval(), 60);
        for (const auto &[interval, expected] : {std::pair(100, 80), {600, 300}, {1000, 300}}) {
            gateway.setReportInterval(interval);
            // The third keep-alive equals the second.
            QCOMPARE(gateway.isConnectionOutdated(), interval != 1000);
            QVERIFY(gateway.connectToCloud(false));
            QTRY_COMPARE(broker.keepAlive, expected);
            QTRY_VERIFY(gateway.isConnected());
        }
        SettingsStore().set(keys::CloudHost, QString("127.0.0.1"));
        QVERIFY(gateway.isConnectionOutdated());
        QVERIFY(gateway.connectToCloud(true));
        QVERIFY(gateway.connectToCloud(false)); // does not cancel the early report
        QTRY_VERIFY(gateway.isConnected());
        broker.seen.clear();
        QCOMPARE(reportsAfter(29s), 0);
        QCOMPARE(reportsAfter(42s), 1);
        QCOMPARE(reportsAfter(1000s - 71s - 60s), 1);
        QCOMPARE(reportsAfter(60s + 60s), 2); // coarse: 5 percent
        gateway.setReportInterval(60);
        QCOMPARE(reportsAfter(50s), 2);
        QCOMPARE(reportsAfter(15s), 3);
        gateway.disconnectFromCloud();
        QCOMPARE(reportsAfter(200s), 3);
    }

private:
    // The registrar's reply for a new gateway.
    QJsonObject reply(int port = 1883) const
    {
        return {{"id", "gateway_200_S1_G"},
                {"alias", "Home"},
                {"server", "localhost"},
                {"port", port},
                {"cred", QJsonObject{{"priv", QString::fromLatin1(m_credentials.key)},
                                     {"file", QString::fromLatin1(m_credentials.cert)}}},
                {"fleet", QJsonArray{QJsonObject{{"id", "fake_1_A_1"}, {"alias", "Lamp A"}},
                                     QJsonObject{{"id", "fake_1_AB_2"}, {"alias", "Lamp AB"}},
                                     QJsonObject{{"id", "stranger_1_1_1"}}, 5}}};
    }
    const TestBroker::Credentials m_credentials = TestBroker().issue("gateway");
};

KVG_TEST_MAIN(TestGatewayThing)
#include "tst_gatewaything.moc"
