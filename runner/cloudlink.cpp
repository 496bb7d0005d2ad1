#include "runner/cloudlink.h"

#include "settings/settingsstore.h"
#include "things/gatewaything.h"

#include <utility>

CloudLink::CloudLink(GatewayThing &gateway, QObject *parent)
    : QObject(parent)
    , m_gateway(gateway)
{
    readSettings();
}

void CloudLink::readSettings()
{
    const SettingsStore store;
    m_gateway.setReportInterval(store.value(keys::ReportInterval));
    m_gateway.setKeepAlive(store.value(keys::KeepAlive));
}

void CloudLink::start(bool firstrun)
{
    if (mayConnect() && m_gateway.holdsCredentials() &&
        (!m_gateway.isConnected() || m_gateway.isConnectionOutdated())) {
        m_gateway.connectToCloud(firstrun);
    }
}

void CloudLink::startLater(bool firstrun)
{
    QMetaObject::invokeMethod(
        this, [this, firstrun] { start(firstrun); }, Qt::QueuedConnection);
}

void CloudLink::restart()
{
    if (mayConnect() && m_gateway.holdsCredentials()) {
        m_gateway.connectToCloud(false);
    }
}

void CloudLink::end()
{
    const bool wasEnding = std::exchange(m_ending, true);
    m_gateway.disconnectFromCloud();
    m_ending = wasEnding;
}

void CloudLink::shutDown()
{
    m_shutDown = true;
    m_gateway.disconnectFromCloud();
}
