#include "app/qautostarter.h"

#include <QCoreApplication>

namespace {

QString ownCommand()
{
    return AutostartEntry::commandFor(QCoreApplication::applicationFilePath());
}

} // namespace

QAutoStarter::QAutoStarter(const QString &name, const QString & /*picture*/, QObject *parent)
    : QObject(parent)
    , m_entry(name)
{
}

bool QAutoStarter::autostartSet() const
{
    return m_entry.read() == ownCommand();
}

void QAutoStarter::setAutostart(bool on)
{
    if (on) {
        m_entry.write(ownCommand());
    } else if (!m_entry.read().isNull()) {
        m_entry.remove();
    }
}

void QAutoStarter::checkAutostart()
{
    const QString command = m_entry.read();
    if (!command.isNull() && command != ownCommand()) {
        m_entry.write(ownCommand());
    }
}
