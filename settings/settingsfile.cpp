#include "settings/settingsfile.h"

#include "settings/log.h"

#include <QCoreApplication>
#include <QDir>
#include <QRegularExpression>
#include <QStandardPaths>

void sanitizeStoredSettings()
{
    // QSaveFile, QTemporaryFile and replacePrivateFile() write to "<name>.<six letters>" first.
    static const QRegularExpression temporary("^(kvgatew\\.key|kvgatew\\.cert|identity\\.pending|"
                                              "outbox\\.db|history\\.db|"
                                              "NimbraCloudGate\\.desktop|"
                                              "KVG-Gate\\.conf|KVG-Gate\\.conf\\.unsafe)"
                                              "\\.(?!unsafe)[A-Za-z]{6}$");
    const QString config = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    const QString data = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    for (const QDir &folder : {QDir(config + '/' + QCoreApplication::organizationName()),
                               QDir(config + "/autostart"), QDir(data)}) {
        const QStringList files = folder.entryList(QDir::Files | QDir::NoSymLinks);
        for (const QString &file : files.filter(temporary)) {
            const bool removed = QFile::remove(folder.filePath(file));
            qCInfo(lcSettings).noquote() << (removed ? "Removed" : "Cannot remove")
                                         << "the temporary file" << folder.filePath(file);
        }
    }
    sanitizeStore();
}
