#include "settings/devicepool.h"
#include "settings/settingsstore.h"
#include "settings/zusettings.h"
#include "tests/support/testmain.h"

#include <QJsonArray>

#include <thread>

class TestSettings : public QObject
{
    Q_OBJECT

private slots:
    void init() { QSettings().clear(); }

    void aValueOfAnotherTypeReadsAsTheDefault()
    {
        const std::tuple<QVariant, int, bool> rows[] = {{"soon", 300, true},
                                                        {"0", 0, false},
                                                        {QStringList{"1", "2"}, 300, true},
                                                        {"99999999999", 300, true}};
        for (const auto &[stored, interval, closeToTray] : rows) {
            QSettings().setValue("Cloud/Interval", stored);
            QSettings().setValue("System/CloseToTray", stored);
            QCOMPARE(SettingsStore().value(keys::ReportInterval), interval);
            QCOMPARE(SettingsStore().value(keys::CloseToTray), closeToTray);
            QSettings().setValue("Cloud/Host", stored); // every value converts to a text
            QCOMPARE(SettingsStore().value(keys::CloudHost), stored.toStringList().join(','));
        }
    }

    void anyAliasSurvivesTheLatin1ReadingOfThePool()
    {
        const QString alias = QString::fromUtf8("Лампа \xf0\x9f\x92\xa1 \"é\" \\ ,;%");
        DevicePool::update([&](DevicePool &pool) { pool.put({"lamp", "1", "7", "r", alias}); });
        const QString stored = QSettings().value("Devices/Pool").toString();
        QVERIFY(!stored.contains(QRegularExpression("[^\\x01-\\x7f]")));
        ZUSettings().resetRegistration();
        QCOMPARE(DevicePool::read().at(0).alias, alias);
        QCOMPARE(DevicePool::read().at(0).regid, QString());
    }

    void theFirstOfTwoEntriesIsUsed()
    {
        QSettings().setValue(
            "Devices/Pool",
            R"({"devices":[{"type":"lamp","version":"1","serial":"7","alias":"a","regid":"1","x":5},
                4,{"type":"lamp","version":"1","serial":"7","alias":"b","regid":"2"}],"y":6})");
        DevicePool::update([](DevicePool &pool) { pool.put({"lamp", "1", "7", "3", "c"}); });
        const QJsonObject pool = ZUSettings().pool();
        const QJsonArray devices = pool["devices"].toArray();
        QCOMPARE(devices.size(), 3);
        QCOMPARE(devices.at(0)["alias"].toString(), QString("c"));
        QCOMPARE(devices.at(0)["x"].toInt(), 5); // of a later version: kept
        QCOMPARE(devices.at(2)["alias"].toString(), QString("b"));
        QCOMPARE(pool["y"].toInt(), 6);
    }

    void aRegistrationGoesToTheLongestMatchingKey()
    {
        DevicePool::update([](DevicePool &pool) {
            pool.put({"gateway", "200", "S", "G", "Home"});
            pool.put({"lamp", "1", "A", "", "a"});
            pool.put({"lamp", "1", "A_2", "", "b"});
            for (const char *id : {"lamp_1_A_2", "lamp_1_A_2_X", "gateway_200_S_Y", "lamp_1_C_Z"}) {
                pool.applyRegistration(id, QString());
            }
        });
        const QSet<QString> expected{"gateway_200_S_G", "lamp_1_A_2_X"};
        QCOMPARE(DevicePool::read().cloudids(), expected);
        DevicePool::update([](DevicePool &pool) { pool.applyRegistration("lamp_1_A_W", "new"); });
        QCOMPARE(DevicePool::read().at(1).regid + DevicePool::read().at(1).alias, QString("Wnew"));
        QCOMPARE(DevicePool::read().at(2).alias, QString("b"));
    }

    void anUnreadablePoolReadsAsEmptyAndIsKept()
    {
        for (const QString text : {"{\"devices\": [oops", "{\"devices\":{\"a\":1}}"}) {
            QSettings().setValue("Devices/Pool", text);
            QCOMPARE(DevicePool::read().size(), 0);
            ZUSettings().resetRegistration();
            const QJsonObject pool = ZUSettings().pool();
            QCOMPARE(pool.keys(), (QStringList{"devices", "updated"}));
            QVERIFY(pool["devices"].toArray().isEmpty());
            QCOMPARE(QSettings().value("Devices/PoolUnreadable").toString(), text);
        }
    }

    void changesOfSeveralThreadsAreAllKept()
    {
        const auto work = [](const QString &type) {
            for (int i = 0; i < 25; ++i) {
                DevicePool::update([&](DevicePool &pool) {
                    pool.put({type, "1", QString::number(i)});
                });
            }
        };
        std::thread other(work, QString("a"));
        work("b");
        other.join();
        QCOMPARE(DevicePool::read().size(), 50);
    }
};

KVG_TEST_MAIN(TestSettings)
#include "tst_settings.moc"
