// A settings file that anyone may have written: once it is sanitized, QSettings makes texts, bytes
// and lists of them alone.
#include "settings/settingsfile.h"
#include "fuzz/fuzz.h"

#include <QDir>
#include <QSettings>

#include <algorithm>

namespace {

bool isPlain(const QVariant &value)
{
    const QVariantList items = value.toList();
    const int type = value.userType();
    return type == QMetaType::QVariantList
               ? std::all_of(items.begin(), items.end(), isPlain)
               : type == QMetaType::UnknownType || type == QMetaType::QString ||
                     type == QMetaType::QStringList || type == QMetaType::QByteArray;
}

} // namespace

void fuzz(const QByteArray &bytes)
{
    // QSettings keeps what it read from a file of the same name.
    static quint64 run = 0;
    QCoreApplication::setApplicationName(QString::number(++run));
    const QString folder = qEnvironmentVariable("XDG_CONFIG_HOME") + QLatin1String("/Corvalt/");
    QDir().mkpath(folder);
    QFile file(folder + QString::number(run) + QLatin1String(".conf"));
    require(file.open(QIODevice::WriteOnly));
    file.write(bytes);
    file.close();
    sanitizeStoredSettings();
    {
        const QSettings settings;
        const QStringList keys = settings.allKeys();
        require(std::all_of(keys.begin(), keys.end(),
                            [&](const QString &key) { return isPlain(settings.value(key)); }));
    }
    file.remove();
    QFile::remove(file.fileName() + QLatin1String(".unsafe"));
}
