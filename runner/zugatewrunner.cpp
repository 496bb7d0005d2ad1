#include "runner/zugatewrunner.h"

#include "cloud/credentialstore.h"
#include "registration/qssemanager.h"
#include "registration/registrationdocument.h"
#include "runner/configurationbackup.h"
#include "runner/log.h"
#include "runner/metatypes.h"
#include "settings/devicepool.h"
#include "settings/settingsstore.h"

#include <QCoreApplication>

Q_LOGGING_CATEGORY(lcRunner, "kvg.runner")

ZugatewRunner::ZugatewRunner(QObject *parent)
    : QObject(parent)
    , m_plugins(QCoreApplication::applicationDirPath())
    , m_things(this)
    , m_scan(m_plugins, m_things, this)
    , m_link(m_things.gateway(), this)
    , m_monitor(m_things.gateway(), this)
    , m_check(m_things.gateway(), this)
    , m_registrar(new QSSEManager(this))
    , m_registration(*m_registrar, this)
    , m_identity(m_things, m_link, m_registration, this)
{
    registerMetaTypes();
    SettingsStore().markVersion();
    connect(&m_things, &LiveThings::thingChanged, this, &ZugatewRunner::thingChanged);
    connect(&m_things.gateway(), &GatewayThing::connectivityChanged, this,
            &ZugatewRunner::connectivityChanged);
    connect(&m_things.gateway(), &GatewayThing::settingsChanged, this,
            [this] { emit finished(SetUpdate, QVariant()); });
    connect(&m_check, &ConnectionCheck::reconnectRequested, this, &ZugatewRunner::reconnect);
    connect(&m_scan, &DeviceScan::deviceCreated, this, &ZugatewRunner::deviceCreated);
    // finished(), not closed(), which does not follow when the server ends the stream.
    connect(m_registrar, &QSSEManager::finished, this, &ZugatewRunner::reg_closed);
    connect(m_registrar, &QSSEManager::dataReady, this, &ZugatewRunner::reg_dataRead);
    connect(&m_registration, &RegistrationSession::codeReceived, this,
            [this](const QJsonObject &code) { emit finished(RegCode, code); });
    connect(&m_registration, &RegistrationSession::failed, this,
            [this](const QJsonObject &status) { emit finished(ProcReg, status); });
    connect(&m_registration, &RegistrationSession::resultReceived, this,
            &ZugatewRunner::applyRegistration);
    connect(&m_identity, &IdentityChange::registrationVoided, this,
            &ZugatewRunner::registrationVoided);
    connect(&m_identity, &IdentityChange::resetDone, this, [this] {
        m_monitor.refresh();
        cloudStatus();
        emit finished(DUnreg, true);
    });
    connect(&m_identity, &IdentityChange::restoreEnded, this, &ZugatewRunner::reportRestore);
}

ZugatewRunner::~ZugatewRunner()
{
    shutdown();
}

void ZugatewRunner::shutdown()
{
    m_check.cancel();
    m_registration.cancel();
    m_link.shutDown();
}

// Ends a request with success, or with the user's sentence on its failure.
void ZugatewRunner::finish(Operation op, const QString &error)
{
    if (!error.isEmpty()) {
        qCWarning(lcRunner).noquote() << error;
        emit finished(Error, error);
    }
    emit finished(op, error.isEmpty());
}

