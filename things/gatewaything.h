#pragma once

#include "things/qabstractthing.h"

#include <QByteArray>
#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QSet>
#include <QString>
#include <QVector>

class VelmorCloudClient;

// The gateway itself as a thing. It owns the cloud client, publishes the states of its siblings
// (the device things that it represents in the cloud) and applies updates to them. Lives on the
// runner's thread with everything that it owns.
//
// The gateway becomes the parent of a sibling that has none; others it does not own.
class GatewayThing : public QAbstractThing
{
    Q_OBJECT
    Q_PROPERTY(int reportInterval READ reportInterval WRITE setReportInterval)
    Q_PROPERTY(int keepAlive MEMBER m_keepAlive)

public:
    explicit GatewayThing(QObject *parent = nullptr);
    ~GatewayThing() override;

    QString type() const override;
    QString version() const override;
    int kind() const override;
    // The serial that the cloud issued; "?" while there is none.
    QString serial() const override;
    // {"count": number of siblings}
    QJsonObject state() const override;

    int reportInterval() const { return m_reportInterval; }
    static constexpr int minReportInterval = 60; // seconds; smaller values are raised to it
    // Seconds between two full reports. Restarts a running timer.
    void setReportInterval(int seconds);
    // Seconds; upper limit of the keep-alive.
    int keepAlive() const { return m_keepAlive; }
    void setKeepAlive(int seconds) { m_keepAlive = seconds; }

    bool isConnected() const;
    // To be watched, not called.
    VelmorCloudClient &client() { return *m_client; }
    // Writes what waits for the cloud to the disk.
    void flushPending();
    // Registered, with valid credential files.
    bool holdsCredentials() const;
    // True if connectToCloud() would now use another client id, address or keep-alive than at its
    // last call, or was not called yet.
    bool isConnectionOutdated() const;
    // Begins to connect. `first`: an early report follows 30 to 70 seconds after the connection is
    // made, at a random time, so that many gateways do not all send at once; later calls do not
    // cancel it. False if the gateway is not registered or, with a log line, if the credentials
    // are invalid.
    bool connectToCloud(bool first);
    // Runs a local event loop for up to 2.5 s, until the connection is closed.
    void disconnectFromCloud();

    // False if a sibling has the thing's cloud id. Emits stateChanged() with the new count.
    bool addSibling(QAbstractThing *thing);
    bool removeSibling(const QString &cloudid);
    // Also after a change of the thing's id.
    bool removeSibling(QAbstractThing *thing);
    bool hasSibling(const QString &cloudid) const;

    // Clears the registration id, deletes the credential files and drops all pending states.
    void resetRegistration();
    // Drops the states that wait for the cloud, except those of these cloud ids.
    void discardPending(const QSet<QString> &exceptOf = {});

    // For the backup: DER, the key not encrypted; empty if the file cannot be read.
    void exportCredentials(QByteArray &cert, QByteArray &key) const;
    [[nodiscard]] bool importCredentials(const QByteArray &cert, const QByteArray &key);

    // Applies the registrar's reply to the gateway and to `things`. False, with a log line, if the
    // credentials could not be stored; id and serial are applied even then.
    [[nodiscard]] bool applyRegistration(const QJsonObject &reply,
                                         const QList<QAbstractThing *> &things,
                                         bool suppressSiblings = false);

    // An element of the reply's "fleet".
    struct Registration
    {
        QString cloudid;
        QString alias; // cut to the maximum length
    };
    // Skips elements with an invalid id.
    static QVector<Registration> registrationsOf(const QJsonObject &reply);

signals:
    void connectivityChanged(bool on);
    // A registration changed the broker's address or port.
    void settingsChanged();
    // An update from the cloud changed this sibling's state; the thing emits no stateChanged().
    void siblingUpdated(QAbstractThing *thing);
    // Overrides the virtual function by a signal: emitted when the gateway's own state was sent.
    void statePublished() override;

public slots:
    // If connected, publishes the states of all siblings and of the gateway.
    void reportStates();
    void mqtt_connectivityChanged(bool on);
    void mqtt_messageReceived(const QString &tid, const QByteArray &data);
    void mqtt_messagePublished(const QString &tid);
    void sibling_stateChanged(const QJsonObject &value);

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    struct Connection
    {
        QString clientId;
        QString host;
        quint16 port = 0;
        int keepAlive = 0; // seconds
    };
    Connection wantedConnection() const;
    bool applyIdentity(const QJsonObject &reply);
    void applyAddress(const QJsonObject &reply);
    void applyFleet(const QJsonObject &reply, const QList<QAbstractThing *> &things,
                    bool suppressSiblings);
    void publishState(QAbstractThing *thing, const QJsonObject &value);
    void insertSibling(const QString &cloudid, QAbstractThing *thing);
    void eraseSibling(const QString &cloudid);
    QString updateSiblingId(QAbstractThing *thing);
    void startReportTimer();
    void stopReportTimer();

    int m_reportInterval = 300;
    int m_keepAlive = 300;
    QHash<QString, QAbstractThing *> m_siblings; // by cloud id
    VelmorCloudClient *m_client;
    int m_reportTimer = -1;
    bool m_earlyReportWanted = false;
    Connection m_lastConnection;                   // of the last connectToCloud()
    QHash<const QObject *, QString> m_idOfSibling; // its key in m_siblings
};
