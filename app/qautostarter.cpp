#include "app/qautostarter.h"

#include "app/platform/autostartentry.h"

#include <QCoreApplication>

namespace {

QString ownCommand()
{
    return autostartentry::commandFor(QCoreApplication::applicationFilePath());
}

} // namespace

QAutoStarter::QAutoStarter(const QString &name, const QString & /*picture*/, QObject *parent)
    : QObject(parent)
    , m_name(name)
{
}

bool QAutoStarter::autostartSet() const
{
    return autostartentry::read(m_name) == ownCommand();
}

void QAutoStarter::setAutostart(bool on)
{
    if (on) {
        autostartentry::write(m_name, ownCommand());
    } else if (!autostartentry::read(m_name).isNull()) {
        autostartentry::remove(m_name);
    }
}

void QAutoStarter::checkAutostart()
{
    if (!autostartentry::read(m_name).isNull() && !autostartSet()) {
        setAutostart(true);
    }
}