void ZugatewRunner::loadPlugins()
{
    m_plugins.load();
    for (const LoadedPlugin &plugin : m_plugins.plugins()) {
        m_check.addDeviceType(plugin.name, plugin.metadata["version"].toVariant().toString());
        if (plugin.root->metaObject()->indexOfSignal("devicesChanged()") >= 0) {
            connect(plugin.root, SIGNAL(devicesChanged()), &m_scan, SLOT(run()),
                    Qt::QueuedConnection);
        }
    }
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

void ZugatewRunner::rescan()
{
    m_scan.run();
    emit finished(Rescan, true);
}

void ZugatewRunner::listThings()
{
    emit finished(Lsthings, QVariant::fromValue(m_things.records()));
}

void ZugatewRunner::renameThing(const QString &sid, const QString &alias)
{
    finish(TRename, m_things.rename(sid, alias));
}

void ZugatewRunner::applyDeviceSettings()
{
    m_things.gateway().setReportInterval(SettingsStore().value(keys::ReportInterval));
    if (m_scan.applySettings()) {
        rescan();
    }
}

void ZugatewRunner::applyCloudSettings()
{
    m_link.readSettings();
    m_link.start(false);
}

void ZugatewRunner::connectToCloud(bool firstrun)
{
    m_link.start(firstrun);
    m_monitor.refresh();
    emit finished(CConnect, true);
}

void ZugatewRunner::cloudStatus()
{
    const GatewayThing &gateway = m_things.gateway();
    const CredentialStore credentials;
    emit finished(CStatus,
                  QJsonObject{{"gw", !gateway.serial().isEmpty() && !gateway.regid().isEmpty()},
                              {"key", int(credentials.keyStatus())},
                              {"cert", int(credentials.certStatus())}});
}

void ZugatewRunner::registrationState()
{
    RegState state = m_things.gateway().regid().isEmpty() ? NotRegistered : PartiallyRegistered;
    if (m_things.areAllRegistered()) {
        state = Complete;
    }
    emit finished(RegStatus, int(state));
}

void ZugatewRunner::generateDoc()
{
    const QStringList unnamed = m_things.unnamed();
    if (!unnamed.isEmpty()) {
        emit finished(AliasFill, unnamed);
        return;
    }
    if (m_registration.isActive() || !m_link.mayConnect()) {
        m_registration.fail(RegistrationFailure::Busy);
        return;
    }
    const QJsonObject document = registrationDocument(m_things.gateway(), m_things.devices());
    if (document.isEmpty()) {
        m_registration.fail(RegistrationFailure::NothingToRegister);
        return;
    }
    m_registration.begin(SettingsStore().value(keys::RegistrarEndpoint), document);
}

void ZugatewRunner::reg_dataRead(const QString &evt, const QString &msg, const QString & /*id*/)
{
    m_registration.handleEvent(evt, msg);
}

void ZugatewRunner::applyRegistration(QJsonObject result)
{
    const QList<QAbstractThing *> devices = m_things.devices();
    if (!m_things.gateway().applyRegistration(result, devices)) {
        m_registration.fail(RegistrationFailure::BadReply);
        return;
    }
    qCInfo(lcRunner, "Registered");
    result.remove(QLatin1String("cred")); // the interface has no use for credentials
    emit finished(ProcReg, result);
    m_things.storeRegistration(result);
    m_link.startLater(true);
}

void ZugatewRunner::resetDevPool()
{
    const GatewayThing &gateway = m_things.gateway();
    const QSet<QString> registered = DevicePool::read().cloudids();
    if (!gateway.regid().isEmpty() && !registered.contains(gateway.cloudid())) {
        resetGateway();
        return;
    }
    m_things.keepRegistered(registered);
}

void ZugatewRunner::releaseThings()
{
    m_things.detachFromCloud();
    emit finished(ThingsGone, true);
}

void ZugatewRunner::exportSettings(const QString &file)
{
    finish(SExport, ConfigurationBackup::write(file, m_things.gateway()));
}

void ZugatewRunner::inspectBackup(const QString &file)
{
    BackupSummary summary;
    const QString error = ConfigurationBackup().inspect(file, m_things.gateway(), summary);
    if (error.isEmpty()) {
        emit backupInspected(summary);
    } else {
        finish(SImport, error);
    }
}

void ZugatewRunner::reportRestore(const QString &error, bool hasChanged)
{
    finish(SImport, error);
    if (!error.isEmpty() && hasChanged) { // the window may show settings from before
        emit finished(SetUpdate, QVariant());
        listPlugins();
    }
}

// Unused by the runner itself, whose connections hold the thing.
void ZugatewRunner::thing_stateChaged(const QJsonObject &state)
{
    if (const auto *const thing = qobject_cast<QAbstractThing *>(sender())) {
        m_things.emitStateChange(thing, state);
    }
}

void ZugatewRunner::thing_serialChanged(const QString &old, const QString & /*current*/)
{
    if (const auto *const thing = qobject_cast<QAbstractThing *>(sender())) {
        m_things.emitSerialChange(thing, old);
    }
}
