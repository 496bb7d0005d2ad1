#include "things/gatewaything.h"

#include "cloud/credentialstore.h"
#include "cloud/topics.h"
#include "cloud/velmorcloudclient.h"
#include "settings/settingsstore.h"
#include "things/log.h"
#include "things/thingindex.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QPointer>
#include <QRandomGenerator>
#include <QTimer>
#include <QTimerEvent>

#include <cmath>
#include <limits>
#include <tuple>

Q_LOGGING_CATEGORY(lcThings, "kvg.things")

namespace {

constexpr int shortestReportInterval = 60; // seconds
constexpr int earlyReportFrom = 30000;     // milliseconds
constexpr int earlyReportSpread = 40000;   // milliseconds
constexpr int longestId = 1024;            // characters
constexpr int longestAlias = 1024;         // characters
constexpr int longestHost = 253;           // characters, RFC 1035
// Bytes of an update. Qt's JSON parser never frees the values of repeated names, so a large text
// can cost many times its size for good.
constexpr int maxUpdateSize = 64 * 1024;

bool isHost(const QString &text)
{
    if (text.isEmpty() || text.size() > longestHost) {
        return false;
    }
    for (const QChar c : text) {
        if (!c.isPrint() || c.isSpace() || c == QLatin1Char('/')) {
            return false;
        }
    }
    return true;
}

// 0 for what is no port.
quint32 portOf(const QJsonValue &value)
{
    const double number = value.toDouble();
    return number >= 1 && number <= 65535 && number == std::floor(number)
               ? static_cast<quint32>(number)
               : 0;
}

} // namespace

GatewayThing::GatewayThing(QObject *parent)
    : QAbstractThing(parent)
    , m_client(new VelmorCloudClient(this))
{
    connect(m_client, &VelmorCloudClient::connectivityChanged, this,
            &GatewayThing::mqtt_connectivityChanged);
    connect(m_client, &VelmorCloudClient::messageReceived, this,
            &GatewayThing::mqtt_messageReceived);
    connect(m_client, &VelmorCloudClient::messagePublished, this,
            &GatewayThing::mqtt_messagePublished);
}

GatewayThing::~GatewayThing()
{
    m_client->disconnect(this);
    delete m_client;
}

QString GatewayThing::type() const
{
    return QStringLiteral("gateway");
}

QString GatewayThing::version() const
{
    return QStringLiteral("200");
}

int GatewayThing::kind() const
{
    return 2;
}

QString GatewayThing::serial() const
{
    const QString issued = SettingsStore().value(keys::CloudSerial);
    return issued.isEmpty() ? QStringLiteral("?") : issued;
}

QJsonObject GatewayThing::state() const
{
    return {{"count", m_siblings.size()}};
}

void GatewayThing::setReportInterval(int seconds)
{
    if (seconds == m_reportInterval) {
        return;
    }
    m_reportInterval = qMax(seconds, shortestReportInterval);
    if (m_reportTimer != -1) {
        stopReportTimer();
        startReportTimer();
    }
}

void GatewayThing::startReportTimer()
{
    const qint64 period = qint64(m_reportInterval) * 1000;
    m_reportTimer = startTimer(
        static_cast<int>(qMin<qint64>(period, std::numeric_limits<int>::max())), Qt::CoarseTimer);
}

void GatewayThing::stopReportTimer()
{
    if (m_reportTimer != -1) {
        killTimer(m_reportTimer);
        m_reportTimer = -1;
    }
}

bool GatewayThing::isConnected() const
{
    return m_client->isConnected();
}

bool GatewayThing::holdsCredentials() const
{
    const CredentialStore credentials;
    return !regid().isEmpty() && credentials.keyStatus() == CredentialStore::Ok &&
           credentials.certStatus() == CredentialStore::Ok;
}

GatewayThing::Connection GatewayThing::wantedConnection() const
{
    const SettingsStore store;
    return {cloudid(), store.value(keys::CloudHost),
            static_cast<quint16>(qMin<quint32>(store.value(keys::CloudPort), 65535)),
            qMin(qRound(m_reportInterval * 0.8), m_keepAlive)};
}

bool GatewayThing::isConnectionOutdated() const
{
    const Connection wanted = wantedConnection();
    return std::tie(wanted.clientId, wanted.host, wanted.port, wanted.keepAlive) !=
           std::tie(m_connection.clientId, m_connection.host, m_connection.port,
                    m_connection.keepAlive);
}

bool GatewayThing::connectToCloud(bool first)
{
    if (regid().isEmpty() || serial().isEmpty()) {
        return false;
    }
    m_firstConnection = m_firstConnection || first;
    m_client->stop(); // before the settings are read: its local event loop may let them change
    m_connection = wantedConnection();
    const bool started = m_client->start(m_connection.clientId, m_connection.keepAlive,
                                         m_connection.host, m_connection.port);
    if (!started) {
        qCWarning(lcThings) << "Not connecting:" << m_client->lastError();
        return false;
    }
    // The client forgot its subscriptions when it stopped.
    for (auto it = m_siblings.cbegin(); it != m_siblings.cend(); ++it) {
        m_client->subscribe(it.key());
    }
    return true;
}

