#include "app/platform/autostartentry.h"

#include "app/log.h"

#include <QDir>
#include <QSettings>

namespace {

class RunKey : public QSettings
{
public:
    RunKey()
        : QSettings("HKEY_CURRENT_USER\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run",
                    QSettings::NativeFormat)
    {
    }
    void flush()
    {
        sync();
        if (status() != QSettings::NoError) {
            qCWarning(lcApp, "Cannot write the autostart entry to the registry");
        }
    }
};

} // namespace

QString autostartentry::commandFor(const QString &executable)
{
    return QStringLiteral("\"%1\"").arg(QDir::toNativeSeparators(executable));
}

QString autostartentry::read(const QString &name)
{
    const RunKey key;
    if (!key.contains(name)) {
        return {};
    }
    // A value of another type is an entry too, though Windows starts nothing by it.
    const QString command = key.value(name).toString();
    return command.isNull() ? QStringLiteral("") : command;
}

void autostartentry::write(const QString &name, const QString &command)
{
    RunKey key;
    key.setValue(name, command);
    key.flush();
}

void autostartentry::remove(const QString &name)
{
    RunKey key;
    key.remove(name);
    key.flush();
}
