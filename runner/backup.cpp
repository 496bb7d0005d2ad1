// The part of the runner that writes and restores a backup of the configuration.

#include "runner/backupfile.h"
#include "runner/identitychange.h"
#include "runner/log.h"
#include "runner/zugatewrunner.h"
#include "settings/devicepool.h"
#include "settings/privatefile.h"
#include "settings/zusettings.h"
#include "things/gatewaything.h"
#include "things/qabstractthing.h"

#include <QDataStream>
#include <QFile>
#include <QFileInfo>
#include <QTimer>

namespace {

// Nothing when the file cannot be read; what is too large is read no further than it takes to
// notice.
std::optional<QByteArray> readBounded(const QString &path)
{
    QFile file(path);
    if (!isRegularFile(path) || !file.open(QIODevice::ReadOnly)) {
        qCWarning(lcRunner).noquote() << "Not a file that can be read:" << file.errorString();
        return std::nullopt;
    }
    const QByteArray bytes = file.read(BackupFile::largest + 1LL);
    return file.error() == QFile::NoError ? std::optional(bytes) : std::nullopt;
}

} // namespace

void ZugatewRunner::exportSettings(const QString &file)
{
    QByteArray settings;
    QDataStream stream(&settings, QIODevice::WriteOnly);
    const bool exported = ZUSettings().exportAll(stream);

    QByteArray certificate;
    QByteArray key;
    m_gateway->exportCredentials(certificate, key);
    QVector<BackupFile::Chunk> chunks{{BackupFile::Settings, settings}};
    if (!certificate.isEmpty()) {
        chunks.append({BackupFile::Certificate, certificate});
    }
    if (!key.isEmpty()) {
        chunks.append({BackupFile::PrivateKey, key});
    }
    const QByteArray bytes = BackupFile::pack(chunks);
    QString error = QStringLiteral("it would be too large");
    if (!exported || bytes.size() > BackupFile::largest ||
        !replacePrivateFile(file, bytes, error)) {
        qCWarning(lcRunner).noquote() << "Cannot write the backup:" << error;
        fail(SExport, tr("Cannot write to %1").arg(QFileInfo(file).fileName()));
        return;
    }
    qCInfo(lcRunner, "Backup written");
    emit finished(SExport, true);
}

void ZugatewRunner::importSettings(const QString &file)
{
    if (m_voiding) { // entered from the local event loop of a reset or another restore
        QTimer::singleShot(voidingRetry, this, [this, file] { importSettings(file); });
        return;
    }
    const QString name = QFileInfo(file).fileName();
    const std::optional<QByteArray> bytes = readBounded(file);
    if (!bytes) {
        fail(SImport, tr("Cannot read %1").arg(name));
        return;
    }
    QVector<BackupFile::Chunk> chunks;
    const BackupFile::Fault fault = BackupFile::unpack(*bytes, chunks);
    if (fault != BackupFile::None) {
        fail(SImport, fault == BackupFile::WrongVersion
                          ? tr("Cannot restore config - wrong version")
                          : tr("Cannot restore config from %1").arg(name));
        return;
    }
    if (!chunks.isEmpty() && !identitychange::isUsable(chunks.first())) {
        fail(SImport, unusable(chunks.first(), name)); // nothing is replaced or interrupted
        return;
    }
    voidRegistrationSession(); // its result would belong to what is replaced now
    identitychange::beginRestore(*bytes);
    endConnection();
    const int taken = takeChunks(chunks);
    identitychange::end();
    updatePool();
    // Under the restored identity, whatever part of the file proved to be good.
    QMetaObject::invokeMethod(
        this, [this] { startCloud(false); }, Qt::QueuedConnection);
    if (taken < chunks.size()) {
        fail(SImport, unusable(chunks.at(taken), name));
        if (taken > 0) { // what the window shows of the settings may be out of date
            emit finished(SetUpdate, QVariant());
            listPlugins();
        }
        return;
    }
    qCInfo(lcRunner, "Configuration restored from a backup");
    emit finished(SImport, true);
}

// What the user is told of a chunk that cannot be taken.
QString ZugatewRunner::unusable(const BackupFile::Chunk &chunk, const QString &file)
{
    return (chunk.id == BackupFile::Settings
                ? tr("Cannot restore settings from %1 - invalid data")
                : tr("Cannot restore credentials from %1 - invalid data"))
        .arg(file);
}

// In the order of the table, up to the first that cannot be taken: what was taken before a failure
// stays. The number of those taken.
int ZugatewRunner::takeChunks(const QVector<BackupFile::Chunk> &chunks)
{
    int taken = 0;
    for (const BackupFile::Chunk &chunk : chunks) {
        const QString oldSerial = m_gateway->serial();
        const QString oldId = m_gateway->cloudid();
        if (!identitychange::storeChunk(*m_gateway, chunk)) {
            break;
        }
        ++taken;
        if (chunk.id == BackupFile::Settings) {
            if (m_gateway->serial() != oldSerial) {
                reportSerial(m_gateway, oldSerial); // the gateway asks the store for it
            }
            takeRegistrations(oldId);
            readCloudSettings();
        }
    }
    return taken;
}

// The live things go on under the ids of the stored pool: under those from before, the next write
// of the pool would undo the restore. What waits for the cloud under ids that are not restored is
// dropped.
void ZugatewRunner::takeRegistrations(const QString &oldGatewayId)
{
    const DevicePool pool = DevicePool::read();
    const auto regidAt = [&pool](int index) {
        return index < 0 ? QString() : pool.at(index).regid;
    };
    m_gateway->setRegid(
        regidAt(pool.indexOfGateway(m_gateway->type(), m_gateway->version(), m_gateway->serial())));
    m_gateway->setAlias(QString()); // the pool gives the restored one
    const QList<QAbstractThing *> things = m_things;
    for (QAbstractThing *const thing : things) {
        if (!m_origins.contains(thing)) {
            continue;
        }
        m_gateway->removeSibling(thing);
        thing->setRegid(regidAt(pool.indexOf(thing->shortid())));
        if (!m_gateway->regid().isEmpty() && !thing->regid().isEmpty()) {
            m_gateway->addSibling(thing);
        }
    }
    const bool isSameGateway = m_gateway->cloudid() == oldGatewayId;
    m_gateway->discardPending(isSameGateway ? pool.cloudids() : QSet<QString>());
}
