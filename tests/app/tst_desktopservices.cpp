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
#include <QStyle>
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
        return QDBusVariant(space + '/' + key == "org.freedesktop.appearance/color-scheme"
                                ? answer
                                : QVariant("not asked for"));
    }
};

QVariant wrapped(const QVariant &value)
{
    return QVariant::fromValue(QDBusVariant(value));
}

const char ownEntry[] = "autostart/NimbraCloudGate.desktop";

} // namespace

class TestDesktopServices : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        const QString address = "unix:path=" + m_temp.filePath("bus");
        const QString config = m_temp.filePath("bus.conf");
        QVERIFY(writeFile(config, "<busconfig><listen>" + address.toUtf8() +
                                      "</listen><policy context=\"default\"><allow own=\"*\"/>"
                                      "<allow send_destination=\"*\"/><allow receive_sender=\"*\"/>"
                                      "</policy></busconfig>"));
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", address.toUtf8());
        qputenv("DBUS_SESSION_BUS_ADDRESS", address.toUtf8());
        m_bus.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_bus.start(KVG_DBUS_DAEMON, {"--config-file=" + config, "--nofork", "--print-address=1"});
        QVERIFY(m_bus.waitForReadyRead());

        QDBusConnection portal = QDBusConnection::connectToBus(address, "portal");
        QVERIFY(portal.registerService("org.freedesktop.portal.Desktop"));
        m_portal.moveToThread(&m_portalThread);
        m_portalThread.start();
        QVERIFY(portal.registerObject("/org/freedesktop/portal/desktop", &m_portal,
                                      QDBusConnection::ExportAllSlots));
    }
    void cleanupTestCase()
    {
        m_portalThread.quit();
        m_portalThread.wait();
        QDBusConnection::disconnectFromBus("portal");
        m_bus.kill();
        m_bus.waitForFinished();
    }

    void theDesktopIsAskedForItsColours_data()
    {
        QTest::addColumn<QVariant>("answer");
        QTest::addColumn<bool>("dark");
        QTest::newRow("light") << QVariant(2u) << false;
        QTest::newRow("no preference") << wrapped(0u) << false;
        QTest::newRow("no number") << wrapped("1") << false;
        QTest::newRow("dark") << QVariant(1u) << true;
        QTest::newRow("dark, wrapped again") << wrapped(1u) << true; // as the portal says it
    }
    void theDesktopIsAskedForItsColours()
    {
        QFETCH(QVariant, answer);
        m_portal.answer = answer;
        QTEST(systemThemeIsDark(), "dark");
    }

    // The system's theme is read once: in this test it is dark, and the order of steps counts.
    void theUserOverridesTheSystemAndTheCommandLineBoth()
    {
        m_portal.answer = wrapped(1u);
        QVERIFY(isDarkTheme());
        QVERIFY(settleTheme(nullptr, &keys::Dark));
        QVERIFY(isDarkTheme());
        QCOMPARE(QApplication::palette().color(QPalette::Active, QPalette::Button),
                 QColor(64, 64, 64));
        QCOMPARE(QApplication::palette().color(QPalette::Disabled, QPalette::Text),
                 QColor(128, 128, 128));
        QCOMPARE(qApp->styleSheet(),
                 QString("QToolTip { color: #ffffff; background-color: #2a82da; "
                         "border: 1px solid white; }"));

        qApp->setStyleSheet({});
        SettingsStore().set(keys::Dark, false);
        settleTheme(nullptr, &keys::Dark);
        QVERIFY(!isDarkTheme());
        SettingsStore().set(keys::Dark, true);
        QCommandLineParser parser;
        addThemeOptions(parser);
        QVERIFY(parser.parse({"KVG-Gate", "--ignore-dark"}));
        settleTheme(&parser, &keys::Dark);
        QVERIFY(!isDarkTheme());
        QVERIFY(qApp->styleSheet().isEmpty());
        QVERIFY(parser.parse({"KVG-Gate"}));
        settleTheme(&parser, &keys::Dark);
        QVERIFY(isDarkTheme());
    }

    void onlyTheSystemItselfTellsOfSleep()
    {
        QSignalSpy sleeps(SleepListener::instance(), &SleepListener::aboutToSleep);
        QSignalSpy wakes(SleepListener::instance(), &SleepListener::didWakeUp);
        const QString address = qEnvironmentVariable("DBUS_SYSTEM_BUS_ADDRESS");
        QDBusConnection logind = QDBusConnection::connectToBus(address, "logind");
        QDBusConnection impostor = QDBusConnection::connectToBus(address, "impostor");
        QVERIFY(logind.registerService("org.freedesktop.login1"));
        SleepListener::instance()->install();
        SleepListener::instance()->install();
        tell(impostor, true);
        QVERIFY(impostor.interface()->isServiceRegistered("x.y").isValid()); // it went out
        tell(logind, false);
        tell(logind, true);
        QTRY_COMPARE(sleeps.count(), 1);
        QCOMPARE(wakes.count(), 0);
        tell(logind, true);
        tell(logind, false);
        QTRY_COMPARE(wakes.count(), 1);
        QCOMPARE(sleeps.count(), 1);
    }

    void autostartFollowsTheExecutable_data()
    {
        QTest::addColumn<QByteArray>("entry"); // empty: none
        QTest::addColumn<bool>("rewritten");
        QTest::newRow("none") << QByteArray() << false;
        QTest::newRow("moved") << entry("\"/elsewhere/KVG-Gate\"") << true;
        QTest::newRow("unquoted") << entry(QCoreApplication::applicationFilePath().toUtf8())
                                  << true;
        QTest::newRow("hidden by the user") << entry("\"/elsewhere/KVG-Gate\"") + "Hidden=true\n"
                                            << false;
        QTest::newRow("switched off in GNOME")
            << entry("\"/elsewhere/KVG-Gate\"") + "X-GNOME-Autostart-enabled=false\n"
            << false;
        QTest::newRow("rubbish") << QByteArray(100, '=') << false;
    }
    void autostartFollowsTheExecutable()
    {
        QFETCH(QByteArray, entry);
        QFETCH(bool, rewritten);
        QDir(m_config).mkpath("autostart");
        QFile::remove(m_config + ownEntry);
        if (!entry.isEmpty()) {
            QVERIFY(writeFile(m_config + ownEntry, entry));
        }
        QAutoStarter starter("NimbraCloudGate", ":/images/zu-gate.png", nullptr);
        QVERIFY(!starter.autostartSet());
        starter.checkAutostart();
        QCOMPARE(starter.autostartSet(), rewritten);
        QCOMPARE(readFile(m_config + ownEntry) == entry, !rewritten);

        QVERIFY(QMetaObject::invokeMethod(&starter, "setAutostart", Q_ARG(bool, true)));
        QVERIFY(starter.autostartSet());
        starter.setAutostart(false);
        QVERIFY(!QFile::exists(m_config + ownEntry));
        starter.setAutostart(false);
    }

    void anOddPathSurvivesTheEntry()
    {
        const QString command = AutostartEntry::commandFor("/a b/\"c\"/$d/`e`/f\\g/100%/\tKVG");
        QCOMPARE(command, QString("\"/a b/\\\"c\\\"/\\$d/\\`e\\`/f\\\\g/100%%/\tKVG\""));
        AutostartEntry("NimbraCloudGate").write(command);
        QCOMPARE(AutostartEntry("NimbraCloudGate").read(), command);
        // A value has escapes of its own: each backslash of the command is doubled.
        QVERIFY(readFile(m_config + ownEntry)
                    .contains("\nExec=\"/a b/\\\\\"c\\\\\"/\\\\$d/\\\\`e\\\\`/f\\\\\\\\g/100%%/"
                              "\\tKVG\"\n"));
    }

private:
    static void tell(QDBusConnection &from, bool begins)
    {
        QDBusMessage signal = QDBusMessage::createSignal(
            "/org/freedesktop/login1", "org.freedesktop.login1.Manager", "PrepareForSleep");
        signal << begins;
        QVERIFY(from.send(signal));
    }
    static QByteArray entry(const QByteArray &command)
    {
        return "[Desktop Entry]\nType=Application\nName=KVG-Gate\nExec=" + command + '\n';
    }

    QTemporaryDir m_temp;
    QProcess m_bus;
    FakePortal m_portal;
    QThread m_portalThread;
    const QString m_config = qEnvironmentVariable("XDG_CONFIG_HOME") + '/';
};

KVG_WIDGET_TEST_MAIN(TestDesktopServices)
#include "tst_desktopservices.moc"
