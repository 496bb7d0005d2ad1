#include "app/platform/systemtheme.h"
#include "app/qautostarter.h"
#include "app/sleeplistener.h"
#include "app/theme.h"
#include "settings/settingsstore.h"
#include "tests/support/files.h"
#include "tests/support/widgettestmain.h"

#include <QCommandLineParser>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDir>
#include <QProcess>
#include <QThread>

namespace {

// The desktop portal's answer. Lives on a thread of its own, since who asks it waits.
class FakePortal : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")

public:
    QVariant answer;

public slots:
    QDBusVariant Read(const QString &space, const QString &key) const
    {
        return QDBusVariant(space + key == "org.freedesktop.appearancecolor-scheme" ? answer : 0);
    }
};

QVariant wrapped(const QVariant &value)
{
    return QVariant::fromValue(QDBusVariant(value));
}

} // namespace

class TestDesktopServices : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        m_bus.start(KVG_DBUS_DAEMON, {"--session", "--nofork", "--print-address=1"});
        QVERIFY(m_bus.waitForReadyRead());
        const QByteArray address = m_bus.readLine().trimmed();
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", address);
        qputenv("DBUS_SESSION_BUS_ADDRESS", address);
    }
    void cleanupTestCase()
    {
        m_portalThread.quit();
        m_portalThread.wait();
        m_bus.kill();
        m_bus.waitForFinished();
    }

    // The system's theme is read once: in this test it is dark, and the order of steps counts.
    void theUserOverridesTheSystemAndTheCommandLineBoth()
    {
        QDBusConnection desktop = client("portal");
        m_portal.moveToThread(&m_portalThread);
        m_portalThread.start();
        QVERIFY(desktop.registerService("org.freedesktop.portal.Desktop"));
        QVERIFY(desktop.registerObject("/org/freedesktop/portal/desktop", &m_portal,
                                       QDBusConnection::ExportAllSlots));
        for (const QVariant &light : {QVariant(2u), wrapped(0u), wrapped("1")}) {
            m_portal.answer = light;
            QVERIFY(!systemThemeIsDark());
        }
        m_portal.answer = wrapped(1u); // once more than its interface says, as the portal does it
        settleTheme(nullptr, &keys::Dark);
        QVERIFY(isDarkTheme());
        QCOMPARE(QApplication::palette().color(QPalette::Active, QPalette::Button).red(), 64);

        SettingsStore().set(keys::Dark, false);
        settleTheme(nullptr, &keys::Dark);
        QVERIFY(!isDarkTheme());
        SettingsStore().set(keys::Dark, true);
        QCommandLineParser parser;
        addThemeOptions(parser);
        QVERIFY(parser.parse({"KVG-Gate", "--ignore-dark"}));
        settleTheme(&parser, &keys::Dark);
        QVERIFY(!isDarkTheme());
    }

    void onlyTheSystemItselfTellsOfSleep()
    {
        QSignalSpy sleeps(SleepListener::instance(), &SleepListener::aboutToSleep);
        QSignalSpy wakes(SleepListener::instance(), &SleepListener::didWakeUp);
        QDBusConnection logind = client("logind");
        QVERIFY(logind.registerService("org.freedesktop.login1"));
        SleepListener::instance()->install();
        SleepListener::instance()->install();
        tell(client("impostor"), true);
        for (const bool begins : {false, true, true}) {
            tell(logind, begins);
        }
        QTRY_COMPARE(sleeps.count(), 1);
        QCOMPARE(wakes.count(), 0);
        tell(logind, false);
        QTRY_COMPARE(wakes.count(), 1);
        QCOMPARE(sleeps.count(), 1);
    }

    void autostartFollowsTheExecutable()
    {
        const QByteArray begin = "[Desktop Entry]\nType=Application\nName=KVG-Gate\nExec=";
        const QByteArray moved = begin + "\"/elsewhere/KVG-Gate\"\n";
        const QByteArray unquoted = begin + qApp->applicationFilePath().toUtf8() + '\n';
        QAutoStarter starter("NimbraCloudGate", ":/images/zu-gate.png", nullptr);
        starter.checkAutostart();
        QVERIFY(!QFile::exists(m_entry));
        QDir().mkpath(QFileInfo(m_entry).path());
        for (const auto &[entry, rewritten] : {std::pair(moved, true),
                                               {unquoted, true},
                                               {moved + "Hidden=true\n", false},
                                               {moved + "X-GNOME-Autostart-enabled=false\n", false},
                                               {QByteArray(99, '='), false}}) {
            QVERIFY(writeFile(m_entry, entry));
            QVERIFY(!starter.autostartSet());
            starter.checkAutostart();
            QCOMPARE(starter.autostartSet(), rewritten);
            QCOMPARE(readFile(m_entry) == entry, !rewritten);
            starter.setAutostart(true);
            QVERIFY(starter.autostartSet());
        }
        starter.setAutostart(false);
        QVERIFY(!QFile::exists(m_entry));
    }

    void anOddPathSurvivesTheEntry()
    {
        const QString command = AutostartEntry::commandFor("/a b/\"c\"/$d/`e`/f\\g/100%/\tKVG");
        AutostartEntry("NimbraCloudGate").write(command);
        QCOMPARE(AutostartEntry("NimbraCloudGate").read(), command);
        // A value has escapes of its own: each backslash of the command is doubled.
        QVERIFY(readFile(m_entry).contains("\nExec=\"/a b/\\\\\"c\\\\\"/\\\\$d/\\\\`e\\\\`/"
                                           "f\\\\\\\\g/100%%/\\tKVG\"\n"));
    }

private:
    static QDBusConnection client(const QString &name)
    {
        return QDBusConnection::connectToBus(qEnvironmentVariable("DBUS_SYSTEM_BUS_ADDRESS"), name);
    }
    // Returns when it has been heard: the answers of the bus come after what went before.
    static void tell(const QDBusConnection &from, bool begins)
    {
        QDBusMessage signal = QDBusMessage::createSignal(
            "/org/freedesktop/login1", "org.freedesktop.login1.Manager", "PrepareForSleep");
        QVERIFY(from.send(signal << begins));
        from.interface()->isServiceRegistered("x.y");
        QDBusConnection::systemBus().interface()->isServiceRegistered("x.y");
        QCoreApplication::processEvents();
    }

    QProcess m_bus;
    FakePortal m_portal;
    QThread m_portalThread;
    const QString m_entry =
        qEnvironmentVariable("XDG_CONFIG_HOME") + "/autostart/NimbraCloudGate.desktop";
};

KVG_WIDGET_TEST_MAIN(TestDesktopServices)
#include "tst_desktopservices.moc"
