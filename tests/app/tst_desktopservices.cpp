#include "app/platform/autostartentry.h"
#include "app/platform/systemtheme.h"
#include "app/qautostarter.h"
#include "app/sleeplistener.h"
#include "app/theme.h"
#include "settings/settingsstore.h"
#include "tests/support/files.h"
#include "tests/support/widgettestmain.h"

#include <QCommandLineParser>
#include <QDir>
#include <QProcess>
#include <QtDBus>

class TestDesktopServices : public QObject
{
    Q_OBJECT

public slots:
    // The desktop portal's answer, which is wrapped once more than documented.
    QDBusVariant Read(const QString &space, const QString &key) const
    {
        const bool isKnown = space + key == "org.freedesktop.appearancecolor-scheme";
        return QDBusVariant(QVariant::fromValue(QDBusVariant(isKnown ? m_theme : 0)));
    }

private slots:
    void initTestCase()
    {
        m_bus.start("dbus-daemon", {"--session", "--nofork", "--print-address=1"});
        QVERIFY(m_bus.waitForReadyRead());
        const QByteArray address = m_bus.readLine().trimmed();
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", address);
        qputenv("DBUS_SESSION_BUS_ADDRESS", address);
    }
    void cleanupTestCase() { m_bus.close(); }

    // The theme module reads the system's theme only once: the order of these steps matters.
    void theStoredThemeOverridesTheSystemsAndTheOptionBoth()
    {
        QDBusConnection bus = QDBusConnection::sessionBus(); // it answers its own calls
        QVERIFY(bus.registerService("org.freedesktop.portal.Desktop"));
        QVERIFY(bus.registerObject("/org/freedesktop/portal/desktop",
                                   "org.freedesktop.portal.Settings", this,
                                   QDBusConnection::ExportAllSlots));
        for (const QVariant &light : {QVariant(2u), QVariant("1")}) {
            m_theme = light;
            QVERIFY(!systemThemeIsDark());
        }
        m_theme = 1u;
        settleTheme(nullptr, &keys::Dark);
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

    void onlyLogindSignalsSleep()
    {
        QSignalSpy sleeps(SleepListener::instance(), &SleepListener::aboutToSleep);
        QSignalSpy wakes(SleepListener::instance(), &SleepListener::didWakeUp);
        const auto bus = QDBusConnection::SystemBus;
        QDBusConnection logind = QDBusConnection::connectToBus(bus, "logind");
        QVERIFY(logind.registerService("org.freedesktop.login1"));
        SleepListener::instance()->install();
        sendSleepSignal(QDBusConnection::connectToBus(bus, "impostor"), true);
        for (const bool begins : {false, true, true, false}) {
            sendSleepSignal(logind, begins);
        }
        QCOMPARE(sleeps.count(), 1);
        QCOMPARE(wakes.count(), 1);
    }

    void autostartFollowsTheExecutable()
    {
        const QByteArray moved = "[Desktop Entry]\nExec=\"/elsewhere/KVG-Gate\"\n";
        QAutoStarter starter("NimbraCloudGate", {}, nullptr);
        starter.checkAutostart();
        QVERIFY(!QFile::exists(m_entry));
        QDir().mkpath(QFileInfo(m_entry).path());
        for (const QByteArray off : {"", "Hidden=true\n", "X-GNOME-Autostart-enabled=false\n"}) {
            QVERIFY(writeFile(m_entry, moved + off));
            QVERIFY(!starter.autostartSet());
            starter.checkAutostart();
            QCOMPARE(starter.autostartSet(), off.isEmpty());
            QCOMPARE(readFile(m_entry) == moved + off, !off.isEmpty());
            starter.setAutostart(true);
            QVERIFY(starter.autostartSet());
        }
        starter.setAutostart(false);
        QVERIFY(!QFile::exists(m_entry));

        const QString odd = autostartentry::commandFor("/a b/\"c\"/$d/`e`/f\\g/100%/\tKVG");
        autostartentry::write("NimbraCloudGate", odd);
        QCOMPARE(autostartentry::read("NimbraCloudGate"), odd);
        // The value escapes each backslash of the command once more.
        QVERIFY(readFile(m_entry).contains("\nExec=\"/a b/\\\\\"c\\\\\"/\\\\$d/\\\\`e\\\\`/"
                                           "f\\\\\\\\g/100%%/\\tKVG\"\n"));
    }

private:
    // Returns after delivery: the bus answers the calls after it has passed on the signal.
    static void sendSleepSignal(const QDBusConnection &from, bool begins)
    {
        QDBusMessage signal = QDBusMessage::createSignal(
            "/org/freedesktop/login1", "org.freedesktop.login1.Manager", "PrepareForSleep");
        QVERIFY(from.send(signal << begins));
        from.interface()->isServiceRegistered("x.y");
        QDBusConnection::systemBus().interface()->isServiceRegistered("x.y");
        QCoreApplication::processEvents();
    }

    QProcess m_bus;
    QVariant m_theme;
    const QString m_entry =
        qEnvironmentVariable("XDG_CONFIG_HOME") + "/autostart/NimbraCloudGate.desktop";
};

KVG_WIDGET_TEST_MAIN(TestDesktopServices)
#include "tst_desktopservices.moc"
