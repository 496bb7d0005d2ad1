#include "app/platform/process.h"
#include "app/platform/quitsignals.h"
#include "app/platform/systemtheme.h"
#include "app/qautostarter.h"
#include "app/sleeplistener.h"
#include "app/theme.h"
#include "settings/settingsstore.h"
#include "tests/support/files.h"
#include "tests/support/widgettestmain.h"

#include <QDir>
#include <QProcess>
#include <QTextCodec>

#include <qt_windows.h>

#include <chrono>
#include <future>

using namespace std::chrono_literals;

namespace {

const QString runKey = "HKCU\\Software\\Microsoft\\Windows\\CurrentVersion\\Run";
const QString themeKey = "HKCU\\Software\\Microsoft\\Windows\\CurrentVersion\\Themes\\Personalize";

// What others do to the registry.
bool reg(const QStringList &arguments)
{
    QProcess process;
    process.start("reg", arguments);
    return process.waitForFinished() && process.exitCode() == 0;
}

bool regAdd(const QString &key, const QString &name, const QString &type, const QString &value)
{
    return reg({"add", key, "/v", name, "/t", type, "/d", value, "/f"});
}

// The values of a key as others see them, one a line.
QStringList exported(const QString &key)
{
    const QTemporaryDir folder;
    const QString file = QDir::toNativeSeparators(folder.filePath("key.reg"));
    reg({"export", key, file, "/y"});
    const QString text = QTextCodec::codecForName("UTF-16")->toUnicode(readFile(file));
    return text.split("\r\n", Qt::SkipEmptyParts).filter("=");
}

// As the system does it: every top-level window of the program gets the message.
void broadcast(UINT message, WPARAM parameter)
{
    static thread_local UINT text;
    static thread_local WPARAM value;
    text = message;
    value = parameter;
    EnumWindows(
        [](HWND window, LPARAM) -> BOOL {
            DWORD process = 0;
            GetWindowThreadProcessId(window, &process);
            if (process == GetCurrentProcessId()) {
                SendMessageW(window, text, value, 0);
            }
            return TRUE;
        },
        0);
}

} // namespace

class TestWindowsServices : public QObject
{
    Q_OBJECT

private slots:
    // The system's theme is read once: in this test it is dark, and the order of steps counts.
    void theUserOverridesTheSystemAndTheCommandLineBoth()
    {
        QVERIFY(!systemThemeIsDark());
        for (const auto &[type, value] : {std::pair("REG_DWORD", "1"),
                                          {"REG_SZ", "dark"},
                                          {"REG_SZ", ""},
                                          {"REG_BINARY", "00000000"},
                                          {"REG_MULTI_SZ", ""}}) {
            QVERIFY(regAdd(themeKey, "AppsUseLightTheme", type, value));
            QVERIFY2(!systemThemeIsDark(), type);
        }
        QVERIFY(regAdd(themeKey, "AppsUseLightTheme", "REG_DWORD", "0"));
        settleTheme(nullptr, &keys::Dark);
        QVERIFY(isDarkTheme());
        SettingsStore().set(keys::Dark, false);
        settleTheme(nullptr, &keys::Dark);
        QVERIFY(!isDarkTheme());
    }

    void autostartFollowsTheExecutable()
    {
        const QString own = QDir::toNativeSeparators(qApp->applicationFilePath());
        const QString entry =
            QString("\"Gate\"=\"\\\"%1\\\"\"").arg(QString(own).replace('\\', "\\\\"));
        const QString other = "\"Other\"=\"C:\\\\other.exe\"";
        QAutoStarter starter("Gate", {}, nullptr);
        starter.checkAutostart();
        starter.setAutostart(false);
        QVERIFY(regAdd(runKey, "Other", "REG_SZ", "C:\\other.exe"));
        QCOMPARE(exported(runKey), QStringList(other));
        for (const auto &[type, value] :
             {std::pair("REG_SZ", QString("\"D:\\moved\\KVG-Gate.exe\"")),
              {"REG_SZ", own},
              {"REG_SZ", ""},
              {"REG_DWORD", "7"},
              {"REG_BINARY", "ff00"},
              {"REG_MULTI_SZ", "one\\0two"}}) {
            QVERIFY(regAdd(runKey, "Gate", type, value));
            QVERIFY(!starter.autostartSet());
            starter.checkAutostart();
            QVERIFY(starter.autostartSet());
            QCOMPARE(exported(runKey).filter("Gate"), QStringList(entry));
            QVERIFY(regAdd(runKey, "Gate", type, value));
            starter.setAutostart(false);
            QCOMPARE(exported(runKey), QStringList(other));
        }
        starter.setAutostart(true);
        QCOMPARE(exported(runKey).filter("Gate"), QStringList(entry));

        const QString path = QString::fromUtf8("C:/Program Files/Шлюз & 100%/@KVG-Gate.exe");
        AutostartEntry("Gate").write(AutostartEntry::commandFor(path));
        QCOMPARE(AutostartEntry("Gate").read(), AutostartEntry::commandFor(path));
        QVERIFY(exported(runKey).contains(QString::fromUtf8(
            "\"Gate\"=\"\\\"C:\\\\Program Files\\\\Шлюз & 100%\\\\@KVG-Gate.exe\\\"\"")));
    }

