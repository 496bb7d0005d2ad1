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
    void store()
    {
        sync();
        if (status() != QSettings::NoError) {
            qCWarning(lcApp, "The registry does not take the autostart entry");
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
    // A value that is no text is there as well, though nothing starts by it.
    const QString command = key.value(m_name).toString();
    return command.isNull() ? QStringLiteral("") : command;
}

void AutostartEntry::write(const QString &command)
{
    RunKey key;
    key.setValue(m_name, command);
    key.store();
}

void AutostartEntry::remove()
{
    RunKey key;
    key.remove(m_name);
    key.store();
}
