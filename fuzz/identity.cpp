// What a process that was killed left of a reset or a restore: the next start completes it.
#include "cloud/credentialstore.h"
#include "fuzz/fuzz.h"
#include "runner/identitychange.h"
#include "settings/settingsstore.h"
#include "settings/settingsstream.h"

#include <QDataStream>
#include <QDir>
#include <QStandardPaths>

namespace {

// All that it may replace.
QByteArrayList completed(const QByteArray &change)
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    QFile file(folder + QLatin1String("/identity.pending"));
    require(QDir().mkpath(folder) && file.open(QIODevice::WriteOnly));
    require(file.write(change) == change.size());
    file.close();
    IdentityChange::carryThrough();
    require(!file.exists());
    QByteArray settings;
    QDataStream stream(&settings, QIODevice::WriteOnly);
    SettingsStore store;
    require(settingsstream::write(store, stream));
    const CredentialStore credentials;
    return {settings, credentials.certificateDer(), credentials.keyDer()};
}

} // namespace

void fuzz(const QByteArray &bytes)
{
    // A process that is killed while it completes the change leaves it to the next one.
    const QByteArrayList once = completed(bytes);
    require(completed(bytes) == once);
}
