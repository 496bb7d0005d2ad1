#include "settings/defaults.h"
#include "settings/devicepool.h"
#include "settings/settingsstream.h"
#include "settings/zusettings.h"
#include "tests/support/files.h"
#include "tests/support/testmain.h"
#include "tests/support/writefault.h"

#include <QDataStream>
#include <QRect>

#include <atomic>
#include <future>
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

    void aBackupRestoresEverySetting()
    {
        const QVector<std::pair<QString, QVariant>> values{
            {"Cloud/Interval", -7},
            {"Cloud/Port", 4000000000U},
            {"Plugins/lamp/a", Q_INT64_C(-5000000000)},
            {"Plugins/lamp/b", Q_UINT64_C(18000000000000000000)},
            {"Plugins/lamp/c", 0.1},
            {QString::fromUtf8("Plugins/лампа/@\\%"), "@Variant(\xc3\xa9\n"},
            {"Plugins/lamp/list", QStringList{"a,b", "@"}},
            {"UI/Dark", false},
            {"Plugins/lamp/bytes", QByteArray("\0\xff\"", 3)}};
        for (const auto &[key, value] : values) {
            QSettings().setValue(key, value);
        }
        QSettings().setValue("Plugins/lamp/gaps", QStringList{"", "a", ""});
        for (const QVariant &odd :
             {QVariant(QRect(1, 2, 3, 4)), QVariant(QVariantMap{{"a", 1}}), QVariant()}) {
            QSettings().setValue(QString("Odd/%1").arg(odd.type()), odd);
        }
        for (const char *layout : {"UI/Geom", "UI/State", "System/Window", "System/State"}) {
            QSettings().setValue(layout, QByteArray("damaged"));
        }
        const QByteArray backup = exported();
        QSettings().clear();
        QSettings().setValue("Updates/Auto", false); // is not in the backup
        QVERIFY(ZUSettings().importAll(backup));
        QCOMPARE(QSettings().allKeys().size(), values.size() + 2);
        for (const auto &[key, value] : values) {
            QCOMPARE(QSettings().value(key), value);
        }
        const QVariant gaps = QSettings().value("Plugins/lamp/gaps");
        QCOMPARE(storedPluginValue(gaps, "list"), QVariant(",a,"));
        QVERIFY(ZUSettings().importAll(chunk(QString("System/Version"), QVariant("9"))));
        QSettings system(QSettings::NativeFormat, QSettings::SystemScope, "Corvalt", "KVG-Gate");
        system.setValue("Cloud/Host", "fallback.example"); // not a setting of the user
        system.sync();
        QCOMPARE(QSettings().value("Cloud/Host").toString(), QString("fallback.example"));
        QCOMPARE(exported(), chunk(QString("System/Version"), QVariant(defaults::Version)));
    }

    void anInvalidChunkLeavesTheStoreUnchanged()
    {
        const QString key = "UI/Dark";
        const QByteArray good = chunk(key, QVariant("text"));
        const auto claiming = [&key](QMetaType::Type type, quint32 length) {
            return chunk(key, quint32(type), qint8(0), length, quint16('a'));
        };
        QByteArray nested = chunk(key);
        for (int depth = 0; depth < 100000; ++depth) {
            nested += chunk(quint32(QMetaType::QVariantList), qint8(0), quint32(1));
        }
        QByteArray many;
        QStringList list;
        for (int i = 0; i <= settingsstream::maxEntries; ++i) {
            many += chunk(QString("a%1").arg(i), QVariant(1));
            list += "x";
        }
        QByteArrayList rejected{nested,
                                many,
                                chunk(key, QVariant(list)),
                                good + '\0',
                                good + good,
                                good + chunk(QString("b"), QVariant(QVariantMap{{"a", 1}})),
                                chunk(key, QVariant()),
                                claiming(QMetaType::QStringList, 0xffffffff),
                                claiming(QMetaType::QString, 0xfffffffe),
                                claiming(QMetaType::QString, 1),
                                claiming(QMetaType::QByteArray, 0x7fffffff),
                                chunk(key, quint32(QMetaType::User), qint8(0)) +
                                    chunk("QObject*", quint64(1))};
        rejected += chunk(key, QVariant(QByteArray(settingsstream::maxSize, 'x')));
        for (int size = 0; size < good.size(); ++size) {
            rejected += good.left(size);
        }
        for (const QString &bad :
             {QString(), QString("/a"), QString("a/"), QString("a//b"), QString("a\nb"),
              QString(QChar(0)), QString(settingsstream::maxKeyLength + 1, 'a')}) {
            rejected += chunk(bad, QVariant(1));
        }
        const QByteArray before = exported();
        for (const QByteArray &bytes : qAsConst(rejected)) {
            QVERIFY2(!ZUSettings().importAll(bytes), bytes.left(100).toHex().constData());
            QCOMPARE(exported(), before);
        }
        {
            const auto fault = settingsFault(); // a valid chunk that cannot be stored
            QVERIFY(!ZUSettings().importAll(chunk(QString("a"), QVariant("imported"))));
        }
        QCOMPARE(exported(), before);
        QVERIFY(!readFile(QSettings().fileName()).contains("imported"));
    }

    // Opening the store in another thread writes pending changes, also those of a replacement.
    void otherThreadsNeverSeeHalfAReplacement()
    {
        QByteArray sets[2];
        for (int i = 0; i < 300; ++i) {
            sets[0] += chunk(QString("A/%1").arg(i), QVariant("value"));
            sets[1] += chunk(QString("B/%1").arg(i), QVariant("value"));
        }
        QVERIFY(ZUSettings().importAll(sets[0]));
        const QString path = QSettings().fileName();
        const bool isFile = QFile::exists(path);
        std::atomic<bool> done{false};
        std::atomic<int> mixed{0};
        std::thread other([&] {
            while (!done) {
                mixed += SettingsStore().ownKeys().size() != 301; // and the version
                mixed += isFile && readFile(path).count("=value") != 300;
            }
        });
        int failed = 0;
        for (int round = 1; round <= 30; ++round) {
            failed += !ZUSettings().importAll(sets[round % 2]);
        }
        done = true;
        other.join();
        QCOMPARE(failed, 0);
        QCOMPARE(mixed.load(), 0);
    }

    void aRunningChangeOfThePoolDoesNotUndoTheImport()
    {
        DevicePool::update([](DevicePool &pool) { pool.put({"old", "1", "1"}); });
        std::promise<void> changing;
        std::promise<void> imported;
        std::thread other([&] {
            DevicePool::update([&](DevicePool &) {
                changing.set_value();
                imported.get_future().wait_for(std::chrono::milliseconds(200)); // it waits for us
            });
        });
        changing.get_future().wait();
        QVERIFY(ZUSettings().importAll(chunk(QString("a"), QVariant(1))));
        imported.set_value();
        other.join();
        QCOMPARE(DevicePool::read().size(), 0);
    }
};

KVG_TEST_MAIN(TestSettingsBackup)
#include "tst_settingsbackup.moc"
