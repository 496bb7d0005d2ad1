#include "runner/identitychange.h"

#include "registration/registrationsession.h"
#include "runner/cloudlink.h"
#include "runner/configurationbackup.h"
#include "runner/livethings.h"
#include "runner/log.h"
#include "settings/privatefile.h"
#include "settings/zusettings.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTimer>

#include <algorithm>
#include <chrono>

namespace {

using namespace std::chrono_literals;

// The whole file for a reset; no backup begins like this.
constexpr char resetMark[] = "reset";
constexpr auto retryDelay = 100ms;

QString folder()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
}

QString path()
{
    return folder() + QLatin1String("/identity.pending");
}

void writePending(const QByteArray &change)
{
    QDir().mkpath(folder());
    QString error;
    if (!replacePrivateFile(path(), change, error)) {
        qCWarning(lcRunner).noquote() << "Cannot write" << path() << "-" << error;
    }
}

void removePending()
{
    QFile file(path());
    // If it stayed, the next start would apply the change again and overwrite later ones.
    if (file.exists() && !file.remove() && !file.resize(0)) {
        qCWarning(lcRunner).noquote() << "Cannot remove" << path() << "-" << file.errorString();
    }
}

} // namespace

IdentityChange::IdentityChange(LiveThings &things, CloudLink &link,
                               RegistrationSession &registration, QObject *parent)
    : QObject(parent)
    , m_things(things)
    , m_link(link)
    , m_registration(registration)
{
}

void IdentityChange::begin(const QByteArray &change)
{
    if (m_registration.cancel()) {
        emit registrationVoided();
    }
    writePending(change);
    m_link.end();
}

void IdentityChange::reset()
{
    if (m_link.isEnding()) { // called from the local event loop of another change
        QTimer::singleShot(retryDelay, this, &IdentityChange::reset);
        return;
    }
    qCInfo(lcRunner, "The registration is void");
    begin(resetMark);
    m_things.voidRegistrations();
    ZUSettings().resetRegistration();
    removePending();
    emit resetDone();
}

void IdentityChange::restore(const QString &file)
{
    if (m_link.isEnding()) { // called from the local event loop of another change
        QTimer::singleShot(retryDelay, this, [this, file] { restore(file); });
        return;
    }
    ConfigurationBackup backup;
    QString error = backup.open(file);
    if (error.isEmpty()) {
        begin(backup.bytes());
        error = backup.restore(m_things);
        removePending();
        m_link.readSettings();
        m_things.restoreNames();
        m_link.startLater(false); // under the restored identity, even if it is incomplete
    }
    emit restoreEnded(error, backup.hasRestored());
}

void IdentityChange::carryThrough()
{
    QFile file(path());
    if (!isRegularFile(path()) || !file.open(QIODevice::ReadOnly)) {
        return;
    }
    const QByteArray change = file.read(BackupContainer::maxSize);
    file.close();
    GatewayThing gateway;
    if (change == resetMark) {
        gateway.resetRegistration();
        ZUSettings().resetRegistration();
        qCWarning(lcRunner, "A reset of the registration was interrupted; it is completed now");
    } else {
        gateway.discardPending(); // of the identity before
        QVector<BackupContainer::Chunk> chunks;
        const bool done =
            BackupContainer::unpack(change, chunks) == BackupContainer::None &&
            std::all_of(chunks.cbegin(), chunks.cend(), [&gateway](const auto &chunk) {
                return ConfigurationBackup::storeChunk(gateway, chunk);
            });
        qCWarning(lcRunner) << "A restore was interrupted; it is"
                            << (done ? "completed now" : "incomplete: restore the backup again");
    }
    removePending();
}
