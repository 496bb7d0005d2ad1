#include "app/platform/autostartentry.h"
#include "app/platform/process.h"
#include "app/platform/quitsignals.h"
#include "app/platform/systemtheme.h"
#include "app/qautostarter.h"
#include "app/sleeplistener.h"
#include "tests/support/widgettestmain.h"

#include <QDir>
#include <QSettings>
#include <QThread>

#include <qt_windows.h>

namespace {

const QString currentVersion = "HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\";

// Sends a message to this program's top-level windows, as Windows does to those of every program. A
// message-only window, which gets no broadcasts, is not a child of the desktop window.
void broadcast(UINT message, WPARAM parameter)
{
    HWND window = nullptr;
    while ((window = FindWindowExW(GetDesktopWindow(), window, L"KvgMessageWindow", nullptr))) {
        SendMessageW(window, message, parameter, 0);
    }
}

} // namespace

class TestWindowsServices : public QObject
{
    Q_OBJECT

private slots:
    void onlyTheNumberZeroMakesTheSystemDark()
    {
        QVERIFY(!systemThemeIsDark());
        QSettings theme(currentVersion + "Themes\\Personalize", QSettings::NativeFormat);
        for (const auto &[light, isDark] :
             {std::pair(QVariant(1), false), {"dark", false}, {0, true}}) {
            theme.setValue("AppsUseLightTheme", light);
            QCOMPARE(systemThemeIsDark(), isDark);
        }
    }

    void autostartFollowsTheExecutable()
    {
        const QString own = QDir::toNativeSeparators(qApp->applicationFilePath());
        QSettings run(currentVersion + "Run", QSettings::NativeFormat);
        run.setValue("Other", "C:\\other.exe");
        QAutoStarter starter("Gate", {}, nullptr);
        starter.checkAutostart();
        QCOMPARE(run.allKeys(), QStringList("Other"));
        for (const QVariant &value : {QVariant("\"D:\\moved\\KVG-Gate.exe\""), QVariant(own),
                                      QVariant(""), QVariant(QStringList{"one", "two"})}) {
            run.setValue("Gate", value);
            QVERIFY(!starter.autostartSet());
            starter.checkAutostart();
            QVERIFY(starter.autostartSet());
            QCOMPARE(run.value("Gate"), QVariant('"' + own + '"'));
            starter.setAutostart(false);
            QCOMPARE(run.allKeys(), QStringList("Other"));
        }
        autostartentry::write(
            "Gate", autostartentry::commandFor("C:/Program Files/Шлюз & 100%/@KVG-Gate.exe"));
        QCOMPARE(autostartentry::read("Gate"),
                 QString("\"C:\\Program Files\\Шлюз & 100%\\@KVG-Gate.exe\""));
    }

    void theSessionEndsAfterTheApplication()
    {
        auto quitSignals = std::make_unique<QuitSignals>();
        QSignalSpy requests(quitSignals.get(), &QuitSignals::quitRequested);
        QTRY_VERIFY(FindWindowW(L"KvgMessageWindow", nullptr)); // another thread creates it
        broadcast(WM_QUERYENDSESSION, 0);
        broadcast(WM_ENDSESSION, FALSE); // another program refused
        QCoreApplication::processEvents();
        QCOMPARE(requests.count(), 0);
        const std::unique_ptr<QThread> session(
            QThread::create([] { broadcast(WM_ENDSESSION, TRUE); }));
        session->start();
        QTRY_COMPARE(requests.count(), 1);
        QVERIFY(!QTest::qWaitFor([&] { return session->isFinished(); }, 200));
        quitSignals.reset();
        QTRY_VERIFY(session->isFinished());
    }

    // The application has no window of its own, as when it starts hidden.
    void sleepAndWakeAreSignalledOnce()
    {
        QSignalSpy sleeps(SleepListener::instance(), &SleepListener::aboutToSleep);
        QSignalSpy wakes(SleepListener::instance(), &SleepListener::didWakeUp);
        SleepListener::instance()->install();
        broadcast(WM_POWERBROADCAST, PBT_APMPOWERSTATUSCHANGE);
        QCOMPARE(sleeps.count(), 0);
        broadcast(WM_POWERBROADCAST, PBT_APMSUSPEND);
        QCOMPARE(sleeps.count(), 1); // emitted before the answer, after which Windows may sleep
        broadcast(WM_POWERBROADCAST, PBT_APMRESUMEAUTOMATIC);
        broadcast(WM_POWERBROADCAST, PBT_APMRESUMESUSPEND);
        QCOMPARE(wakes.count(), 1);
    }

    // The last test, as prepareProcess() cannot be undone.
    void librariesOnThePathOrInTheCurrentFolderAreNotLoaded()
    {
        const auto loads = [](const QString &name) {
            HMODULE library = LoadLibraryW(reinterpret_cast<const wchar_t *>(name.utf16()));
            return library != nullptr && FreeLibrary(library);
        };
        const QTemporaryDir folder;
        QVERIFY(QFile::copy(KVG_ANY_LIBRARY, folder.filePath("kvg-stray.dll")));
        QVERIFY(qputenv("PATH", QFile::encodeName(folder.path()) + ';' + qgetenv("PATH")));
        QVERIFY(loads("kvg-stray.dll"));
        QVERIFY(QDir::setCurrent(folder.path()));
        prepareProcess();
        QVERIFY(!loads("kvg-stray.dll"));
        QVERIFY(loads(folder.filePath("kvg-stray.dll")));
        QDir::setCurrent(QDir::tempPath()); // so that the test's folder can be removed
    }
};

KVG_WIDGET_TEST_MAIN(TestWindowsServices)
#include "tst_windowsservices.moc"
