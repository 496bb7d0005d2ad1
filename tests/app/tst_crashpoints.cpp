#include "app/platform/autostartentry.h"
#include "cloud/credentialstore.h"
#include "history/history.h"
#include "outbox/outbox.h"
#include "runner/configurationbackup.h"
#include "runner/identitychange.h"
#include "runner/zugatewrunner.h"
#include "settings/devicepool.h"
#include "settings/settingsfile.h"
#include "settings/settingsstore.h"
#include "tests/support/crashpoint.h"
#include "tests/support/files.h"
#include "tests/support/testbroker.h"
#include "tests/support/testmain.h"
#include "things/gatewaything.h"
#include "watch/runwatch.h"

#include <QEventLoop>

namespace {

QString folder(QStandardPaths::StandardLocation location, const char *below)
{
    return QStandardPaths::writableLocation(location) + QLatin1String(below);
}

const auto dataFile = [](const char *name) {
    return folder(QStandardPaths::AppDataLocation, name);
};
const auto userFile = [] { return folder(QStandardPaths::HomeLocation, "/user/file"); };

constexpr char autostart[] = "NimbraCloudGate";
constexpr qint64 minute = 29000000; // since 1970

void setHost(const QString &host)
{
    SettingsStore().set(keys::CloudHost, host);
}

void setIdentity(const QString &name)
{
    setHost(name);
    SettingsStore().set(keys::CloudSerial, name);
    DevicePool::update([&](DevicePool &pool) {
        pool = DevicePool();
        pool.put({"gateway", "200", name, "G" + name, name});
        pool.put({"fake", "1", "A", "A" + name, name});
    });
    const QByteArrayList issued = qgetenv(name.toUtf8().constData()).split('|');
    QString error;
    QVERIFY(CredentialStore().storeIssuedCredentials(issued.value(0), issued.value(1), error));
}

// One for each letter.
void appendStates(const QByteArray &letters)
{
    Outbox outbox(dataFile("/outbox.db"));
    for (const char letter : letters) {
        outbox.append("id", QByteArray(1, letter));
    }
    outbox.flush();
    QVERIFY(writeFile(userFile() + letters, QByteArray()));
}

QByteArray waitingStates()
{
    Outbox outbox(dataFile("/outbox.db"));
    QByteArray states;
    for (Outbox::Message message; outbox.take(message);) {
        states += states.contains(message.payload) ? QByteArray() : message.payload;
    }
    return states;
}

QByteArray identity()
{
    const QString settings = SettingsStore().value(keys::CloudSerial) +
                             SettingsStore().value(keys::CloudHost) +
                             SettingsStore().value(keys::DevicePool).section("updated", 0, 0);
    return settings.toUtf8() + CredentialStore().certificateDer().toHex() +
           CredentialStore().keyDer().toHex() + waitingStates();
}

void writeHistory(const QString &devices)
{
    QVector<HistoryFile::Change> changes;
    for (const QChar device : devices) {
        changes.append({device, "x", {1, 3, 2}});
    }
    QVERIFY(HistoryFile(dataFile("/history.db")).write(minute, changes));
}

QByteArray history()
{
    QByteArray found;
    HistoryFile file(dataFile("/history.db"));
    for (const HistoryMember &member : file.members()) {
        for (const HistoryPoint &point : file.points({member}, 0, minute * 120000).value(0)) {
            found += member.device.toUtf8() + QByteArray::number(point.time) +
                     QByteArray::number(point.last);
        }
    }
    return found;
}

void writeBackup()
{
    QCOMPARE(ConfigurationBackup::write(userFile(), GatewayThing()), QString());
}

// Returns how many device types are left out.
int beginRun()
{
    const int count = runwatch::begin(dataFile("/run.state")).plugins.size();
    runwatch::keepBlame(); // closes the file
    return count;
}

// Two starts that did not finish while a device type was at work.
void failTwice()
{
    for (int i = 0; i < 2; ++i) {
        static_cast<void>(runwatch::begin(dataFile("/run.state")));
        runwatch::addPlugin("fake", QCoreApplication::applicationFilePath());
        new runwatch::PluginCall("fake");
        runwatch::keepBlame();
    }
}

enum class PowerLoss { KeepsNew, MayKeepOld, IsIgnored };

struct Operation
{
    const char *name;
    void (*prepare)();
    void (*write)();                           // a second call changes nothing more
    QByteArray (*read)();                      // as the next start does
    PowerLoss powerLoss = PowerLoss::KeepsNew; // after write()
};

const Operation operations[] = {
    {"settings", [] { setHost("old"); }, [] { setHost("new"); }, identity},
    {"backup",
     [] {
         setHost("old");
         writeBackup();
         setHost("new");
     },
     writeBackup, [] { return readFile(userFile()).toHex(); }},
    {"reset",
     [] {
         setIdentity("KVG_OLD");
         appendStates("12");
     },
     [] { ZugatewRunner().resetGateway(); }, identity},
    {"restore",
     [] {
         setIdentity("KVG_NEW");
         writeBackup();
         setIdentity("KVG_OLD");
         appendStates("12");
     },
     [] { ZugatewRunner().importSettings(userFile()); }, identity},
    {"first states", [] {}, [] { appendStates("12"); }, waitingStates},
    {"more states", [] { appendStates("12"); }, [] { appendStates("3"); },
     [] {
         const QByteArray states = waitingStates();
         const bool isFlushed = QFile::exists(userFile() + '3');
         return isFlushed && !states.contains('3') ? "flushed in vain" : states;
     }},
    {"confirmed states", [] { appendStates("123"); },
     [] {
         Outbox outbox(dataFile("/outbox.db"));
         for (Outbox::Message state; state.payload != "2" && outbox.take(state);) {
         }
         outbox.confirm(outbox.waiting() > 1 ? outbox.taken() : 0);
     },
     waitingStates},
    {"first history", [] {}, [] { writeHistory("a"); }, history, PowerLoss::MayKeepOld},
    {"more history", [] { writeHistory("a"); }, [] { writeHistory("b"); }, history,
     PowerLoss::MayKeepOld},
    {"forgotten device", [] { writeHistory("ab"); },
     [] { HistoryFile(dataFile("/history.db")).forget({"a"}); }, history, PowerLoss::MayKeepOld},
    {"table of a history",
     [] {
         writeHistory("a");
         QVERIFY(writeFile(userFile(), "old"));
     },
     [] {
         History history(dataFile("/history.db"), {}, [] { return minute * 60000; });
         QEventLoop loop;
         history.exportCsv(userFile(), {}, 0, minute * 120000, &loop,
                           [&](const QString &) { loop.quit(); });
         loop.exec();
     },
     [] {
         HistoryFile(dataFile("/history.db")).members();
         return readFile(userFile());
     }},
    {"autostart", [] { autostartentry::write(autostart, "old"); },
     [] { autostartentry::write(autostart, "new"); },
     [] { return autostartentry::read(autostart).toUtf8(); }},
    {"run record", failTwice, [] { beginRun(); }, [] { return QByteArray::number(beginRun()); },
     PowerLoss::IsIgnored},
};

QStringList folders()
{
    return {folder(QStandardPaths::AppDataLocation, ""),
            folder(QStandardPaths::GenericConfigLocation, "/Corvalt"),
            folder(QStandardPaths::GenericConfigLocation, "/autostart")};
}

// What the next start finds: the content, and files that it should have removed.
QByteArray stateOf(const Operation &operation)
{
    static const QRegularExpression known("^(KVG-Gate\\.conf|kvgatew\\.(key|cert)|run\\.state|"
                                          "(history|outbox)\\.db|NimbraCloudGate\\.desktop)$");
    sanitizeStoredSettings();
    IdentityChange::carryThrough();
    QByteArray state = operation.read();
    for (const QString &path : folders()) {
        for (const QString &file : QDir(path).entryList(QDir::Files | QDir::Hidden)) {
            state += known.match(file).hasMatch() ? QByteArray() : ' ' + file.toUtf8();
        }
    }
    return state;
}

void clear()
{
    const QString user = QFileInfo(userFile()).path();
    for (const QString &path : QStringList(user) + folders()) {
        QDir(path).removeRecursively();
    }
    sanitizeStoredSettings();
    QSettings().clear();
    autostartentry::remove(autostart);
    QDir().mkpath(dataFile(""));
    QDir().mkpath(user);
}

} // namespace

