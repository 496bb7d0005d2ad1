#include "updates/sparkleupdater.h"

#include "settings/settingsstore.h"
#include "tests/support/testmain.h"

#include <QFile>

#include <limits>

namespace {

QStringList calls;

// Stands for the library and writes down what it is told.
const SparkleLibrary recorder = {
    [](const wchar_t *company, const wchar_t *application, const wchar_t *version) {
        calls << QStringLiteral("details %1, %2, %3")
                     .arg(QString::fromWCharArray(company), QString::fromWCharArray(application),
                          QString::fromWCharArray(version));
    },
    [](const char *url) { calls << "feed " + QString::fromLocal8Bit(url); },
    [](int on) { calls << QStringLiteral("automatic %1").arg(on); },
    [](int seconds) { calls << QStringLiteral("interval %1").arg(seconds); },
    [](const char *pem) {
        calls << "key " + QString::fromLatin1(pem);
        return 1;
    },
    [] { calls << "init"; },
    [] { calls << "check"; },
    [] { calls << "cleanup"; },
};

} // namespace

class TestSparkleUpdater : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QCoreApplication::setOrganizationName("Corvalt");
        QCoreApplication::setApplicationName("KVG-Gate");
        QCoreApplication::setApplicationVersion("0.2.0");
    }

    void init()
    {
        SettingsStore().clear();
        calls.clear();
    }

    void everySettingComesBeforeTheStart()
    {
        QFile file(":/upd/corvalt_dsa_win_pub.pem");
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray key = file.readAll();
        // A version control system that changed line ends would make another file of it.
        QCOMPARE(key.size(), 2268);
        {
            SparkleUpdater updater(recorder, "https://host.example/appcast.xml");
            QVERIFY(calls.isEmpty());
            updater.init();
            updater.checkNow();
        }
        const QStringList expected = {
            "details Corvalt, KVG-Gate, 0.2.0",
            "feed https://host.example/appcast.xml",
            "automatic 1",
            "interval 604800",
            "key " + QString::fromLatin1(key),
            "init",
            "check",
            "cleanup",
        };
        QCOMPARE(calls, expected);
    }

    void settingsAreTranslated_data()
    {
        QTest::addColumn<QVariant>("days");
        QTest::addColumn<bool>("automatic");
        QTest::addColumn<int>("seconds");
        QTest::newRow("three days") << QVariant(3) << true << 259200;
        QTest::newRow("never less than a day") << QVariant(0) << true << 86400;
        QTest::newRow("below nothing") << QVariant(-2) << true << 86400;
        QTest::newRow("more than fits")
            << QVariant(std::numeric_limits<int>::max()) << true << std::numeric_limits<int>::max();
        QTest::newRow("no number") << QVariant("weekly") << true << 604800;
        QTest::newRow("not by itself") << QVariant(1) << false << 86400;
    }
    void settingsAreTranslated()
    {
        QFETCH(QVariant, days);
        QFETCH(bool, automatic);
        QFETCH(int, seconds);
        {
            SettingsStore store;
            store.setVariant(keys::UpdateInterval, days);
            store.set(keys::UpdateAutomatically, automatic);
        }
        SparkleUpdater updater(recorder, {});
        updater.init();
        QVERIFY(calls.contains(QStringLiteral("interval %1").arg(seconds)));
        QVERIFY(calls.contains(QStringLiteral("automatic %1").arg(int(automatic))));
    }
};

KVG_TEST_MAIN(TestSparkleUpdater)
#include "tst_sparkleupdater.moc"