    // No window of the application's is there, as when it starts hidden.
    void sleepAndWakeAreToldOnce()
    {
        QSignalSpy sleeps(SleepListener::instance(), &SleepListener::aboutToSleep);
        QSignalSpy wakes(SleepListener::instance(), &SleepListener::didWakeUp);
        SleepListener::instance()->install();
        SleepListener::instance()->install();
        for (const WPARAM resumed : {PBT_APMRESUMEAUTOMATIC, PBT_APMRESUMESUSPEND}) {
            broadcast(WM_POWERBROADCAST, PBT_APMPOWERSTATUSCHANGE);
            QCOMPARE(sleeps.count(), 0);
            broadcast(WM_POWERBROADCAST, PBT_APMSUSPEND);
            QCOMPARE(sleeps.count(), 1); // before the answer: afterwards there may be no time
            broadcast(WM_POWERBROADCAST, resumed);
            broadcast(WM_POWERBROADCAST, PBT_APMRESUMESUSPEND);
            QCOMPARE(wakes.count(), 1);
            sleeps.clear();
            wakes.clear();
        }
    }

    void theSessionEndsWhenTheApplicationHas()
    {
        auto quitSignals = std::make_unique<QuitSignals>();
        QSignalSpy asked(quitSignals.get(), &QuitSignals::asked);
        std::future<void> session = std::async(std::launch::async, [] {
            broadcast(WM_QUERYENDSESSION, 0);
            broadcast(WM_ENDSESSION, FALSE); // somebody else refused
            broadcast(WM_QUERYENDSESSION, 0);
            broadcast(WM_ENDSESSION, TRUE);
        });
        QTRY_COMPARE(asked.count(), 1);
        QVERIFY(session.wait_for(0s) == std::future_status::timeout);
        quitSignals.reset();
        // The other windows of this thread still have to answer.
        QTRY_VERIFY(session.wait_for(0s) == std::future_status::ready);
    }

    // The last one: it cannot be undone.
    void librariesThatLieAboutAreNotLoaded()
    {
        const QTemporaryDir folder;
        const QString file = folder.filePath("kvg-stray.dll");
        QVERIFY(QFile::copy(KVG_ANY_LIBRARY, file));
        QVERIFY(qputenv("PATH", QFile::encodeName(folder.path()) + ';' + qgetenv("PATH")));
        const QString before = QDir::currentPath();
        for (const QString &current : {before, folder.path()}) {
            QVERIFY(QDir::setCurrent(current));
            HMODULE library = LoadLibraryW(L"kvg-stray.dll");
            QVERIFY(library != nullptr);
            FreeLibrary(library);
        }
        prepareProcess();
        QVERIFY(LoadLibraryW(L"kvg-stray.dll") == nullptr);
        QDir::setCurrent(before);
        QVERIFY(LoadLibraryW(L"kvg-stray.dll") == nullptr);
        HMODULE library = LoadLibraryW(reinterpret_cast<const wchar_t *>(file.utf16()));
        QVERIFY(library != nullptr);
        FreeLibrary(library);
        QVERIFY(GetErrorMode() & SEM_FAILCRITICALERRORS);
    }
};

KVG_WIDGET_TEST_MAIN(TestWindowsServices)
#include "tst_windowsservices.moc"
