#pragma once

#include "cloud/credentialstore.h"
#include "runner/linkstate.h"

#include <QObject>
#include <QTimer>

class GatewayThing;

// Puts the state of the link together and reports it when it changed, at most twice a second.
// Lives on the runner's thread.
class LinkMonitor : public QObject
{
    Q_OBJECT

public:
    // `gateway` is borrowed.
    explicit LinkMonitor(GatewayThing &gateway, QObject *parent = nullptr);

    // Reports soon, with credentials that may have changed.
    void refresh();
    // Reports at once, whether or not anything changed.
    void report();

signals:
    void changed(const LinkState &state);

private:
    void update();
    LinkState state();

    GatewayThing &m_gateway;
    QTimer m_timer;
    bool m_credentialsRead = false;
    ConnectionFailure m_credentialsFault;
    CredentialStore::Validity m_validity;
};
