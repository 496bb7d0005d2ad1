#include "plugins/host/hostfigures.h"
#include "tests/support/files.h"
#include "tests/support/testclock.h"
#include "tests/support/testmain.h"

// What Linux shows of a computer's devices, imitated in a folder.
class TestHostFigures : public QObject
{
    Q_OBJECT

private slots:
    void powerAndTemperature_data()
    {
        QTest::addColumn<QString>("devices"); // file=content, "!": opens, but cannot be read
        QTest::addColumn<QString>("expected");
        const QString bay = "type=Battery status=! present=0|";
        const QString half = "type=Battery status=Discharging energy_now=30 energy_full=60|";
        const QString full = "type=Battery status=Full energy_now=21 energy_full=20|";
        const QString odd = "type=Battery status=Full energy_now=x energy_full=0 capacity=";
        const QString other = "type=Battery scope=Device status=Full capacity=70|type=USB online=1";
        QTest::newRow("none") << bay + odd + "!|" + other << "{}{}";
        QTest::newRow("two") << half + full + bay << R"({"charge":63,"mains":false}{})";
        QTest::newRow("mean") << odd + "98|" + odd + "51|" + odd + "-1|" + half + other
                              << R"({"charge":75,"mains":true}{})";
        QTest::newRow("hottest") << "name=coretemp temp1_input=! temp2_input=61500 temp3_input=-9|"
                                    "name=cpu_thermal temp1_input=201000|type=cpu temp=70000|"
                                    "name=nvme temp1_input=-4600|name=drivetemp temp1_input=30000"
                                 << R"({}{"cpu":62,"disk":-5})";
        QTest::newRow("zones") << "type=acpitz temp=90000|type=cpu-thermal temp=44000"
                               << R"({}{"cpu":44})";
    }

    void powerAndTemperature()
    {
        QFETCH(QString, devices);
        const auto text = [](const QJsonObject &object) {
            return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
        };
        const QTemporaryDir sys;
        for (const QString &device : devices.split('|', Qt::SkipEmptyParts)) {
            static int count = 0;
            const QDir folder(sys.filePath("all/" + QString::number(++count)));
            QVERIFY(folder.mkpath("."));
            for (const QString &file : device.split(' ')) {
                const QString path = folder.filePath(file.section('=', 0, 0));
                const QString value = file.section('=', 1);
                QVERIFY(value == "!" ? QFile::link("/proc/self/mem", path)
                                     : writeFile(path, value.toUtf8() + '\n'));
            }
        }
        QVERIFY(QDir(sys.path()).mkdir("class"));
        for (const QString name : {"power_supply", "hwmon", "thermal"}) {
            QVERIFY(QFile::link("../all", sys.filePath("class/" + name)));
        }
        const HostFigures figures(sys.path());
        QTEST(text(figures.battery()) + text(figures.temperature()), "expected");
    }

    void trafficIsThatOfTheSameHardware()
    {
        const QTemporaryDir sys;
        const auto count = [&](const QString &name, int received, int sent) {
            const QString files = sys.filePath("class/net/" + name + "/statistics/");
            return QDir().mkpath(files) &&
                   writeFile(files + "rx_bytes", QByteArray::number(received)) &&
                   writeFile(files + "tx_bytes", QByteArray::number(sent));
        };
        HostFigures figures(sys.path());
        const auto next = [&] {
            testclock::advance(std::chrono::hours(1));
            const QJsonObject network = figures.network();
            return QPoint(qRound(network["received"].toDouble(-1)),
                          qRound(network["sent"].toDouble(-1)));
        };
        constexpr int unit = 1024 * 3600;
        QVERIFY(count("lo", 0, 0) && count("tap", 0, 0));
        QCOMPARE(next(), QPoint(-1, -1));
        QVERIFY(count("lo", unit, unit) && count("tap", 5 * unit, 0));
        QCOMPARE(next(), QPoint(5, 0));
        QVERIFY(count("eth", 100 * unit, 9 * unit) &&
                QDir(sys.path()).mkdir("class/net/eth/device"));
        QCOMPARE(next(), QPoint(0, 0));
        QVERIFY(count("tap", 50 * unit, 0) && count("eth", 7, 13 * unit));
        QCOMPARE(next(), QPoint(0, 4));
    }
};

KVG_TEST_MAIN(TestHostFigures)
#include "tst_hostfigures.moc"
