#pragma once

#include "runner/backupfile.h"
#include "runner/pluginloader.h"
#include "things/thingstate.h"

#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QObject>
#include <QSet>
#include <QString>
#include <QVariant>

#include <optional>

class DevicePool;
class GatewayThing;
class QAbstractThing;
class QSSEManager;
class QTimer;
enum class RegistrationFailure;

// The worker behind the user interface: loads device types, finds devices, keeps the pool of
// known devices, registers them and holds the cloud connection.
//
// Made on any thread, moved as a whole to its own (see RunnerThread) and from then on driven by
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
    // On the runner's own thread, after shutdown(). Things end first, then the libraries that
    // plugins depend on are deinitialised.
    ~ZugatewRunner() override;

    // Ends the cloud connection, and a registration that is under way. On the runner's own thread.
    void shutdown();

signals:
    void finished(int op, const QVariant &result);
    void thingChanged(const ThingState &thing);
    void connectivityChanged(bool on);
    // A device came with an object for the user interface (see AbstractThingType::create()); null
    // when it has none. The receiver on the interface thread owns it.
    void deviceCreated(QObject *thui);
    // A reset or a restore ended a registration that was under way. It has no other result.
    void registrationVoided();

public slots:
    void loadPlugins();
    // Asks every enabled device type for its devices and adopts those that are new.
    void rescan();
    // Applies the aliases of the stored pool and reports every thing. No finished().
    void updatePool();
    // Hands the stored settings to the things, and releases those of device types that are
    // disabled. No finished() of its own; a scan follows when a device type was enabled.
    void applyDeviceSettings();
    // Applies the stored report interval, keep-alive and broker's address; a connection that was
    // made with others is made anew. No finished().
    void applyCloudSettings();
    // Begins a registration: AliasFill, or RegCode and later ProcReg.
    void generateDoc();
    // Gives up a registration that is under way. No finished().
    void cancelRegistration();
    void listPlugins();
    void listThings();
    // `firstrun`: see GatewayThing::connectToCloud(). Never fails visibly.
    void connectToCloud(bool firstrun = false);
    void renameThing(const QString &sid, const QString &alias);
    void cloudStatus();
    // Voids the registration of the gateway and of all things.
    void resetGateway();
    // Brings the live things in line with a pool that the user has edited. No finished() of its
    // own; a gateway that was forgotten ends as by resetGateway().
    void resetDevPool();
    void releaseThings();
    void registrationState();
    // Writes the settings and the credentials into one file that the user alone can read. The
    // key is in it without pass phrase. An older file of that name stays whole until the new one
    // is complete.
    void exportSettings(const QString &file);
    // Replaces settings and credentials by those of such a file, chunk by chunk; what was taken
    // before a failure stays.
    void importSettings(const QString &file);

private slots:
    // The name is misspelt on purpose: it is part of the meta-object interface.
    void thing_stateChaged(const QJsonObject &state);
    void thing_mediumGone();
    void thing_serialChanged(const QString &old, const QString &current);
    void reg_closed();
    void reg_dataRead(const QString &evt, const QString &msg, const QString &id);

private:
    // Where a live thing came from.
    struct Origin
    {
        QString plugin;
        QString key;
        QString shortid;
    };
    class Scan;

    // A reset or a restore that comes during another one waits for its end; milliseconds.
    static constexpr int voidingRetry = 100;

    void fail(Operation op, const QString &message);
    QList<QAbstractThing *> allThings() const;

    void scanPlugin(const LoadedPlugin &plugin, Scan &scan);
    bool isClaimed(const LoadedPlugin &plugin, const QString &key, const Scan &scan) const;
    QObject *prepareInterface(QObject *ui) const;
    void adopt(QAbstractThing *thing, const Origin &origin, Scan &scan);
    void restoreGateway(Scan &scan);
    void listenTo(QAbstractThing *thing);
    bool isLive(const QAbstractThing *thing) const;
    std::optional<ThingState> stateOf(const QAbstractThing *thing) const;
    void announce(const QAbstractThing *thing);
    void reportState(const QAbstractThing *thing, const QJsonObject &state);
    void reportSerial(const QAbstractThing *thing, const QString &old);
    void release(QAbstractThing *thing);
    void releaseThingsOf(const QString &plugin);
    void forget(QAbstractThing *thing);
    void thingDestroyed(const QObject *thing);
    void writePool(const QList<QAbstractThing *> &things, const QJsonObject &registrations = {});

    void processResult(const QString &msg);
    void failRegistration(RegistrationFailure failure);
    void refuseRegistration(const QJsonObject &status);
    bool endRegistrationSession();
    void voidRegistrationSession();
    void registrationTimedOut();
    void readCloudSettings();
    void startCloud(bool firstrun);
    void endConnection();
    static QString unusable(const BackupFile::Chunk &chunk, const QString &file);
    int takeChunks(const QVector<BackupFile::Chunk> &chunks);
    void takeRegistrations(const QString &oldGatewayId);
    bool allRegistered() const;

    GatewayThing *m_gateway; // child, as is the stream client
    QList<QAbstractThing *> m_things;
    QSSEManager *m_registrar;
    PluginLoader m_plugins;
    QTimer *m_registrationDeadline; // child
    bool m_registering = false;
    bool m_scanning = false;
    bool m_scanAgain = false;       // a device type was enabled during the scan
    QSet<QString> m_scannedPlugins; // that were enabled when they were scanned last
    bool m_voiding = false; // the identity is replaced: nothing may connect or register meanwhile
    bool m_leaving = false; // the same, for good
    QHash<const QObject *, Origin> m_origins;                // the live things
    QHash<QString, QHash<QString, QAbstractThing *>> m_made; // plugin, device key
};
