#include "runner/zugatewrunner.h"

#include "cloud/credentialstore.h"
#include "registration/qssemanager.h"
#include "runner/identitychange.h"
#include "runner/log.h"
#include "runner/metatypes.h"
#include "runner/pluginsettings.h"
#include "settings/zusettings.h"
#include "things/gatewaything.h"
#include "things/qabstractthing.h"

#include <QCoreApplication>
#include <QPointer>
#include <QTimer>

#include <utility>

Q_LOGGING_CATEGORY(lcRunner, "kvg.runner")

ZugatewRunner::ZugatewRunner(QObject *parent)
    : QObject(parent)
    , m_gateway(new GatewayThing(this))
    , m_registrar(new QSSEManager(this))
    , m_plugins(QCoreApplication::applicationDirPath())
    , m_registrationDeadline(new QTimer(this))
{
    registerMetaTypes();
    listenTo(m_gateway);
    connect(m_gateway, &GatewayThing::connectivityChanged, this,
            &ZugatewRunner::connectivityChanged);
    connect(m_gateway, &GatewayThing::siblingUpdated, this, &ZugatewRunner::announce);
    connect(m_gateway, &GatewayThing::settingsChanged, this,
            [this] { emit finished(SetUpdate, QVariant()); });
    SettingsStore().markVersion();
    readCloudSettings();
    // finished(), not closed(): a stream that ends by itself is what has to be noticed.
    connect(m_registrar, &QSSEManager::finished, this, &ZugatewRunner::reg_closed);
    connect(m_registrar, &QSSEManager::dataReady, this, &ZugatewRunner::reg_dataRead);
    m_registrationDeadline->setSingleShot(true);
    connect(m_registrationDeadline, &QTimer::timeout, this, &ZugatewRunner::registrationTimedOut);
}

ZugatewRunner::~ZugatewRunner()
{
    // Those that wait for their deletion included. The end of one may be the end of another, and
    // none may speak to what is no more.
    QVector<QPointer<QAbstractThing>> things;
    const auto children = findChildren<QAbstractThing *>(QString(), Qt::FindDirectChildrenOnly);
    for (QAbstractThing *const thing : children) {
        thing->disconnect(this);
        thing->disconnect(m_gateway);
        things.append(thing);
    }
    delete m_gateway;
    for (const QPointer<QAbstractThing> &thing : things) {
        delete thing;
    }
    m_plugins.deinitialise();
}

void ZugatewRunner::shutdown()
{
    endRegistrationSession();
    m_leaving = true;
    m_gateway->disconnectFromCloud();
}

void ZugatewRunner::fail(Operation op, const QString &message)
{
    qCWarning(lcRunner).noquote() << message;
    emit finished(Error, message);
    emit finished(op, false);
}

QList<QAbstractThing *> ZugatewRunner::allThings() const
{
    return QList<QAbstractThing *>{m_gateway} + m_things;
}

void ZugatewRunner::loadPlugins()
{
    m_plugins.load();
    emit finished(Load, true);
}

void ZugatewRunner::listPlugins()
{
    QJsonObject list;
    for (const LoadedPlugin &plugin : m_plugins.plugins()) {
        list[plugin.name] = plugin.metadata;
    }
    emit finished(Lsmod, list);
}

void ZugatewRunner::listThings()
{
    ThingStateList list;
    list.reserve(m_things.size() + 1);
    const QList<QAbstractThing *> all = allThings();
    for (const QAbstractThing *const thing : all) {
        if (const auto state = stateOf(thing)) {
            list.append(*state);
        }
    }
    emit finished(Lsthings, QVariant::fromValue(list));
}

void ZugatewRunner::applyDeviceSettings()
{
    m_gateway->setReportInterval(SettingsStore().value(keys::ReportInterval));
    bool wasEnabled = false;
    const QVector<LoadedPlugin> plugins = m_plugins.plugins();
    for (const LoadedPlugin &plugin : plugins) {
        const QVariantHash settings = pluginSettings(plugin.name, plugin.metadata);
        if (!settings.value(QLatin1String(keys::PluginEnabled)).toBool()) {
            releaseThingsOf(plugin.name);
            continue;
        }
        wasEnabled = wasEnabled || !m_scannedPlugins.contains(plugin.name);
        const QList<QAbstractThing *> things = m_things;
        for (QAbstractThing *const thing : things) {
            if (m_origins.contains(thing) && thing->type() == plugin.name) {
                thing->setSettings(settings);
            }
        }
    }
    if (wasEnabled) {
        m_scanAgain = m_scanning;
        rescan();
    }
}

void ZugatewRunner::readCloudSettings()
{
    const SettingsStore store;
    m_gateway->setReportInterval(store.value(keys::ReportInterval));
    m_gateway->setKeepAlive(store.value(keys::KeepAlive));
}

void ZugatewRunner::applyCloudSettings()
{
    readCloudSettings();
    startCloud(false);
}

void ZugatewRunner::connectToCloud(bool firstrun)
{
    startCloud(firstrun);
    emit finished(CConnect, true);
}