void GatewayThing::disconnectFromCloud()
{
    stopReportTimer();
    m_client->stop();
}

void GatewayThing::mqtt_connectivityChanged(bool on)
{
    stopReportTimer();
    if (on) {
        startReportTimer();
        if (m_firstConnection) {
            const quint32 spread =
                QRandomGenerator64::global()->bounded(quint32(earlyReportSpread));
            QTimer::singleShot(earlyReportFrom + static_cast<int>(spread), this,
                               &GatewayThing::reportStates);
        }
        m_firstConnection = false; // not at a failed attempt: the first success counts
    }
    emit connectivityChanged(on);
}

void GatewayThing::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_reportTimer) {
        QAbstractThing::timerEvent(event);
        return;
    }
    if (m_client->isConnected()) {
        reportStates();
    } else {
        stopReportTimer();
    }
}

void GatewayThing::reportStates()
{
    if (!m_client->isConnected()) {
        return;
    }
    // A copy: asking for a state may end in mediumGone(), which takes the thing out.
    const QHash<QString, QAbstractThing *> siblings = m_siblings;
    for (auto it = siblings.cbegin(); it != siblings.cend(); ++it) {
        if (m_siblings.value(it.key()) != it.value()) {
            continue;
        }
        const QString key = rekey(it.value());
        const QJsonObject state = it.value()->state();
        if (!state.isEmpty() && m_siblings.value(key) == it.value()) {
            m_client->publish(key, state);
        }
    }
    m_client->publish(cloudid(), state());
}

void GatewayThing::enter(const QString &cloudid, QAbstractThing *thing)
{
    m_siblings.insert(cloudid, thing);
    m_keys.insert(thing, cloudid);
    m_client->subscribe(cloudid);
}

void GatewayThing::leave(const QString &cloudid)
{
    m_keys.remove(m_siblings.take(cloudid));
    m_client->unsubscribe(cloudid);
}

// The sibling's present cloud id, under which it is entered when this returns. An id that
// another sibling holds already stays with that one.
QString GatewayThing::rekey(QAbstractThing *thing)
{
    const QString old = m_keys.value(thing);
    const QString current = thing->cloudid();
    if (old == current || m_siblings.contains(current)) {
        return old;
    }
    leave(old);
    enter(current, thing);
    return current;
}

bool GatewayThing::addSibling(QAbstractThing *thing)
{
    if (thing == nullptr || m_siblings.contains(thing->cloudid())) {
        return false;
    }
    if (m_keys.contains(thing)) {
        rekey(thing);
    } else {
        enter(thing->cloudid(), thing);
        if (thing->parent() == nullptr) {
            thing->setParent(this);
        }
        // Not by way of sender(), which walks the connections of all siblings.
        connect(thing, &QAbstractThing::stateChanged, this,
                [this, thing](const QJsonObject &value) { publishState(thing, value); });
        connect(thing, &QAbstractThing::serialChanged, this, [this, thing] {
            if (m_keys.contains(thing)) {
                rekey(thing);
            }
        });
        connect(thing, &QObject::destroyed, this, [this](const QObject *gone) {
            if (m_keys.contains(gone)) {
                leave(m_keys.value(gone));
                emit stateChanged(state());
            }
        });
    }
    if (m_client->isConnected()) {
        const QJsonObject current = thing->state();
        if (!current.isEmpty() && m_keys.contains(thing)) {
            m_client->publish(thing->cloudid(), current);
        }
    }
    emit stateChanged(state());
    return true;
}

bool GatewayThing::removeSibling(const QString &cloudid)
{
    QAbstractThing *const thing = m_siblings.value(cloudid);
    if (thing == nullptr) {
        return false;
    }
    leave(cloudid);
    thing->disconnect(this);
    if (thing->parent() == this) {
        thing->deleteLater();
    }
    emit stateChanged(state());
    return true;
}

bool GatewayThing::removeSibling(QAbstractThing *thing)
{
    return m_keys.contains(thing) && removeSibling(m_keys.value(thing));
}

bool GatewayThing::hasSibling(const QString &cloudid) const
{
    return m_siblings.contains(cloudid);
}

void GatewayThing::sibling_stateChanged(const QJsonObject &value)
{
    if (auto *const thing = qobject_cast<QAbstractThing *>(sender())) {
        publishState(thing, value);
    }
}

void GatewayThing::publishState(QAbstractThing *thing, const QJsonObject &value)
{
    if (!m_keys.contains(thing) || !thing->isActive() || value.isEmpty()) {
        return;
    }
    m_client->publish(rekey(thing), value);
}

