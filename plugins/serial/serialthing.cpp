#include "plugins/serial/serialthing.h"

#include "plugins/serial/boardport.h"

#include <QJsonDocument>

SerialThing::SerialThing(BoardPort &port)
    : m_port(&port)
    , m_key(port.deviceKey())
    , m_serial(port.serial())
    , m_state(port.report().state)
{
    port.take();
    QAbstractThing::setAlias(port.report().title);
    QAbstractThing::setActive(true);
    connect(&port, &BoardPort::reported, this, &SerialThing::readState);
    connect(&port, &BoardPort::gone, this, &SerialThing::lose);
}

SerialThing::~SerialThing()
{
    if (m_port) {
        m_port->disconnect(this);
        m_port->close();
    }
}

QString SerialThing::type() const
{
    return QStringLiteral("serial");
}

QString SerialThing::version() const
{
    return QStringLiteral("1");
}

int SerialThing::kind() const
{
    return 1;
}

QString SerialThing::serial() const
{
    return m_serial;
}

QJsonObject SerialThing::state() const
{
    return m_state;
}

bool SerialThing::applyUpdate(const QJsonObject &update)
{
    if (m_port) {
        m_port->write(QJsonDocument(update).toJson(QJsonDocument::Compact) + '\n');
    }
    return false;
}

QString SerialThing::deviceKey() const
{
    return m_port ? m_key : QString();
}

void SerialThing::readState()
{
    if (m_state != m_port->report().state) {
        m_state = m_port->report().state;
        emit stateChanged(m_state);
    }
}

void SerialThing::lose()
{
    m_port->disconnect(this);
    m_port.clear();
    emit mediumGone();
}