void ZugatewRunner::startCloud(bool firstrun)
{
    if (!m_voiding && !m_leaving && m_gateway->holdsCredentials() &&
        (!m_gateway->isConnected() || m_gateway->isConnectionOutdated())) {
        m_gateway->connectToCloud(firstrun);
    }
}

void ZugatewRunner::cloudStatus()
{
    const CredentialStore credentials;
    emit finished(CStatus, QJsonObject{{"gw", !m_gateway->serial().isEmpty() &&
                                                  !m_gateway->regid().isEmpty()},
                                       {"key", int(credentials.keyStatus())},
                                       {"cert", int(credentials.certStatus())}});
}

bool ZugatewRunner::allRegistered() const
{
    if (m_gateway->regid().isEmpty()) {
        return false;
    }
    for (const QAbstractThing *const thing : m_things) {
        if (thing->regid().isEmpty() || !m_gateway->hasSibling(thing->cloudid())) {
            return false;
        }
    }
    return true;
}

void ZugatewRunner::registrationState()
{
    RegState state = m_gateway->regid().isEmpty() ? NotRegistered : PartiallyRegistered;
    if (allRegistered()) {
        state = Complete;
    }
    emit finished(RegStatus, int(state));
}

// Waits in a local event loop, which may run a request to connect that came meanwhile.
void ZugatewRunner::endConnection()
{
    const bool voiding = std::exchange(m_voiding, true);
    m_gateway->disconnectFromCloud();
    m_voiding = voiding;
}

void ZugatewRunner::resetGateway()
{
    if (m_voiding) { // entered from the local event loop of another reset or a restore
        QTimer::singleShot(voidingRetry, this, &ZugatewRunner::resetGateway);
        return;
    }
    voidRegistrationSession(); // its result would belong to what is void then
    qCInfo(lcRunner, "The registration is void");
    identitychange::beginReset();
    endConnection();
    m_gateway->resetRegistration();
    const QList<QAbstractThing *> things = m_things;
    for (QAbstractThing *const thing : things) {
        if (m_origins.contains(thing)) {
            m_gateway->removeSibling(thing); // while the thing still has the id to leave under
            thing->setRegid(QString());
        }
    }
    ZUSettings().resetRegistration();
    identitychange::end();
    cloudStatus();
    emit finished(DUnreg, true);
}

void ZugatewRunner::releaseThings()
{
    const QList<QAbstractThing *> things = m_things;
    for (QAbstractThing *const thing : things) {
        if (!m_origins.contains(thing)) {
            continue;
        }
        m_gateway->removeSibling(thing);
        ThingState state(thing, false);
        state.gone = true;
        emit thingChanged(state);
    }
    emit finished(ThingsGone, true);
}

// sender() walks all connections of the receiver. With ten thousand things that is dearer than
// everything else that a change of state costs, so each connection knows its thing; the slots
// serve connections by name.
void ZugatewRunner::listenTo(QAbstractThing *thing)
{
    connect(thing, &QAbstractThing::stateChanged, this,
            [this, thing](const QJsonObject &state) { reportState(thing, state); });
    connect(thing, &QAbstractThing::serialChanged, this,
            [this, thing](const QString &old) { reportSerial(thing, old); });
}

void ZugatewRunner::thing_stateChaged(const QJsonObject &state)
{
    if (const auto *const thing = qobject_cast<QAbstractThing *>(sender())) {
        reportState(thing, state);
    }
}

void ZugatewRunner::thing_mediumGone()
{
    if (auto *const thing = qobject_cast<QAbstractThing *>(sender())) {
        release(thing);
    }
}

void ZugatewRunner::thing_serialChanged(const QString &old, const QString & /*current*/)
{
    if (const auto *const thing = qobject_cast<QAbstractThing *>(sender())) {
        reportSerial(thing, old);
    }
}

bool ZugatewRunner::isLive(const QAbstractThing *thing) const
{
    return thing == m_gateway || m_origins.contains(thing);
}

// state() is a plugin's code and may end in mediumGone(): a record taken while the thing ended
// must not follow the one that tells of its end.
std::optional<ThingState> ZugatewRunner::stateOf(const QAbstractThing *thing) const
{
    if (isLive(thing)) {
        const ThingState state(thing, true);
        if (isLive(thing)) {
            return state;
        }
    }
    return std::nullopt;
}

void ZugatewRunner::announce(const QAbstractThing *thing)
{
    if (const auto state = stateOf(thing)) {
        emit thingChanged(*state);
    }
}

void ZugatewRunner::reportState(const QAbstractThing *thing, const QJsonObject &state)
{
    ThingState changed(thing, false);
    changed.state = state;
    emit thingChanged(changed);
}

void ZugatewRunner::reportSerial(const QAbstractThing *thing, const QString &old)
{
    ThingState former(thing, false);
    former.shortid = thing->type() + QLatin1Char('_') + thing->version() + QLatin1Char('_') + old;
    if (former.shortid != thing->shortid()) {
        former.gone = true;
        emit thingChanged(former);
    }
    const auto origin = m_origins.find(thing);
    if (origin != m_origins.end()) {
        origin->shortid = thing->shortid();
    }
    announce(thing);
}
