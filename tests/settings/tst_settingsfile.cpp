#include "settings/settingsfile.h"
#include "tests/support/files.h"
#include "tests/support/testmain.h"

#include <QLockFile>
#include <QRandomGenerator>
#include <QSettings>
#include <sys/stat.h>

class TestSettingsFile : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QDir(m_folder).removeRecursively();
        sanitizeStoredSettings(); // creates the folder
    }

    void linesWithUnsafeValuesAreRemoved()
    {
        const QByteArray before(
            "[Cloud]\nSerial=S\n; say \"\nHost=\"; @Variant(\"\nPort=a\\\r\nb\n");
        const QByteArray after("[UI]\nDark=@@Variant(\nState=@ByteArray(@)\nGeom=\"\"");
        for (const char *const spelling :
             {"k=@%", "\"k=\"=@%", "k\\==@%", "k= \"@%\"", "k=\t\"\" \"\" \"@%\"", "k=\\q@%",
              "k=\\x@%", "k=\\\n@%", "k=\\\r\n@%", "k=\\x40%", "k=\"\\x1A0040%\"", "k=\\100%",
              "k=\\0100%", "k=a,@%", "k=a\\\r\n,@%", "k=\"a\n=;\", @%", "k=@@,@ByteArray(),@%"}) {
            // QSettings reads the number 7 here; with some other types it would crash.
            const QByteArray line =
                QByteArray(spelling).replace("%", "Variant(\\0\\0\\0\\x2\\0\\0\\0\\a)");
            QVERIFY(writeFile(m_path + spelling, line));
            const QSettings unsafe(m_path + spelling, QSettings::IniFormat);
            const QVariant value = unsafe.value(unsafe.allKeys().value(0));
            QVERIFY2(value == 7 || value.toList().contains(7), spelling);

            QVERIFY(writeFile(m_path, before + line + '\n' + after));
            sanitizeStoredSettings();
            sanitizeStoredSettings();
            QCOMPARE(readFile(m_path), before + after);
            QCOMPARE(readFile(m_path + ".unsafe"), before + line + '\n' + after);
        }
    }

    void byteOrderMarksAreRemoved()
    {
        const QByteArray mark("\xef\xbb\xbf");
        QVERIFY(writeFile(m_path, mark + mark + "[Cloud]\nSerial=" + mark + "@Variant(x)"));
        sanitizeStoredSettings();
        QCOMPARE(QSettings().value("Cloud/Serial").toString().toLatin1(), mark + "@Variant(x)");
    }

    void valuesThatQSettingsWritesAreKept()
    {
        const QString parts = QString::fromUtf8("@\"\\,;= \t\r\n0ax()рéЀ") + QChar(0);
        QRandomGenerator random(1);
        QStringList list;
        QSettings settings;
        for (int i = 0; i < 1000; ++i) {
            QString text(random.bounded(2) ? "@Variant(" : "");
            for (int count = random.bounded(4); count > 0; --count) {
                text.insert(random.bounded(text.size() + 1),
                            parts.at(random.bounded(parts.size())));
            }
            list = list.mid(i % 3) << text;
            settings.setValue(QString("text/%1").arg(i), text);
            settings.setValue(QString("bytes/%1").arg(i), text.toUtf8());
            settings.setValue(QString("list/%1").arg(i), list);
        }
        settings.setValue("none", QStringList());
        settings.sync();
        const QByteArray written = readFile(m_path);
        sanitizeStoredSettings();
        QCOMPARE(readFile(m_path), written);
        QVERIFY(!QFile::exists(m_path + ".unsafe"));
    }

    void pipesAndHugeFilesAreMovedAway()
    {
        QCOMPARE(mkfifo(qPrintable(m_path + ".lock"), 0600), 0);
        QCOMPARE(mkfifo(qPrintable(m_path + ".pipe"), 0600), 0);
        QVERIFY(QFile::link(m_path + ".pipe", m_path));
        sanitizeStoredSettings();
        QSettings().setValue("a", 1); // would block on both pipes
        QVERIFY(QFileInfo(m_path + ".unsafe").isSymLink());
        QVERIFY(writeFile(m_path, "a=1\nb=@Variant("));
        sanitizeStoredSettings();
        QCOMPARE(readFile(m_path), QByteArray("a=1\n"));
        QVERIFY(QFile::resize(m_path, 100 << 20));
        sanitizeStoredSettings();
        QCOMPARE(QFileInfo(m_path + ".unsafe").size(), 100 << 20);
    }

    void filesThatAKillLeftAreRemoved()
    {
        const QString data = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
        QVERIFY(QDir().mkpath(data));
        for (const QString &path :
             {data + "/kvgatew.key", data + "/other", m_path, m_path + ".unsafe"}) {
            QVERIFY(writeFile(path, "x") && writeFile(path + ".QwErTy", ""));
        }
        QLockFile lock(m_path + ".lock");
        QVERIFY(lock.lock());
        sanitizeStoredSettings();
        QCOMPARE(QDir(data).entryList(QDir::Files),
                 (QStringList{"kvgatew.key", "other", "other.QwErTy"}));
        QCOMPARE(QDir(m_folder).entryList(QDir::Files),
                 (QStringList{"KVG-Gate.conf", "KVG-Gate.conf.lock", "KVG-Gate.conf.unsafe"}));
        lock.unlock();
        QVERIFY(writeFile(m_path + ".lock", ""));
        sanitizeStoredSettings();
        QVERIFY(!QFile::exists(m_path + ".lock"));
    }

private:
    const QString m_path = QSettings().fileName();
    const QString m_folder = QFileInfo(m_path).path();
};

KVG_TEST_MAIN(TestSettingsFile)
#include "tst_settingsfile.moc"
