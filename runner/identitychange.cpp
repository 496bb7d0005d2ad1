#include "runner/identitychange.h"

#include "cloud/credentialstore.h"
#include "runner/log.h"
#include "settings/privatefile.h"
#include "settings/zusettings.h"
#include "things/gatewaything.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include <algorithm>

namespace {

// The whole file for a reset; no backup begins like this.
constexpr char resetMark[] = "reset";

QString folder()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
}

QString path()
{
    return folder() + QLatin1String("/identity.pending");
}

void begin(const QByteArray &change)
{
    QDir().mkpath(folder());
    QString error;
    if (!replacePrivateFile(path(), change, error)) {
        qCWarning(lcRunner).noquote() << "Cannot write" << path() << "-" << error;
    }
}

} // namespace

void identitychange::beginReset()
{
    begin(resetMark);
}

void identitychange::beginRestore(const QByteArray &backup)
{
    begin(backup);
}

void identitychange::end()
{
    QFile file(path());
    // One that stays would undo, at the next start, what happens until then.
    if (file.exists() && !file.remove() && !file.resize(0)) {
        qCWarning(lcRunner).noquote() << "Cannot remove" << path() << "-" << file.errorString();
    }
}

void identitychange::carryThrough()
{
    QFile file(path());
    if (!isRegularFile(path()) || !file.open(QIODevice::ReadOnly)) {
        return;
    }
    const QByteArray change = file.read(BackupFile::largest);
    file.close();
    GatewayThing gateway;
    if (change == resetMark) {
        gateway.resetRegistration();
        ZUSettings().resetRegistration();
        qCWarning(lcRunner, "A reset of the registration was interrupted; it is completed now");
    } else {
        QVector<BackupFile::Chunk> chunks;
        const bool done =
            BackupFile::unpack(change, chunks) == BackupFile::None &&
            std::all_of(chunks.cbegin(), chunks.cend(),
                        [&gateway](const auto &chunk) { return storeChunk(gateway, chunk); });
        qCWarning(lcRunner) << "A restore was interrupted; it is"
                            << (done ? "completed now" : "incomplete: restore the backup again");
    }
    end();
}

bool identitychange::isUsable(const BackupFile::Chunk &chunk)
{
    switch (chunk.id) {
    case BackupFile::Settings:
        return ZUSettings::canImport(chunk.data);
    case BackupFile::Certificate:
        return CredentialStore::isCertificate(chunk.data);
    default:
        return CredentialStore::isKey(chunk.data);
    }
}

bool identitychange::storeChunk(GatewayThing &gateway, const BackupFile::Chunk &chunk)
{
    if (chunk.id == BackupFile::Settings) {
        return ZUSettings().importAll(chunk.data);
    }
    const bool isKey = chunk.id == BackupFile::PrivateKey;
    return !chunk.data.isEmpty() && gateway.importCredentials(isKey ? QByteArray() : chunk.data,
                                                              isKey ? chunk.data : QByteArray());
}
