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

// The gateway itself as a thing, and the hub of the cloud link: it owns the cloud client, keeps
// the siblings (the device things that it represents in the cloud), publishes their states and
// hands updates to them. Lives on the runner's thread with everything that it owns.
//
// Siblings are borrowed, except those that come without a parent: the gateway becomes theirs.
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
    // Seconds between two full reports; raised to 60. A running timer begins anew.
    void setReportInterval(int seconds);
    // Seconds; upper bound of the keep-alive.
    int keepAlive() const { return m_keepAlive; }
    void setKeepAlive(int seconds) { m_keepAlive = seconds; }

    bool isConnected() const;
    // A registration id, and both credential files in order.
    bool holdsCredentials() const;
    // The connection was made, or is being made, with another identity, address or keep-alive than
    // connectToCloud() would use now; also when there was none yet.
    bool isConnectionOutdated() const;
    // Begins to connect. `first`: an early report follows 30 to 70 seconds after the connection
    // is up, spread so that many gateways do not all speak at once; a later call before that does
    // not take it back. False when the gateway is not registered or the client has nothing to
    // connect with.
    bool connectToCloud(bool first);
    // Waits up to 2.5 s in a local event loop for an orderly end.
    void disconnectFromCloud();

    // False when the thing's cloud id is already represented. Announces the new count.
    bool addSibling(QAbstractThing *thing);
    bool removeSibling(const QString &cloudid);
    // Finds the thing by its pointer, whatever its id was when it was added.
    bool removeSibling(QAbstractThing *thing);
    bool hasSibling(const QString &cloudid) const;

    // Forgets the registration id, deletes both credential files and drops every state that waits
    // for the cloud.
    void resetRegistration();
    // Drops the states that wait for the cloud, except those under these cloud ids.
    void discardPending(const QSet<QString> &exceptOf = {});

    // For the backup: DER, each empty when its file cannot be read; the key without pass phrase.
    void exportCredentials(QByteArray &cert, QByteArray &key) const;
    bool importCredentials(const QByteArray &cert, const QByteArray &key);

    // Applies the registrar's reply to the gateway and to `things`. False when the credentials
    // could not be stored; the cause is in the log, and what came before them stays applied.
    bool applyRegistration(const QJsonObject &reply, const QList<QAbstractThing *> &things,
                           bool suppressSiblings = false);

    // An element of the reply's "fleet".
    struct Registration
    {
        QString cloudid;
        QString alias; // cut to what an alias may be
    };
    // Those of the elements whose id may be one.
    static QVector<Registration> registrationsOf(const QJsonObject &reply);

signals:
    void connectivityChanged(bool on);
    // Address or port of the broker changed by a registration.
    void settingsChanged();
    // An update from the cloud changed this sibling's state, which the thing itself does not
    // announce.
    void siblingUpdated(QAbstractThing *thing);
    // Takes the place of the virtual operation of that name on purpose: told of a publication of
    // its own state, the gateway passes the word on as a signal.
    void statePublished() override;

public slots:
    // Publishes every sibling's state and the gateway's count, if connected.
    void reportStates();
    void mqtt_connectivityChanged(bool on);
    void mqtt_messageReceived(const QString &tid, const QByteArray &data);
    void mqtt_messagePublished(const QString &tid);
    void sibling_stateChanged(const QJsonObject &value);

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    // What a connection is made with.
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
    void enter(const QString &cloudid, QAbstractThing *thing);
    void leave(const QString &cloudid);
    QString rekey(QAbstractThing *thing);
    void startReportTimer();
    void stopReportTimer();

    int m_reportInterval = 300;
    int m_keepAlive = 300;
    QHash<QString, QAbstractThing *> m_siblings; // by cloud id
    VelmorCloudClient *m_client;
    int m_reportTimer = -1;
    bool m_firstConnection = false;
    Connection m_connection;                // of the last connectToCloud()
    QHash<const QObject *, QString> m_keys; // each sibling's place in m_siblings
};
