#include "things/gatewaything.h"

#include "cloud/credentialstore.h"
#include "cloud/topics.h"
#include "cloud/velmorcloudclient.h"
#include "settings/settingsstore.h"
#include "things/log.h"
#include "things/thingindex.h"
#include "watch/runwatch.h"

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

constexpr int minEarlyReportDelay = 30000; // milliseconds
constexpr int earlyReportSpread = 40000;   // milliseconds
constexpr int maxIdLength = 1024;
constexpr int maxAliasLength = 1024;
constexpr int maxHostLength = 253; // RFC 1035
// Bytes. Qt's JSON parser keeps the values of repeated names, so a large update can take many times
// its size in memory.
constexpr int maxUpdateSize = 64 * 1024;

bool isHost(const QString &text)
{
    if (text.isEmpty() || text.size() > maxHostLength) {
        return false;
    }
    for (const QChar c : text) {
        if (!c.isPrint() || c.isSpace() || c == QLatin1Char('/')) {
            return false;
        }
    }
    return true;
}

// 0 if `value` is no port.
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
    m_client->stop(); // while the gateway is whole: its event loop may run slots of the gateway
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
    m_reportInterval = qMax(seconds, minReportInterval);
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
           std::tie(m_lastConnection.clientId, m_lastConnection.host, m_lastConnection.port,
                    m_lastConnection.keepAlive);
}

bool GatewayThing::connectToCloud(bool first)
{
    if (regid().isEmpty() || serial().isEmpty()) {
        return false;
    }
    m_earlyReportWanted = m_earlyReportWanted || first;
    m_client->stop(); // before reading the settings, which may change in its event loop
    m_lastConnection = wantedConnection();
    const bool started = m_client->start(m_lastConnection.clientId, m_lastConnection.keepAlive,
                                         m_lastConnection.host, m_lastConnection.port);
    if (!started) {
        qCWarning(lcThings) << "Cannot connect to the cloud:" << m_client->lastError();
        return false;
    }
    // stop() made the client forget its subscriptions.
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
        if (m_earlyReportWanted) {
            const quint32 spread =
                QRandomGenerator64::global()->bounded(quint32(earlyReportSpread));
            QTimer::singleShot(minEarlyReportDelay + static_cast<int>(spread), this,
                               &GatewayThing::reportStates);
        }
        m_earlyReportWanted = false; // only after a success; a failed attempt keeps it
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
    // A copy: state() may emit mediumGone(), which removes the thing.
    const QHash<QString, QAbstractThing *> siblings = m_siblings;
    for (auto it = siblings.cbegin(); it != siblings.cend(); ++it) {
        if (m_siblings.value(it.key()) != it.value()) {
            continue;
        }
        const QString id = updateSiblingId(it.value());
        const QJsonObject state = it.value()->state();
        if (!state.isEmpty() && m_siblings.value(id) == it.value()) {
            m_client->publish(id, state);
        }
    }
    m_client->publish(cloudid(), state());
}

void GatewayThing::insertSibling(const QString &cloudid, QAbstractThing *thing)
{
    m_siblings.insert(cloudid, thing);
    m_idOfSibling.insert(thing, cloudid);
    m_client->subscribe(cloudid);
}

void GatewayThing::eraseSibling(const QString &cloudid)
{
    m_idOfSibling.remove(m_siblings.take(cloudid));
    m_client->unsubscribe(cloudid);
}

// Moves the sibling to its present cloud id, unless another sibling has that id. Returns the id
// that it is stored under.
QString GatewayThing::updateSiblingId(QAbstractThing *thing)
{
    const QString old = m_idOfSibling.value(thing);
    const QString current = thing->cloudid();
    if (old == current || m_siblings.contains(current)) {
        return old;
    }
    eraseSibling(old);
    insertSibling(current, thing);
    return current;
}

