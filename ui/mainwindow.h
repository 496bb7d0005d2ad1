#pragma once

#include "history/history.h"
#include "runner/runnerthread.h"
#include "settings/settingsform.h"
#include "settings/zusettings.h"
#include "things/thingstate.h"
#include "ui/devicewindows.h"
#include "ui/scanclock.h"
#include "ui/startupchain.h"

#include <QMainWindow>
#include <QMenu>
#include <QSystemTrayIcon>
#include <QVariant>

#include <memory>
#include <optional>

class CVUpdater;
class CloudPage;
class ConnectionIndicator;
class DeviceSettingsPage;
class Navigation;
class QSplashScreen;
class QStackedWidget;
class RegThingsEditor;
class SettingsPage;
class StatePage;
class TrayIcon;

// The main window: the frame round the pages, and the owner of the runner. It queues every long
// operation to the runner and hands each result to the page that shows it. Interface thread;
// hidden at first.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    // The indices of the pages.
    enum Pages { P_STATE, P_SETTINGS, P_DEVICES, P_CLOUD, P_REGISTRY };
    Q_ENUM(Pages)
    // Data of the menu's actions.
    enum Actions { A_RESCAN, A_EXIT, A_VSWITCH, A_ABOUT, A_HIDE, A_UPDCHK };
    Q_ENUM(Actions)

    static constexpr int restartCode = 1000;

    // `autostart` is borrowed for life. `logFolder`: what a button of the settings page opens.
    MainWindow(Autostart &autostart, const QString &logFolder, QWidget *parent = nullptr);
    // Stores the layout, ends the cloud connection and waits for the runner.
    ~MainWindow() override;

    // Gives the window the size, position and tool bars that were stored.
    void restoreLayout();
    // For signals of the system; valid until the window is deleted.
    ZugatewRunner *runner() const { return m_runnerThread.runner(); }

public slots:
    // Shows the splash screen and runs the start-up chain in a local event loop, then shows the
    // window unless the settings hide it. If a step fails, the application exits with 1; if the
    // user quits meanwhile, with 0. Both happen as soon as the main event loop runs.
    void runInitSequence();
    // Exits the application with 0, also during start-up.
    void quit() { exitWith(0); }
    // Exits it with restartCode, for main() to start it again.
    void restart() { exitWith(restartCode); }
    // As restart(); the stored layout stays as it is.
    void restartWithStoredLayout();
    // Shows, raises and activates the window; during start-up, as soon as that has succeeded.
    void bringUp();
    void checkUpdate();
    // Nothing to do: main() connects the system's signals to the runner.
    void prepareSleep() {}
    void postWake() {}
    void dockClicked();
    void runner_finished(int op, const QVariant &result);
    void deviceCreated(QObject *thui) { m_deviceWindows.add(thui); }
    void thing_changed(const ThingState &thing);
    void thing_renamereq(const QString &sid, const QString &alias);
    void gw_connectivityChanged(bool connected);
    void sidePane_clicked();
    void trayActivated(QSystemTrayIcon::ActivationReason reason);
    void process_action(int action);
    void mhide();

signals:
    void loadProgress(int total, int completed, const QString &statusMsg);
    void loadFinished(bool result);

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    void makePages(Autostart &autostart, const QString &logFolder);
    void makeMenu();
    void connectRunner();
    void showAfterStartup(QSplashScreen &splash);
    void showPage(Pages page);
    void exitWith(int code);
    bool isShown() const { return isVisible() && !isMinimized(); }
    void showImported(bool done);
    void queue(void (ZugatewRunner::*slot)());

    ZUSettings m_settings;
    RunnerThread m_runnerThread;
    ScanClock m_scanClock;
    StartupChain m_startup{*m_runnerThread.runner(), m_scanClock};
    DeviceWindows m_deviceWindows;
    History m_history{History::defaultFile()};
    QMenu m_menu;
    std::unique_ptr<CVUpdater> m_updater; // null on platforms without one
    TrayIcon *m_tray = nullptr;
    QStackedWidget *m_pages;
    Navigation *m_navigation;
    StatePage *m_statePage;
    SettingsPage *m_settingsPage;
    DeviceSettingsPage *m_deviceSettingsPage;
    CloudPage *m_cloudPage;
    RegThingsEditor *m_registryPage;
    ConnectionIndicator *m_indicator;
    std::optional<int> m_exitCode;
    bool m_bringUpAfterStartup = false;
    bool m_storesLayout = true;
};