// "prepare", "write" or "check", and an index. The last one returns what it finds, and what it
// finds after the operation was done once more.
QByteArray crashpoint::runJob(const QByteArray &job)
{
    const Operation &operation = operations[job.mid(7).toInt()];
    if (job.startsWith("check")) {
        const QByteArray state = stateOf(operation);
        operation.write();
        return state + '|' + stateOf(operation);
    }
    clear();
    operation.prepare();
    if (job.startsWith("write")) {
        begin();
        operation.write();
    }
    return {};
}

// Each way in which something is stored, with the process ended at every call that it makes.
using crashpoint::End;

class TestCrashPoints : public QObject
{
    Q_OBJECT

private slots:
    void theOldOrTheNewContentIsLeft_data()
    {
        QTest::addColumn<int>("index");
        for (std::size_t i = 0; i < std::size(operations); ++i) {
            QTest::newRow(operations[i].name) << int(i);
        }
        TestBroker broker;
        for (const char *const name : {"KVG_OLD", "KVG_NEW"}) {
            const TestBroker::Credentials issued = broker.issue(name);
            qputenv(name, issued.cert + '|' + issued.key);
        }
    }
    void theOldOrTheNewContentIsLeft()
    {
        QFETCH(int, index);
        const QByteArray number = QByteArray::number(index);
        const auto check = [&] {
            const QByteArray output = crashpoint::run("check  " + number).output;
            return output.isEmpty() ? QByteArrayList() : output.split('|');
        };
        crashpoint::run("prepare" + number);
        const QByteArrayList states = check();
        QVERIFY(states.size() == 2);
        const PowerLoss powerLoss = operations[index].powerLoss;
        for (const End end : crashpoint::ends()) {
            bool isEnded = end != End::Power || powerLoss != PowerLoss::IsIgnored;
            for (int call = 1; isEnded; call = crashpoint::nextCall(call)) {
                isEnded = crashpoint::run("write  " + number, call, end).isEnded;
                const bool mayBeOld =
                    isEnded || (end == End::Power && powerLoss == PowerLoss::MayKeepOld);
                const QByteArrayList found = check();
                const bool isGood = found.value(1) == states[1] &&
                                    (found[0] == states[1] || (mayBeOld && found[0] == states[0]));
                const QByteArray message = "End " + QByteArray::number(int(end)) + " at call " +
                                           QByteArray::number(call) + "; found:\n" +
                                           found.join('|') + "\ninstead of:\n" + states.join('|');
                QVERIFY2(isGood, message.constData());
            }
        }
    }
};

int main(int argc, char *argv[])
{
    qputenv("QT_LOGGING_RULES", "kvg.*=false"); // of jobs, too
    if (QFileInfo("/dev/shm").isWritable()) {
        qputenv("TMPDIR", "/dev/shm"); // no waits for a disk
    }
    TestProfile profile;
    QCoreApplication app(argc, argv);
    int exitCode = 0;
    if (crashpoint::isJob(exitCode)) {
        return exitCode;
    }
    TestCrashPoints test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_crashpoints.moc"