bool GatewayThing::addSibling(QAbstractThing *thing)
{
    if (thing == nullptr || m_siblings.contains(thing->cloudid())) {
        return false;
    }
    if (m_idOfSibling.contains(thing)) {
        updateSiblingId(thing);
    } else {
        insertSibling(thing->cloudid(), thing);
        if (thing->parent() == nullptr) {
            thing->setParent(this);
        }
        // Lambdas, because sender() searches the connections of all siblings.
        connect(thing, &QAbstractThing::stateChanged, this,
                [this, thing](const QJsonObject &value) { publishState(thing, value); });
        connect(thing, &QAbstractThing::serialChanged, this, [this, thing] {
            if (m_idOfSibling.contains(thing)) {
                updateSiblingId(thing);
            }
        });
        connect(thing, &QObject::destroyed, this, [this](const QObject *gone) {
            if (m_idOfSibling.contains(gone)) {
                eraseSibling(m_idOfSibling.value(gone));
                emit stateChanged(state());
            }
        });
    }
    if (m_client->isConnected()) {
        const QJsonObject current = thing->state();
        if (!current.isEmpty() && m_idOfSibling.contains(thing)) {
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
    eraseSibling(cloudid);
    thing->disconnect(this);
    if (thing->parent() == this) {
        thing->deleteLater();
    }
    emit stateChanged(state());
    return true;
}

bool GatewayThing::removeSibling(QAbstractThing *thing)
{
    return m_idOfSibling.contains(thing) && removeSibling(m_idOfSibling.value(thing));
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
    if (!m_idOfSibling.contains(thing) || !thing->isActive() || value.isEmpty()) {
        return;
    }
    m_client->publish(updateSiblingId(thing), value);
}

void GatewayThing::mqtt_messageReceived(const QString &tid, const QByteArray &data)
{
    if (data.size() > maxUpdateSize) {
        qCWarning(lcThings) << "Ignored an update for" << tid << "- too large:" << data.size()
                            << "bytes";
        return;
    }
    const QJsonDocument document = QJsonDocument::fromJson(data);
    QAbstractThing *const thing = m_siblings.value(tid);
    if (!document.isObject() || thing == nullptr) {
        qCDebug(lcThings) << "Ignored an update for" << tid << "- unknown thing or no JSON object";
        return;
    }
    // Each call may delete the thing or change its id.
    const bool isApplied = runwatch::callPlugin(
        thing->type(), "applyUpdate()", [&] { return thing->applyUpdate(document.object()); });
    if (!isApplied || !m_idOfSibling.contains(thing)) {
        return;
    }
    const QJsonObject current = thing->state();
    if (!m_idOfSibling.contains(thing)) {
        return;
    }
    if (!current.isEmpty()) {
        m_client->publish(updateSiblingId(thing), current);
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

void GatewayThing::flushPending()
{
    m_client->outbox().flush();
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
        rename(reply["alias"].toString().left(maxAliasLength));
    }
    applyAddress(reply);
    applyFleet(reply, things, suppressSiblings);
    return true;
}

// Stores id and serial before the credentials: the cloud has issued them, even if the files cannot
// be written.
bool GatewayThing::applyIdentity(const QJsonObject &reply)
{
    const QString id = reply["id"].toString();
    const QStringList parts = id.split(QLatin1Char('_'));
    // The id becomes the gateway's client id and part of its topics.
    if (parts.size() != 4 || parts.contains(QString()) || id.size() > maxIdLength ||
        !topics::isValidId(id)) {
        qCWarning(lcThings)
            << "Ignored the registrar's credentials: invalid gateway id in the reply";
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
        qCWarning(lcThings) << "Cannot store the issued credentials:" << error;
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
        if (id.isEmpty() || id.size() > maxIdLength || id.endsWith(QLatin1Char('_')) ||
            id.contains(QLatin1String("__"))) {
            qCWarning(lcThings) << "Ignored an invalid id in the registrar's \"fleet\":"
                                << id.left(80);
            continue;
        }
        registrations.append({id, element["alias"].toString().left(maxAliasLength)});
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
            qCInfo(lcThings) << "Ignored the registration of an unknown thing:"
                             << element.cloudid.left(80);
            continue;
        }
        thing->rename(element.alias); // emits; a handler may delete the thing
        if (thing) {
            thing->setRegidFromCid(element.cloudid);
        }
        if (thing && !suppressSiblings) {
            addSibling(thing);
        }
    }
}
