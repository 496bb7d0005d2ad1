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

AutostartEntry::AutostartEntry(const QString &name)
    : m_name(name)
{
}

QString AutostartEntry::commandFor(const QString &executable)
{
    return QStringLiteral("\"%1\"").arg(QDir::toNativeSeparators(executable));
}

QString AutostartEntry::read() const
{
    const RunKey key;
    if (!key.contains(m_name)) {
        return {};
    }
    // A value of another type is an entry too, though Windows starts nothing by it.
    const QString command = key.value(m_name).toString();
    return command.isNull() ? QStringLiteral("") : command;
}

void AutostartEntry::write(const QString &command)
{
    RunKey key;
    key.setValue(m_name, command);
    key.flush();
}

void AutostartEntry::remove()
{
    RunKey key;
    key.remove(m_name);
    key.flush();
}
