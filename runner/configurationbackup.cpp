#include "runner/configurationbackup.h"

#include "cloud/credentialstore.h"
#include "runner/backupsummary.h"
#include "runner/livethings.h"
#include "runner/log.h"
#include "settings/devicepool.h"
#include "settings/privatefile.h"
#include "settings/settingsstream.h"
#include "settings/zusettings.h"

#include <QDataStream>
#include <QFile>
#include <QFileInfo>

#include <optional>

namespace {

// Reads at most one byte more than a backup may have. Nothing when the file cannot be read.
std::optional<QByteArray> readBounded(const QString &path)
{
    QFile file(path);
    if (!isRegularFile(path) || !file.open(QIODevice::ReadOnly)) {
        qCWarning(lcRunner).noquote() << "Cannot read the backup:" << file.errorString();
        return std::nullopt;
    }
    const QByteArray bytes = file.read(BackupContainer::maxSize + 1LL);
    return file.error() == QFile::NoError ? std::optional(bytes) : std::nullopt;
}

void summarize(const QVariantMap &settings, const GatewayThing &present, BackupSummary &summary)
{
    const auto text = [&settings](const Key<QString> &key) {
        return settings.value(QLatin1String(key.path)).toString();
    };
    summary.version = text(keys::StoredVersion);
    const DevicePool pool = DevicePool::parse(text(keys::DevicePool));
    for (int i = 0; i < pool.size(); ++i) {
        summary.devices += pool.at(i).type == present.type() ? 0 : 1;
    }
    const QString serial = text(keys::CloudSerial);
    const int gateway = pool.indexOfGateway(present.type(), present.version(), serial);
    const PoolEntry entry = gateway < 0 ? PoolEntry() : pool.at(gateway);
    summary.alias = entry.alias;
    if (!serial.isEmpty() && !entry.regid.isEmpty()) {
        const bool isPresent = serial == present.serial() && entry.regid == present.regid();
        summary.registration = isPresent ? BackupSummary::Present : BackupSummary::Other;
    }
}

} // namespace

QString ConfigurationBackup::write(const QString &path, const GatewayThing &gateway)
{
    QByteArray settings;
    QDataStream stream(&settings, QIODevice::WriteOnly);
    const bool exported = ZUSettings().exportAll(stream);

    QByteArray certificate;
    QByteArray key;
    gateway.exportCredentials(certificate, key);
    QVector<BackupContainer::Chunk> chunks{{BackupContainer::Settings, settings}};
    if (!certificate.isEmpty()) {
        chunks.append({BackupContainer::Certificate, certificate});
    }
    if (!key.isEmpty()) {
        chunks.append({BackupContainer::PrivateKey, key});
    }
    const QByteArray bytes = BackupContainer::pack(chunks);
    QString error = QStringLiteral("it would be too large");
    if (!exported || bytes.size() > BackupContainer::maxSize ||
        !replacePrivateFile(path, bytes, error)) {
        qCWarning(lcRunner).noquote() << "Cannot write the backup:" << error;
        return tr("Cannot write to %1").arg(QFileInfo(path).fileName());
    }
    qCInfo(lcRunner, "Backup written");
    return {};
}

QString ConfigurationBackup::open(const QString &path)
{
    m_name = QFileInfo(path).fileName();
    const std::optional<QByteArray> bytes = readBounded(path);
    if (!bytes) {
        return tr("Cannot read %1").arg(m_name);
    }
    m_bytes = *bytes;
    switch (BackupContainer::unpack(m_bytes, m_chunks)) {
    case BackupContainer::WrongVersion:
        return tr("Cannot restore config - wrong version");
    case BackupContainer::Damaged:
        return tr("Cannot restore config from %1").arg(m_name);
    case BackupContainer::None:
        break;
    }
    return m_chunks.isEmpty() || isUsable(m_chunks.first()) ? QString()
                                                            : unusable(m_chunks.first());
}

QString ConfigurationBackup::inspect(const QString &path, const GatewayThing &present,
                                     BackupSummary &summary)
{
    const QString error = open(path);
    if (!error.isEmpty()) {
        return error;
    }
    summary.file = path;
    summary.fileTime = QFileInfo(path).lastModified();
    for (const BackupContainer::Chunk &chunk : qAsConst(m_chunks)) {
        if (!isUsable(chunk)) {
            return unusable(chunk);
        }
        if (chunk.id == BackupContainer::Settings) {
            summarize(*settingsstream::parse(chunk.data), present, summary);
        }
        summary.hasCertificate |= chunk.id == BackupContainer::Certificate;
        summary.hasKey |= chunk.id == BackupContainer::PrivateKey;
    }
    return {};
}

QString ConfigurationBackup::restore(LiveThings &things)
{
    GatewayThing &gateway = things.gateway();
    for (const BackupContainer::Chunk &chunk : qAsConst(m_chunks)) {
        const QString oldSerial = gateway.serial();
        const QString oldId = gateway.cloudid();
        if (!storeChunk(gateway, chunk)) {
            return unusable(chunk);
        }
        m_hasRestored = true;
        if (chunk.id == BackupContainer::Settings) {
            if (gateway.serial() != oldSerial) { // which the gateway reads from the settings
                things.emitSerialChange(&gateway, oldSerial);
            }
            things.restoreRegistrations(oldId);
        }
    }
    qCInfo(lcRunner, "Configuration restored from a backup");
    return {};
}

QString ConfigurationBackup::unusable(const BackupContainer::Chunk &chunk) const
{
    return (chunk.id == BackupContainer::Settings
                ? tr("Cannot restore settings from %1 - invalid data")
                : tr("Cannot restore credentials from %1 - invalid data"))
        .arg(m_name);
}

bool ConfigurationBackup::isUsable(const BackupContainer::Chunk &chunk)
{
    switch (chunk.id) {
    case BackupContainer::Settings:
        return ZUSettings::canImport(chunk.data);
    case BackupContainer::Certificate:
        return CredentialStore::isCertificate(chunk.data);
    default:
        return CredentialStore::isKey(chunk.data);
    }
}

bool ConfigurationBackup::storeChunk(GatewayThing &gateway, const BackupContainer::Chunk &chunk)
{
    if (chunk.id == BackupContainer::Settings) {
        return ZUSettings().importAll(chunk.data);
    }
    const bool isKey = chunk.id == BackupContainer::PrivateKey;
    return !chunk.data.isEmpty() && gateway.importCredentials(isKey ? QByteArray() : chunk.data,
                                                              isKey ? chunk.data : QByteArray());
}
