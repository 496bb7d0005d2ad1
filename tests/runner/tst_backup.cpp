#include "cloud/credentialstore.h"
#include "cloud/velmorcloudclient.h"
#include "runner/identitychange.h"
#include "settings/devicepool.h"
#include "settings/zusettings.h"
#include "tests/support/fileaccess.h"
#include "tests/support/files.h"
#include "tests/support/runnerresults.h"
#include "tests/support/testbroker.h"
#include "tests/support/testmain.h"
#include "tests/support/writefault.h"
#include "things/qabstractthing.h"

#include <QDataStream>
#include <QSslCertificate>
#include <QSslKey>
#include <QtEndian>

namespace {

QByteArray words(const QVector<quint32> &numbers)
{
    QByteArray bytes(numbers.size() * 4, '\0');
    qToLittleEndian<quint32>(numbers.constData(), numbers.size(), bytes.data());
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
    void init()
    {
        QSettings().clear();
        CredentialStore().removeCredentials();
        QFile::remove(m_file);
        m_runner = std::make_unique<ZugatewRunner>();
        m_finished = std::make_unique<QSignalSpy>(m_runner.get(), &ZugatewRunner::finished);
    }
    void cleanup() { QCOMPARE(QDir(m_dir.path()).entryList(QDir::Files).size(), 1); } // no litter

    void aFreshProfileTakesOverAllThatTheFileHolds()
    {
        QString error;
        QVERIFY(CredentialStore().storeIssuedCredentials(m_issued.cert, m_issued.key, error));
        putInPool("G", "");
        const QByteArray settings = settingsChunk();
        const QByteArray cert = QSslCertificate(m_issued.cert).toDer();
        const QByteArray key = QSslKey(m_issued.key, QSsl::Rsa).toDer();
        const quint32 certAt = 44 + quint32(settings.size());
        const quint32 keyAt = certAt + quint32(cert.size());
        for (int round = 0; round < 2; ++round) {
            m_runner->exportSettings(m_file);
            QVERIFY(isPrivate(m_file));
            openToEverybody(m_file);
            QVERIFY(!isPrivate(m_file));
        }
        QCOMPARE(readFile(m_file), words({0x200, 36, 0x104201, 44, certAt - 44, 0x104202, certAt,
                                          keyAt - certAt, 0x104203, keyAt, quint32(key.size())}) +
                                       settings + cert + key);

        QSettings().clear();
        CredentialStore().removeCredentials();
        QSignalSpy changed(m_runner.get(), &ZugatewRunner::thingChanged);
        m_runner->importSettings(m_file);
        QCOMPARE(results(), (QStringList{"SExport true", "SExport true", "SImport true"}));
        QCOMPARE(CredentialStore().certificate(), QSslCertificate(m_issued.cert));
        QCOMPARE(CredentialStore().key(), QSslKey(m_issued.key, QSsl::Rsa));
        QVERIFY(changed.first().first().value<ThingState>().gone); // under its former serial
        const auto last = changed.last().first().value<ThingState>();
        QVERIFY(last.shortid == "gateway_200_S" && last.alias == "Home");
    }

    void liveThingsGoOnUnderTheRestoredRegistration()
    {
        putInPool("G", "1");
        m_runner->exportSettings(m_file);
        putInPool("H", "2");
        qApp->setProperty("fake/devices", QStringList{"A"});
        m_runner->loadPlugins();
        m_runner->rescan();
        const auto *const client = m_runner->findChild<VelmorCloudClient *>();
        auto *const lamp = m_runner->findChild<QAbstractThing *>("A");
        emit lamp->stateChanged({{"x", 1}});
        QCOMPARE(client->pendingCount(), 1);
        m_runner->importSettings(m_file);
        QCOMPARE(client->pendingCount(), 0); // another gateway's
        m_runner->renameThing("gateway_200_S", "House");
        m_runner->renameThing("fake_1_A", "Torch");
        QCOMPARE(results().mid(3), (QStringList{"SImport true", "TRename true", "TRename true"}));
        const DevicePool pool = DevicePool::read();
        QCOMPARE(pool.at(pool.indexOf("gateway_200_S")).regid, QString("G"));
        QCOMPARE(pool.at(pool.indexOf("fake_1_A")).regid, QString("1"));
        emit lamp->stateChanged({{"x", 1}});
        m_runner->importSettings(m_file);
        QCOMPARE(client->pendingCount(), 1); // the same identity
    }

    void aFileIsInspectedWithoutReplacingAnything()
    {
        const auto inspected = [this] {
            m_runner->inspectBackup(m_file);
            return m_inspected;
        };
        connect(m_runner.get(), &ZugatewRunner::backupInspected, this,
                [this](const BackupSummary &summary) { m_inspected = summary; });
        m_runner->exportSettings(m_file);
        QVERIFY(inspected().registration == BackupSummary::None && !m_inspected.hasKey);
        QString error;
        QVERIFY(CredentialStore().storeIssuedCredentials(m_issued.cert, m_issued.key, error));
        putInPool("G", "1");
        m_runner->exportSettings(m_file);
        m_runner->importSettings(m_file); // the live gateway takes over the registration
        QCOMPARE(inspected().registration, BackupSummary::Present);
        QVERIFY(m_inspected.hasCertificate && m_inspected.hasKey);
        QCOMPARE(m_inspected.alias, QString("Home"));
        QCOMPARE(m_inspected.devices, 1);
        QCOMPARE(m_inspected.version, QString(defaults::Version));
        SettingsStore().set(keys::CloudSerial, QString("T"));
        QCOMPARE(inspected().registration, BackupSummary::Other);
        results();
        writeFile(m_file, readFile(m_file).chopped(1)); // of the key
        m_runner->inspectBackup(m_file);
        QCOMPARE(results(), (QStringList{"Error Cannot restore credentials from a %1.bak - "
                                         "invalid data",
                                         "SImport false"}));
        QCOMPARE(SettingsStore().value(keys::CloudSerial), QString("T"));
    }

    void aChangeThatWasDoneIsNotCarriedThrough()
    {
        const auto shows = [](const QString &serial, const QString &regid) {
            QCOMPARE(SettingsStore().value(keys::CloudSerial), serial);
            QCOMPARE(DevicePool::read().at(0).regid, regid);
        };
        putInPool("G", "1");
        m_runner->exportSettings(m_file);
        m_runner->resetGateway();
        m_runner->importSettings(m_file);
        IdentityChange::carryThrough();
        shows("S", "G");
        m_runner->resetGateway();
        IdentityChange::carryThrough();
        shows("", "");
    }

    void aFileIsTakenAsFarAsItIsSound()
    {
        SettingsStore().set(keys::CloudHost, QString("new"));
        const QByteArray settings = settingsChunk();
        const quint32 size = quint32(settings.size());
        const auto file = [&](const QVector<quint32> &header) { return words(header) + settings; };
        const QByteArray sound = file({0x200, 12, 0x104201, 20, size});
        for (const QByteArray &bytes :
             {QByteArray(), sound.left(19), sound.leftJustified(64 * 1024 * 1024 + 1),
              file({0x200, 0, 0x104201, 20, size}), file({0x200, 13, 0x104201, 20, size}),
              file({0x200, 12000, 0x104201, 20, size}),
              file({0x200, 0xfffffffc, 0x104201, 20, size}),
              file({0x200, 24, 0x104201, 32, size, 0x104201, 32, size})}) {
            QCOMPARE(restored(bytes), QString("Error Cannot restore config from a %1.bak: old"));
        }
        QCOMPARE(restored("\1" + sound.mid(1)),
                 QString("Error Cannot restore config - wrong version: old"));
        for (const auto &[offset, length] :
             {std::pair(20U, size + 1), std::pair(21U, size), std::pair(0xffffffffU, 0xffffffffU),
              std::pair(20U, 0xffffffffU), std::pair(0xffffffffU, 21U), std::pair(20U, 0U)}) {
            QCOMPARE(restored(file({0x200, 12, 0x104201, offset, length})),
                     QString("Error Cannot restore settings from a %1.bak - invalid data: old"));
        }
        const QString credentials = "Error Cannot restore credentials from a %1.bak - invalid data";
        for (const auto &[offset, length] :
             {std::pair(32U, size), std::pair(32U, 0U), std::pair(0xfffffff0U, 0x20U)}) {
            for (const quint32 id : {0x104202U, 0x104203U}) {
                QCOMPARE(restored(file({0x200, 24, 0x104201, 32, size, id, offset, length})),
                         credentials + ": new");
            }
        }
        QCOMPARE(restored(file({0x200, 24, 0x104202, 32, size, 0x104201, 32, size})),
                 credentials + ": old");
        QCOMPARE(restored(file({0x200, 36, 7, ~0U, ~0U, 7, 0, 0, 0x104201, 44, size})),
                 QString("SImport true: new")); // unknown chunks are passed over
        QCOMPARE(CredentialStore().keyStatus(), CredentialStore::FileMissing);
        QCOMPARE(CredentialStore().certStatus(), CredentialStore::FileMissing);
    }

    void whatCannotBeReadOrWrittenIsSaid()
    {
        m_runner->exportSettings(m_file);
        const QByteArray older = readFile(m_file);
        const quint32 size = quint32(older.size()) - 20; // no credentials, so one chunk
        QCOMPARE(older.left(20), words({0x200, 12, 0x104201, 20, size}));
        SettingsStore().set(keys::DevicePool, QString(1000, ' '));
        for (const int space : {0, 100}) {
            const QString file = space == 0 ? m_file : m_dir.filePath("new.bak");
            const auto fault = fileFault(file, space);
            m_runner->exportSettings(file);
        }
        QCOMPARE(readFile(m_file), older);
        m_runner->exportSettings(m_file + "/b.bak");
        m_runner->exportSettings(QProcess::nullDevice());
        m_runner->importSettings(m_dir.filePath("none"));
        m_runner->importSettings(QProcess::nullDevice());
        const QString null = QFileInfo(QProcess::nullDevice()).fileName();
        QCOMPARE(results().filter("Error"),
                 (QStringList{"Error Cannot write to a %1.bak", "Error Cannot write to new.bak",
                              "Error Cannot write to b.bak", "Error Cannot write to " + null,
                              "Error Cannot read none", "Error Cannot read " + null}));
    }

private:
    static void putInPool(const QString &gatewayId, const QString &lampId)
    {
        SettingsStore().set(keys::CloudSerial, QString("S"));
        DevicePool::update([&](DevicePool &pool) {
            pool.put({"gateway", "200", "S", gatewayId, "Home"});
            pool.put({"fake", "1", "A", lampId, "Lamp"});
        });
    }
    // What the restore of a file says first, and the host that is stored then.
    QString restored(const QByteArray &bytes)
    {
        SettingsStore().set(keys::CloudHost, QString("old"));
        writeFile(m_file, bytes);
        m_runner->importSettings(m_file);
        return results().value(0) + ": " + SettingsStore().value(keys::CloudHost);
    }
    QStringList results() { return takeResults(*m_finished); }

    QTemporaryDir m_dir;
    const QString m_file = m_dir.filePath("a %1.bak");
    const TestBroker::Credentials m_issued = TestBroker().issue("gateway");
    std::unique_ptr<ZugatewRunner> m_runner;
    std::unique_ptr<QSignalSpy> m_finished;
    BackupSummary m_inspected;
};

KVG_TEST_MAIN(TestBackup)
#include "tst_backup.moc"