void GatewayThing::mqtt_messageReceived(const QString &tid, const QByteArray &data)
{
    if (data.size() > maxUpdateSize) {
        qCWarning(lcThings) << "Ignored an update of" << data.size() << "bytes for" << tid
                            << "- the limit is" << maxUpdateSize;
        return;
    }
    const QJsonDocument document = QJsonDocument::fromJson(data);
    QAbstractThing *const thing = m_siblings.value(tid);
    if (!document.isObject() || thing == nullptr) {
        qCDebug(lcThings) << "Ignored an update for" << tid;
        return;
    }
    // Each call may be the thing's end, or change its id.
    if (!thing->applyUpdate(document.object()) || !m_keys.contains(thing)) {
        return;
    }
    const QJsonObject current = thing->state();
    if (!m_keys.contains(thing)) {
        return;
    }
    if (!current.isEmpty()) {
        m_client->publish(rekey(thing), current);
    }
    emit siblingUpdated(thing);
}

void GatewayThing::mqtt_messagePublished(const QString &tid)
{
    if (QAbstractThing *const thing = m_siblings.value(tid)) {
        thing->statePublished();
    }
}

void GatewayThing::resetRegistration()
{
    setRegid(QString());
    CredentialStore().removeCredentials();
    discardPending();
}

void GatewayThing::discardPending(const QSet<QString> &exceptOf)
{
    m_client->discardPending(exceptOf);
}

void GatewayThing::exportCredentials(QByteArray &cert, QByteArray &key) const
{
    const CredentialStore credentials;
    cert = credentials.certificateDer();
    key = credentials.keyDer();
}

bool GatewayThing::importCredentials(const QByteArray &cert, const QByteArray &key)
{
    CredentialStore credentials;
    return (cert.isEmpty() || credentials.storeCertificateDer(cert)) &&
           (key.isEmpty() || credentials.storeKeyDer(key));
}

bool GatewayThing::applyRegistration(const QJsonObject &reply,
                                     const QList<QAbstractThing *> &things, bool suppressSiblings)
{
    if (reply.contains(QLatin1String("cred")) && !applyIdentity(reply)) {
        return false;
    }
    if (reply.contains(QLatin1String("alias"))) {
        rename(reply["alias"].toString().left(longestAlias));
    }
    applyAddress(reply);
    applyFleet(reply, things, suppressSiblings);
    return true;
}

// Id and serial are taken before the credentials are looked at, on purpose: the cloud has issued
// them whatever becomes of the files.
bool GatewayThing::applyIdentity(const QJsonObject &reply)
{
    const QString id = reply["id"].toString();
    const QStringList parts = id.split(QLatin1Char('_'));
    // It becomes the name of the gateway at the broker, and part of every topic.
    if (parts.size() != 4 || parts.contains(QString()) || id.size() > longestId ||
        !topics::isValidId(id)) {
        qCWarning(lcThings) << "The registrar's reply has no usable id; credentials are left out";
        return true;
    }
    const QString oldSerial = serial();
    const QString oldId = cloudid();
    setRegid(parts.at(3));
    SettingsStore().set(keys::CloudSerial, parts.at(2));
    if (cloudid() != oldId) {
        discardPending();
    }
    emit serialChanged(oldSerial, serial());

    const QJsonObject cred = reply["cred"].toObject();
    QString error;
    if (!CredentialStore().storeIssuedCredentials(cred["file"].toString().toUtf8(),
                                                  cred["priv"].toString().toUtf8(), error)) {
        qCWarning(lcThings) << "The issued credentials cannot be stored:" << error;
        return false;
    }
    return true;
}

void GatewayThing::applyAddress(const QJsonObject &reply)
{
    bool changed = false;
    {
        SettingsStore store;
        const QString host = reply["server"].toString();
        if (isHost(host) && host != store.value(keys::CloudHost)) {
            store.set(keys::CloudHost, host);
            changed = true;
        }
        const quint32 port = portOf(reply["port"]);
        if (port != 0 && port != store.value(keys::CloudPort)) {
            store.set(keys::CloudPort, port);
            changed = true;
        }
    }
    if (changed) {
        emit settingsChanged();
    }
}

QVector<GatewayThing::Registration> GatewayThing::registrationsOf(const QJsonObject &reply)
{
    QVector<Registration> registrations;
    const QJsonArray fleet = reply["fleet"].toArray();
    for (const QJsonValue &element : fleet) {
        const QString id = element["id"].toString();
        if (id.isEmpty() || id.size() > longestId || id.endsWith(QLatin1Char('_')) ||
            id.contains(QLatin1String("__"))) {
            qCWarning(lcThings) << "The registrar's reply has an unusable id in \"fleet\":"
                                << id.left(80);
            continue;
        }
        registrations.append({id, element["alias"].toString().left(longestAlias)});
    }
    return registrations;
}

void GatewayThing::applyFleet(const QJsonObject &reply, const QList<QAbstractThing *> &things,
                              bool suppressSiblings)
{
    const ThingIndex index(things);
    const QVector<Registration> fleet = registrationsOf(reply);
    for (const Registration &element : fleet) {
        const QPointer<QAbstractThing> thing = index.findExact(element.cloudid);
        if (thing.isNull()) {
            qCInfo(lcThings) << "The registrar named a thing that is not here:"
                             << element.cloudid.left(80);
            continue;
        }
        thing->rename(element.alias); // announced, so it may be the thing's end
        if (thing) {
            thing->setRegidFromCid(element.cloudid);
        }
        if (thing && !suppressSiblings) {
            addSibling(thing);
        }
    }
}
