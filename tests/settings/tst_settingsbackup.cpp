#include "settings/devicepool.h"
#include "settings/zusettings.h"
#include "tests/support/files.h"
#include "tests/support/filesizelimit.h"
#include "tests/support/testmain.h"

#include <QDataStream>
#include <QRect>

#include <atomic>
#include <thread>

namespace {

template <typename... Parts>
QByteArray chunk(const Parts &...parts)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setVersion(QDataStream::Qt_5_15);
    (stream << ... << parts);
    return bytes;
}

QByteArray exported()
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    return ZUSettings().exportAll(stream) ? bytes : QByteArray();
}

QVariantMap stored()
{
    QSettings settings;
    settings.setFallbacksEnabled(false);
    QVariantMap values;
    const QStringList all = settings.allKeys();
    for (const QString &key : all) {
        values[key] = settings.value(key);
    }
    return values;
}

QByteArray settingsFile()
{
    return readFile(QSettings().fileName());
}

} // namespace

class TestSettingsBackup : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QSettings().clear();
        QSettings().setValue("UI/Dark", true);
    }

    void whatOneStoreHeldAnotherHolds()
    {
        const QVariantMap values{{"UI/Dark", false},
                                 {"Cloud/Interval", -7},
                                 {"Cloud/Port", 4000000000U},
                                 {"Plugins/lamp/a", Q_INT64_C(-5000000000)},
                                 {"Plugins/lamp/b", Q_UINT64_C(18000000000000000000)},
                                 {"Plugins/lamp/c", 0.1},
                                 {QString::fromUtf8("Plugins/лампа/@\\%"), "@Variant(\xc3\xa9\n"},
                                 {"Plugins/lamp/list", QStringList{"", "a,b", "@"}},
                                 {"UI/Geom", QByteArray("\0\xff\"", 3)},
                                 {"System/Version", "9.9.9"}};
        {
            QSettings settings;
            for (auto it = values.cbegin(); it != values.cend(); ++it) {
                settings.setValue(it.key(), it.value());
            }
        }
        QVariantMap expected = values;
        expected["System/Version"] = "0.2.0"; // the store's own mark
        QSettings().setValue("Odd/rect", QRect(1, 2, 3, 4));
        QSettings().setValue("Odd/map", QVariantMap{{"a", 1}});
        QSettings().setValue("Odd/nothing", QVariant());
        const QByteArray bytes = exported();
        QSettings().clear();
        QSettings().setValue("Updates/Auto", false); // of the store that is replaced
        const int generation = DevicePool::generation();
        QVERIFY(ZUSettings().importAll(bytes));
        QVERIFY(DevicePool::generation() != generation);
        QCOMPARE(stored(), expected);
        QVERIFY(ZUSettings().importAll(chunk(QString("System/Version"), QVariant("9.9.9"))));
        QCOMPARE(stored(), (QVariantMap{{"System/Version", "0.2.0"}}));
    }

    void anythingElseLeavesTheStoreUntouched_data()
    {
        const QString key = "UI/Dark";
        const QByteArray good = chunk(key, QVariant("text"));
        QByteArray nested = chunk(key);
        for (int depth = 0; depth < 100000; ++depth) {
            nested += chunk(quint32(QMetaType::QVariantList), qint8(0), quint32(1));
        }
        QByteArray many;
        QStringList list;
        for (int i = 0; i <= 10000; ++i) {
            many += chunk(QString("a%1").arg(i), QVariant(1));
            list += "x";
        }
        const auto claiming = [&key](QMetaType::Type type, quint32 length) {
            return chunk(key, quint32(type), qint8(0), length, quint16('a'));
        };
        QTest::addColumn<QByteArray>("bytes");
        for (int size = 0; size < good.size(); ++size) {
            QTest::addRow("first %d bytes", size) << good.left(size);
        }
        QTest::newRow("trailing byte") << good + '\0';
        QTest::newRow("nested lists") << nested;
        QTest::newRow("map") << good + chunk(QString("b"), QVariant(QVariantMap{{"a", 1}}));
        QTest::newRow("invalid value") << chunk(key, QVariant());
        QTest::newRow("user's type")
            << chunk(key, quint32(QMetaType::User), qint8(0)) + chunk("QObject*", quint64(1));
        QTest::newRow("text too long") << claiming(QMetaType::QString, 0xfffffffe);
        QTest::newRow("odd text") << claiming(QMetaType::QString, 1);
        QTest::newRow("bytes too long") << claiming(QMetaType::QByteArray, 0x7fffffff);
        QTest::newRow("list too long") << claiming(QMetaType::QStringList, 0xffffffff);
        QTest::newRow("list of too many") << chunk(key, QVariant(list));
        QTest::newRow("too many keys") << many;
        QTest::newRow("key twice") << good + good;
        for (const QString &bad : {QString(), QString("/a"), QString("a/"), QString("a//b"),
                                   QString("a\nb"), QString(QChar(0)), QString(513, 'a')}) {
            QTest::addRow("key %s", qPrintable(bad.left(9))) << chunk(bad, QVariant(1));
        }
    }
    void anythingElseLeavesTheStoreUntouched()
    {
        QFETCH(QByteArray, bytes);
        ZUSettings settings;
        const QByteArray before = settingsFile();
        QVERIFY(!settings.importAll(bytes));
        QVERIFY(!before.isEmpty());
        QCOMPARE(settingsFile(), before);
        QCOMPARE(stored(), (QVariantMap{{"System/Version", "0.2.0"}, {"UI/Dark", true}}));
    }

    void aFullDiskLeavesTheStoreUntouched()
    {
        const QByteArray before = exported();
        {
            const FileSizeLimit limit(1000);
            QVERIFY(!ZUSettings().importAll(chunk(QString("a"), QVariant(QString(2000, 'b')))));
        }
        QCOMPARE(exported(), before);
        QVERIFY(!settingsFile().contains("bbb"));
    }

    // Another thread that opens the store would write what is half replaced, and one that changes
    // the pool would write the old one again.
    void othersSeeTheStoreWhollyOldOrWhollyNew()
    {
        QByteArray sets[2];
        for (int set = 0; set < 2; ++set) {
            for (int i = 0; i < 300; ++i) {
                sets[set] += chunk(QString("Set%1/k%2").arg(set).arg(i), QVariant("value"));
            }
        }
        QVERIFY(ZUSettings().importAll(sets[0]));
        std::atomic<bool> done{false};
        std::atomic<int> mixed{0};
        std::thread other([&] {
            while (!done) {
                DevicePool::update([](DevicePool &pool) { pool.put({"new", "1", "1", {}, {}}); });
                const int values = settingsFile().count("=value");
                mixed += values != 300;
            }
        });
        int resurrected = 0;
        for (int round = 1; round <= 100; ++round) {
            DevicePool::update([](DevicePool &pool) { pool.put({"old", "1", "1", {}, {}}); });
            ZUSettings().importAll(sets[round % 2]);
            resurrected += DevicePool::read().indexOf("old_1_1") >= 0;
        }
        done = true;
        other.join();
        QCOMPARE(mixed.load(), 0);
        QCOMPARE(resurrected, 0);
    }
};

KVG_TEST_MAIN(TestSettingsBackup)
#include "tst_settingsbackup.moc"
