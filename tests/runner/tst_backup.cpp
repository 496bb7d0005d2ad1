#include "cloud/credentialstore.h"
#include "settings/devicepool.h"
#include "settings/zusettings.h"
#include "tests/support/files.h"
#include "tests/support/filesizelimit.h"
#include "tests/support/runnerresults.h"
#include "tests/support/testbroker.h"
#include "tests/support/testmain.h"
#include "things/gatewaything.h"

#include <QDataStream>
#include <QSslCertificate>
#include <QSslKey>

namespace {

QByteArray words(const QVector<quint32> &numbers)
{
    QByteArray bytes;
    for (const quint32 number : numbers) {
        for (int shift = 0; shift < 32; shift += 8) {
            bytes += char(number >> shift);
        }
    }
    return bytes;
}

QByteArray settingsChunk()
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    return ZUSettings().exportAll(stream) ? bytes : QByteArray();
}

} // namespace

class TestBackup : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        m_issued = TestBroker().issue("gateway");
        QVERIFY(!m_issued.key.isEmpty());
    }
    void init()
    {
        QSettings().clear();
        CredentialStore().removeCredentials();
        SettingsStore().set(keys::CloudHost, QString("old.example"));
        QFile::remove(m_file);
        m_runner = std::make_unique<ZugatewRunner>();
        m_finished = std::make_unique<QSignalSpy>(m_runner.get(), &ZugatewRunner::finished);
    }
    void cleanup() { QCOMPARE(QDir(m_dir.path()).entryList(QDir::Files).size(), 1); } // no litter

    void aFreshProfileTakesOverAllThatTheFileHolds()
    {
        QString error;
        QVERIFY(CredentialStore().storeIssuedCredentials(m_issued.cert, m_issued.key, error));
        SettingsStore().set(keys::CloudSerial, QString("S"));
        putInPool("G", "");
        const QByteArray settings = settingsChunk();
        const QByteArray cert = QSslCertificate(m_issued.cert).toDer();
        const QByteArray key = QSslKey(m_issued.key, QSsl::Rsa).toDer();
        const quint32 certAt = 44 + quint32(settings.size());
        const quint32 keyAt = certAt + quint32(cert.size());
        for (int round = 0; round < 2; ++round) {
            m_runner->exportSettings(m_file);
            QCOMPARE(QFile::permissions(m_file) & 0x77, QFile::Permissions());
            QFile::setPermissions(m_file, QFile::Permissions(0x6644));
        }
        QCOMPARE(readFile(m_file), words({0x200, 36, 0x104201, 44, certAt - 44, 0x104202, certAt,
                                          keyAt - certAt, 0x104203, keyAt, quint32(key.size())}) +
                                       settings + cert + key);

        QSettings().clear();
        CredentialStore().removeCredentials();
        QSignalSpy changed(m_runner.get(), &ZugatewRunner::thingChanged);
        m_runner->importSettings(m_file);
        QCOMPARE(results(), (QStringList{"SExport true", "SExport true", "SImport true"}));
        QCOMPARE(SettingsStore().value(keys::CloudHost), QString("old.example"));
        QCOMPARE(CredentialStore().certificate(), QSslCertificate(m_issued.cert));
        QCOMPARE(CredentialStore().key(), QSslKey(m_issued.key, QSsl::Rsa));
        const auto first = changed.first().first().value<ThingState>();
        QVERIFY(first.gone && first.shortid == "gateway_200_?");
        const auto last = changed.last().first().value<ThingState>();
        QVERIFY(last.shortid == "gateway_200_S" && last.alias == "Home");
    }

    void liveThingsGoOnUnderTheRestoredRegistration()
    {
        SettingsStore().set(keys::CloudSerial, QString("S"));
        putInPool("G", "1");
        m_runner->exportSettings(m_file);
        putInPool("H", "2");
        qApp->setProperty("fake/devices", QStringList{"A"});
        m_runner->loadPlugins();
        m_runner->rescan();
        m_runner->importSettings(m_file);
        m_runner->renameThing("gateway_200_S", "House");
        m_runner->renameThing("fake_1_A", "Torch");
        QCOMPARE(results().mid(3), (QStringList{"SImport true", "TRename true", "TRename true"}));
        const DevicePool pool = DevicePool::read();
        QCOMPARE(pool.at(pool.indexOf("gateway_200_S")).regid, QString("G"));
        QCOMPARE(pool.at(pool.indexOf("fake_1_A")).regid, QString("1"));
    }

    void aFileIsTakenAsFarAsItIsSound_data()
    {
        SettingsStore().set(keys::CloudHost, QString("new.example"));
        const QByteArray settings = settingsChunk();
        const quint32 size = quint32(settings.size());
        const QString config = "Error Cannot restore config from a %1.bak";
        const QString version = "Error Cannot restore config - wrong version";
        const QString part = "Error Cannot restore %1 from a %2.bak - invalid data";
        const auto file = [&](const QVector<quint32> &header) { return words(header) + settings; };
        const QByteArray sound = file({0x200, 12, 0x104201, 20, size});

        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("error"); // empty: taken
        QTest::addColumn<bool>("taken");    // the settings
        QTest::newRow("unknown chunks")
            << file({0x200, 36, 7, 0xffffffff, 0xffffffff, 7, 0, 0, 0x104201, 44, size}) << ""
            << true;
        QTest::newRow("empty") << QByteArray() << config << false;
        QTest::newRow("19 bytes") << sound.left(19) << config << false;
        QTest::newRow("64 MiB and a byte")
            << sound.leftJustified(64 * 1024 * 1024 + 1) << config << false;
        QTest::newRow("version") << "\1" + sound.mid(1) << version << false;
        for (const quint32 length : {0U, 13U, 12U * 1000, 0xfffffffcU}) {
            QTest::addRow("table of %u bytes", length)
                << file({0x200, length, 0x104201, 20, size}) << config << false;
        }
        QTest::newRow("chunk twice")
            << file({0x200, 24, 0x104201, 32, size, 0x104201, 32, size}) << config << false;
        for (const auto &[offset, length] :
             {std::pair(20U, size + 1), std::pair(21U, size), std::pair(0xffffffffU, 0xffffffffU),
              std::pair(20U, 0xffffffffU), std::pair(0xffffffffU, 21U), std::pair(20U, 0U)}) {
            QTest::addRow("settings at %u, %u bytes", offset, length)
                << file({0x200, 12, 0x104201, offset, length}) << part.arg("settings", "%1")
                << false;
        }
        for (const quint32 id : {0x104202U, 0x104203U}) {
            for (const auto &[offset, length] :
                 {std::pair(32U, size), std::pair(32U, 0U), std::pair(0xfffffff0U, 0x20U)}) {
                QTest::addRow("credential %x at %u, %u bytes", id, offset, length)
                    << file({0x200, 24, 0x104201, 32, size, id, offset, length})
                    << part.arg("credentials", "%1") << true;
            }
        }
        QTest::newRow("credential first")
            << file({0x200, 24, 0x104202, 32, size, 0x104201, 32, size})
            << part.arg("credentials", "%1") << false;
    }
    void aFileIsTakenAsFarAsItIsSound()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, error);
        QVERIFY(writeFile(m_file, bytes));
        m_runner->importSettings(m_file);
        QCOMPARE(results(), error.isEmpty() ? QStringList{"SImport true"}
                                            : (QStringList{error, "SImport false"}));
        QTEST(SettingsStore().value(keys::CloudHost) == "new.example", "taken");
        QCOMPARE(CredentialStore().keyStatus(), CredentialStore::FileMissing);
        QCOMPARE(CredentialStore().certStatus(), CredentialStore::FileMissing);
    }

    void whatCannotBeReadOrWrittenIsSaid()
    {
        m_runner->exportSettings(m_file);
        const QByteArray older = readFile(m_file);
        results();
        SettingsStore().set(keys::DevicePool, QString(1000, ' '));
        for (const int space : {0, 100}) {
            const FileSizeLimit limit(space);
            m_runner->exportSettings(space == 0 ? m_file : m_dir.filePath("new.bak"));
        }
        QCOMPARE(readFile(m_file), older);
        m_runner->exportSettings(m_file + "/b.bak");
        m_runner->exportSettings("/dev/null");
        QCOMPARE(results(), (QStringList{"Error Cannot write to a %1.bak", "SExport false",
                                         "Error Cannot write to new.bak", "SExport false",
                                         "Error Cannot write to b.bak", "SExport false",
                                         "Error Cannot write to null", "SExport false"}));
        for (const QString &unreadable : {m_dir.filePath("none"), QString("/dev/null")}) {
            m_runner->importSettings(unreadable);
        }
        QCOMPARE(results(), (QStringList{"Error Cannot read none", "SImport false",
                                         "Error Cannot read null", "SImport false"}));
    }

private:
    static void putInPool(const QString &gatewayId, const QString &lampId)
    {
        DevicePool::update([&](DevicePool &pool) {
            pool.put({"gateway", "200", "S", gatewayId, "Home"});
            pool.put({"fake", "1", "A", lampId, "Lamp"});
        });
    }
    QStringList results() { return takeResults(*m_finished); }

    QTemporaryDir m_dir;
    const QString m_file = m_dir.filePath("a %1.bak");
    TestBroker::Credentials m_issued;
    std::unique_ptr<ZugatewRunner> m_runner;
    std::unique_ptr<QSignalSpy> m_finished;
};

KVG_TEST_MAIN(TestBackup)
#include "tst_backup.moc"
