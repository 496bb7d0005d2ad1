#pragma once

#include "check/connectioncheck.h"
#include "loader/pluginloader.h"
#include "registration/registrationsession.h"
#include "runner/backupsummary.h"
#include "runner/cloudlink.h"
#include "runner/devicescan.h"
#include "runner/identitychange.h"
#include "runner/linkmonitor.h"
#include "runner/livethings.h"

#include <QJsonObject>
#include <QObject>
#include <QString>
#include <QVariant>

// The worker behind the user interface: turns its requests into calls of the classes that do the
// work, and their outcome into results.
//
// Created on any thread, moved as a whole to its own (see RunnerThread) and from then on driven by
// queued calls alone. Requests are worked off one at a time in order. A request that reports
// ends with exactly one finished() of its own code; one that fails sends finished(Error, the
// user's sentence) first and its own code with false after it.
class ZugatewRunner : public QObject
{
    Q_OBJECT

public:
    enum Operation {
        Load = 0,        // true
        Rescan = 1,      // true
        RegCode = 2,     // the registrar's "code" object: "value" or "code", "timeout" in seconds
        ProcReg = 3,     // a status object with "code" and "error", or the result without "cred"
        Lsmod = 4,       // QJsonObject: plugin name to metadata
        Lsthings = 5,    // ThingStateList, the gateway first
        CConnect = 6,    // true
        TRename = 7,     // bool
        CStatus = 8,     // QJsonObject: "gw" bool, "key" and "cert" CredentialStore::SSLStatus
        DUnreg = 9,      // true
        AliasFill = 10,  // QStringList: short ids that need an alias first
        Error = 11,      // QString
        SExport = 12,    // bool
        SImport = 13,    // bool
        SetUpdate = 14,  // invalid: the stored settings changed
        ThingsGone = 15, // true
        RegStatus = 16   // RegState as int
    };
    Q_ENUM(Operation)

    enum RegState { NotRegistered = 0, PartiallyRegistered = 1, Complete = 2 };
    Q_ENUM(RegState)

    explicit ZugatewRunner(QObject *parent = nullptr);
    // On the runner's own thread; shuts down first, while everything that a request needs is there.
    ~ZugatewRunner() override;

    // Ends the cloud connection, and a registration that is under way. On the runner's own thread.
    void shutdown();

    // On the runner's thread: to be connected, not called.
    LinkMonitor &linkMonitor() { return m_monitor; }
    ConnectionCheck &connectionCheck() { return m_check; }

signals:
    void finished(int op, const QVariant &result);
    void thingChanged(const ThingState &thing);
    void connectivityChanged(bool on);
    // A device came with an object for the user interface (see AbstractThingType::create()); null
    // when it has none. The receiver on the interface thread owns it.
    void deviceCreated(QObject *thui);
    void backupInspected(const BackupSummary &summary);
    // A reset or a restore ended a registration that was under way. It has no other result.
    void registrationVoided();

public slots:
    void loadPlugins();
    // Asks every enabled device type for its devices and adopts those that are new.
    void rescan();
    // Applies the names of the stored pool to the things and reports every thing; writes no pool.
    // See LiveThings::restoreNames(). No finished().
    void updatePool() { m_things.restoreNames(); }
    // Hands the stored settings to the things, and releases those of device types that are
    // disabled. No finished() of its own; a scan follows when a device type was enabled.
    void applyDeviceSettings();
    // Applies the stored report interval, keep-alive and broker's address; a connection that was
    // made with others is made anew. No finished().
    void applyCloudSettings();
    // Begins a registration: AliasFill, or RegCode and later ProcReg.
    void generateDoc();
    // Gives up a registration that is under way. No finished().
    void cancelRegistration() { m_registration.cancel(); }
    void listPlugins();
    void listThings();
    // `firstrun`: see GatewayThing::connectToCloud(). Never fails visibly.
    void connectToCloud(bool firstrun = false);
    // Makes the cloud connection anew: the user is tired of waiting, or the computer woke up. No
    // finished().
    void reconnect() { m_link.restart(); }
    // Writes what waits for the cloud to the disk. No finished().
    void flushPending() { m_things.gateway().flushPending(); }
    void renameThing(const QString &sid, const QString &alias);
    void cloudStatus();
    // Voids the registration of the gateway and of all things.
    void resetGateway() { m_identity.reset(); }
    // Brings the live things in line with a pool that the user has edited; writes no pool. If
    // the gateway was forgotten, the same as resetGateway(); else no finished().
    void resetDevPool();
    void releaseThings();
    void registrationState();
    // Replaces nothing. backupInspected() follows, or a failed SImport.
    void inspectBackup(const QString &file);
    // See ConfigurationBackup. What was restored before a failure stays.
    void exportSettings(const QString &file);
    void importSettings(const QString &file) { m_identity.restore(file); }

private slots:
    // The first name is misspelt and stays so: it is part of the meta-object interface.
    void thing_stateChaged(const QJsonObject &state);
    void thing_mediumGone() { m_things.release(qobject_cast<QAbstractThing *>(sender())); }
    void thing_serialChanged(const QString &old, const QString &current);
    void reg_closed() { m_registration.handleStreamEnd(); }
    void reg_dataRead(const QString &evt, const QString &msg, const QString &id);

private:
    void finish(Operation op, const QString &error);
    void applyRegistration(QJsonObject result);
    void reportRestore(const QString &error, bool hasChanged);

    // The runner is the parent of each QObject here, so that they follow it to its thread. Things
    // end before their plugins' dependencies are deinitialised.
    PluginLoader m_plugins;
    LiveThings m_things;
    DeviceScan m_scan;
    CloudLink m_link;
    LinkMonitor m_monitor;
    ConnectionCheck m_check;
    QSSEManager *m_registrar;
    RegistrationSession m_registration;
    IdentityChange m_identity;
};
