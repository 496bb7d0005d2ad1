#include "runner/linkmonitor.h"

#include "cloud/credentialstore.h"
#include "cloud/velmorcloudclient.h"
#include "things/gatewaything.h"

#include <QDateTime>

#include <chrono>
#include <utility>

using namespace std::chrono_literals;

namespace {

constexpr auto reportInterval = 500ms;

} // namespace

LinkMonitor::LinkMonitor(GatewayThing &gateway, QObject *parent)
    : QObject(parent)
    , m_gateway(gateway)
    , m_timer(this)
{
    m_timer.setSingleShot(true);
    m_timer.setInterval(reportInterval);
    connect(&m_timer, &QTimer::timeout, this, &LinkMonitor::report);
    VelmorCloudClient &client = m_gateway.client();
    connect(&client, &VelmorCloudClient::linkChanged, this, &LinkMonitor::refresh);
    connect(&client, &VelmorCloudClient::messagePublished, this, &LinkMonitor::update);
    connect(&client.outbox(), &Outbox::changed, this, &LinkMonitor::update);
}

void LinkMonitor::refresh()
{
    m_credentialsRead = false;
    update();
}

void LinkMonitor::update()
{
    if (!m_timer.isActive()) {
        m_timer.start();
    }
}

void LinkMonitor::report()
{
    emit changed(state());
}

LinkState LinkMonitor::state()
{
    VelmorCloudClient &client = m_gateway.client();
    Outbox &outbox = client.outbox();
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    if (!std::exchange(m_credentialsRead, true)) { // decrypting the key takes milliseconds
        m_credentialsFault = CredentialStore().fault();
        m_validity = CredentialStore().validity();
    }

    LinkState state;
    state.failure = client.failure();
    state.since = client.connectedSince();
    state.nextAttempt = client.nextAttempt();
    if (m_gateway.regid().isEmpty()) {
        state.kind = LinkState::NotRegistered;
    } else if (client.isConnected()) {
        state.kind = LinkState::Connected;
    } else if (!m_credentialsFault.isNull()) {
        state.kind = LinkState::Unusable;
        state.failure = m_credentialsFault;
    } else {
        state.kind = client.isStarted() && state.nextAttempt < now ? LinkState::Connecting
                                                                   : LinkState::Waiting;
    }
    state.ledger = outbox.ledger();
    state.thisRun = outbox.ledgerOfThisRun();
    state.waitingSince = state.ledger.waiting > 0 ? now - outbox.waitingFor().count() : 0;
    state.outboxFault = outbox.fault();
    state.certificateFrom = m_validity.from;
    state.certificateUntil = m_validity.until;
    return state;
}
