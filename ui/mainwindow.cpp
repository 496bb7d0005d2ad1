#include "ui/mainwindow.h"

#include "runner/zugatewrunner.h"
#include "ui/aboutbox.h"
#include "ui/cloudpage.h"
#include "ui/connectioncheckdialog.h"
#include "ui/connectionindicator.h"
#include "ui/devicesettingspage.h"
#include "ui/dialogs.h"
#include "ui/log.h"
#include "ui/navigation.h"
#include "ui/pagestyle.h"
#include "ui/registrationwizard.h"
#include "ui/regthingseditor.h"
#include "ui/settingspage.h"
#include "ui/statepage.h"
#include "ui/trayicon.h"
#include "ui/unsavedchanges.h"
#include "updates/cvupdater.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QScreen>
#include <QStackedWidget>
#include <QStatusBar>

Q_LOGGING_CATEGORY(lcUi, "kvg.ui")

MainWindow::MainWindow(Autostart &autostart, const QString &logFolder, QWidget *parent)
    : QMainWindow(parent)
    , m_pages(new QStackedWidget)
    , m_navigation(new Navigation(*this, m_pages, m_menu, m_deviceWindows))
    , m_indicator(new ConnectionIndicator(statusBar()))
{
    setObjectName("MainWindow");
    setWindowTitle(QStringLiteral("KVG-Gate"));
    makePages(autostart, logFolder);
    connectRunner();
    m_updater = makeUpdater(m_settings.store().value(keys::UpdateFeed));
    makeMenu();
    statusBar()->addPermanentWidget(m_indicator);
    showPage(P_STATE);
    m_tray = new TrayIcon(m_menu, this);
    connect(m_tray, &TrayIcon::activated, this, &MainWindow::trayActivated);
    connect(&runner()->linkMonitor(), &LinkMonitor::changed, m_tray, &TrayIcon::showLink);
    connect(m_tray, &TrayIcon::missing, this, [this] {
        if (!isVisible()) {
            showMinimized(); // the user has no other way to the window
        }
    });
    m_runnerThread.start();
    m_settingsPage->load();
    m_cloudPage->wizard()->restart();
    m_scanClock.arm();
    resize(QSize(960, 700).boundedTo(screen()->availableSize()));
}

MainWindow::~MainWindow()
{
    m_scanClock.stop();
    if (m_storesLayout) {
        m_settings.save(*this);
        m_settings.store().set(keys::WindowState, saveState());
        m_settings.store().set(keys::WindowGeometry, saveGeometry());
    }
    m_runnerThread.stop();
    delete takeCentralWidget(); // the pages use the members
}

void MainWindow::makePages(Autostart &autostart, const QString &logFolder)
{
    m_statePage = new StatePage(m_history, m_deviceWindows, m_pages);
    m_settingsPage = new SettingsPage(m_settings, autostart, logFolder, m_pages);
    m_deviceSettingsPage = new DeviceSettingsPage(m_pages);
    m_cloudPage = new CloudPage(m_pages);
    m_registryPage = new RegThingsEditor(m_pages);
    for (QWidget *const page : std::initializer_list<QWidget *>{
             m_statePage, m_settingsPage, m_deviceSettingsPage, m_cloudPage, m_registryPage}) {
        m_pages->addWidget(page);
    }
    for (const QAction *const action : m_navigation->actions()) {
        connect(action, &QAction::triggered, this, &MainWindow::sidePane_clicked);
    }
    connect(m_cloudPage, &CloudPage::checkRequested, this, [this, logFolder] {
        openConnectionCheck(runner()->connectionCheck(), logFolder, this);
    });
    RegistrationWizard *const wizard = m_cloudPage->wizard();
    connect(m_settingsPage, &SettingsPage::notice, statusBar(), &QStatusBar::showMessage);
    connect(m_deviceSettingsPage, &DeviceSettingsPage::notice, statusBar(),
            &QStatusBar::showMessage);
    connect(wizard, &RegistrationWizard::notice, statusBar(), &QStatusBar::showMessage);
    connect(m_settingsPage, &SettingsPage::restartRequested, this, &MainWindow::restart);
    connect(m_settingsPage, &SettingsPage::applied, &m_scanClock, &ScanClock::arm);
    connect(m_settingsPage, &SettingsPage::applied, m_statePage, &StatePage::applySettings);
    connect(m_statePage, &StatePage::renameRequested, this, &MainWindow::thing_renamereq);
    connect(m_statePage, &StatePage::registrationRequested, this, [this] { showPage(P_CLOUD); });
    connect(m_statePage, &StatePage::unnamedChanged, wizard, &RegistrationWizard::showUnnamed);
    connect(m_registryPage, &RegThingsEditor::forgotten, &m_history, &History::forget);
    connect(wizard, &RegistrationWizard::renameRequested, this, &MainWindow::thing_renamereq);
}

void MainWindow::makeMenu()
{
    const auto add = [this](const QString &text, Actions action) {
        QAction *const entry = m_menu.addAction(text);
        entry->setData(action);
        connect(entry, &QAction::triggered, this, [this, action] { process_action(action); });
        return entry;
    };
    add(tr("Show/Hide"), A_VSWITCH);
    m_menu.addSeparator();
    if (m_updater) {
        add(tr("Check for Updates"), A_UPDCHK);
    }
    add(tr("About"), A_ABOUT);
    QAction *const exit = add(tr("Exit"), A_EXIT);
    exit->setShortcut(QKeySequence::Quit);
    addAction(exit);
}

void MainWindow::connectRunner()
{
    using Runner = ZugatewRunner;
    using Wizard = RegistrationWizard;
    Runner *const runner = m_runnerThread.runner();
    Wizard *const wizard = m_cloudPage->wizard();
    connect(runner, &Runner::finished, this, &MainWindow::runner_finished);
    connect(runner, &Runner::thingChanged, this, &MainWindow::thing_changed);
    connect(runner, &Runner::connectivityChanged, this, &MainWindow::gw_connectivityChanged);
    const LinkMonitor *const link = &runner->linkMonitor();
    connect(link, &LinkMonitor::changed, m_cloudPage, &CloudPage::showLink);
    connect(link, &LinkMonitor::changed, m_indicator, &ConnectionIndicator::showLink);
    connect(m_cloudPage, &CloudPage::reconnectRequested, runner, &Runner::reconnect);
    connect(runner, &Runner::deviceCreated, this, &MainWindow::deviceCreated);
    connect(runner, &Runner::registrationVoided, wizard, &Wizard::restart);
    connect(&m_startup, &StartupChain::progress, this, &MainWindow::loadProgress);
    connect(&m_startup, &StartupChain::finished, this, &MainWindow::loadFinished);

    // The runner lives on another thread, so these calls are queued, also before that thread
    // starts.
    connect(&m_settings, &ZUSettings::unregDevices, runner, &Runner::resetGateway);
    connect(m_cloudPage, &CloudPage::resetRequested, runner, &Runner::resetGateway);
    connect(wizard, &Wizard::stateRequested, runner, &Runner::registrationState);
    connect(wizard, &Wizard::registrationRequested, runner, &Runner::generateDoc);
    connect(wizard, &Wizard::registrationCancelled, runner, &Runner::cancelRegistration);
    connect(m_registryPage, &RegThingsEditor::modified, runner, &Runner::resetDevPool);
    connect(m_registryPage, &RegThingsEditor::modified, runner, &Runner::updatePool);
    connect(m_deviceSettingsPage, &DeviceSettingsPage::stored, runner,
            &Runner::applyDeviceSettings);
    connect(m_settingsPage, &SettingsPage::cloudSettingsChanged, runner,
            &Runner::applyCloudSettings);
    connect(m_settingsPage, &SettingsPage::exportRequested, runner, &Runner::exportSettings);
    connect(m_settingsPage, &SettingsPage::inspectRequested, runner, &Runner::inspectBackup);
    connect(runner, &Runner::backupInspected, m_settingsPage, &SettingsPage::confirmImport);
    connect(m_settingsPage, &SettingsPage::importRequested, runner, &Runner::importSettings);
    connect(&m_scanClock, &ScanClock::scanRequested, runner, &Runner::rescan);
    connect(&m_scanClock, &ScanClock::scanningChanged, m_navigation, &Navigation::setScanning);
    connect(&m_scanClock, &ScanClock::scanningChanged, m_statePage, &StatePage::showScanning);
}

void MainWindow::queue(void (ZugatewRunner::*slot)())
{
    QMetaObject::invokeMethod(m_runnerThread.runner(), slot, Qt::QueuedConnection);
}

void MainWindow::restoreLayout()
{
    m_settings.restore(*this);
    restoreGeometry(m_settings.windowGeometry(keys::WindowGeometry));
    restoreState(m_settings.windowState(keys::WindowState));
    // Qt checks no stored rectangle: on other screens it may be out of reach, or too large.
    const QRect desktop = screen()->availableVirtualGeometry();
    resize(size().boundedTo(desktop.size()));
    if (!desktop.intersects(geometry())) {
        move(desktop.topLeft());
    }
}

void MainWindow::runInitSequence()
{
    StartupSplash splash(m_startup);
    splash.show();
    m_deviceWindows.holdBack();
    if (!m_startup.run() && !m_exitCode) {
        m_exitCode = 1;
    }
    if (!m_exitCode) {
        showAfterStartup(splash); // processes events: the user may quit meanwhile
    }
    if (m_exitCode) {
        qCInfo(lcUi, "Ended during start-up with exit code %d", *m_exitCode);
        // exit() has no effect before exec(), so it is posted.
        QMetaObject::invokeMethod(
            qApp, [code = *m_exitCode] { QCoreApplication::exit(code); }, Qt::QueuedConnection);
    }
}

void MainWindow::showAfterStartup(QSplashScreen &splash)
{
    m_settingsPage->load();
    if (m_settings.store().value(keys::StartHidden) && !m_bringUpAfterStartup) {
        splash.close(); // finish() would wait for the hidden window
        return;
    }
    show();
    splash.finish(this);
    bringUp();
}

void MainWindow::exitWith(int code)
{
    m_exitCode = code;
    QCoreApplication::exit(code); // also ends the start-up's local event loop
}

void MainWindow::restartWithStoredLayout()
{
    m_storesLayout = false;
    restart();
}

void MainWindow::bringUp()
{
    if (m_startup.isRunning()) {
        m_bringUpAfterStartup = true;
        return;
    }
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    m_deviceWindows.release(*this);
    raise();
    activateWindow();
}

void MainWindow::checkUpdate()
{
    if (m_updater) {
        m_updater->checkNow();
    }
}

void MainWindow::dockClicked()
{
    if (!isShown()) {
        bringUp();
    }
}

void MainWindow::runner_finished(int op, const QVariant &result)
{
    RegistrationWizard *const wizard = m_cloudPage->wizard();
    switch (op) {
    case ZugatewRunner::Rescan:
        m_scanClock.scanFinished();
        break;
    case ZugatewRunner::RegCode:
        wizard->showCode(result.toJsonObject());
        break;
    case ZugatewRunner::ProcReg:
        if (wizard->showResult(result.toJsonObject())) {
            UnsavedChanges::askBeforeLeaving(m_pages->currentWidget(),
                                             [this] { showPage(P_STATE); });
            if (!m_startup.isRunning()) { // it would take the result for its own
                queue(&ZugatewRunner::cloudStatus);
            }
        }
        break;
    case ZugatewRunner::Lsmod:
        m_deviceSettingsPage->showPlugins(result.toJsonObject());
        m_statePage->showPlugins(result.toJsonObject());
        break;
    case ZugatewRunner::Lsthings:
        m_statePage->showThings(result.value<ThingStateList>());
        break;
    case ZugatewRunner::CStatus:
        m_cloudPage->showStatus(result.toJsonObject());
        m_indicator->showRegistered(result.toJsonObject()[QLatin1String("gw")].toBool());
        break;
    case ZugatewRunner::DUnreg:
        queue(&ZugatewRunner::listThings);
        wizard->restart();
        break;
    case ZugatewRunner::AliasFill:
        wizard->askForAliases(result.toStringList());
        break;
    case ZugatewRunner::Error:
        dialogs::showMessage(this, QMessageBox::Warning, QCoreApplication::applicationName(),
                             dialogs::shortened(result.toString()));
        break;
    case ZugatewRunner::SExport:
        m_settingsPage->showExported(result.toBool());
        break;
    case ZugatewRunner::SImport:
        showImported(result.toBool());
        break;
    case ZugatewRunner::SetUpdate:
        m_settingsPage->reload();
        break;
    case ZugatewRunner::RegStatus:
        wizard->showState(result.toInt());
        break;
    default: // the start-up alone uses Load and CConnect, nothing uses the rest
        break;
    }
    m_startup.advance(op, result);
}

void MainWindow::showImported(bool done)
{
    m_settingsPage->showImported(done);
    if (done) {
        // The forms still show the old values; Write would store them over the restored ones.
        m_deviceSettingsPage->on_deviceConfigsReadButton_clicked();
    }
    m_registryPage->sync();
    m_cloudPage->refresh();
    queue(&ZugatewRunner::cloudStatus);
}

void MainWindow::thing_changed(const ThingState &thing)
{
    m_statePage->showThing(thing);
    if (thing.gone) {
        m_scanClock.scanLater();
    }
}

void MainWindow::thing_renamereq(const QString &sid, const QString &alias)
{
    QMetaObject::invokeMethod(m_runnerThread.runner(), "renameThing", Qt::QueuedConnection,
                              Q_ARG(QString, sid), Q_ARG(QString, alias));
}

void MainWindow::gw_connectivityChanged(bool connected)
{
    m_indicator->showConnected(connected);
    m_cloudPage->showConnectivity(connected);
}

void MainWindow::sidePane_clicked()
{
    const auto *const action = qobject_cast<const QAction *>(sender());
    const int number = action != nullptr ? action->data().toInt() : 0;
    if (number == Navigation::scanData) {
        m_scanClock.scan();
        return;
    }
    const auto page = static_cast<Pages>(Navigation::pageOf(number));
    const auto show = [this, page] { showPage(page); };
    const int current = m_pages->currentIndex();
    m_navigation->setPage(current); // the user may stay
    page == current ? show() : UnsavedChanges::askBeforeLeaving(m_pages->currentWidget(), show);
}

void MainWindow::showPage(Pages page)
{
    if (page == P_CLOUD) {
        m_cloudPage->refresh();
    } else if (page == P_REGISTRY) {
        m_registryPage->sync();
    }
    m_pages->setCurrentIndex(page);
    pagestyle::focusFirst(m_pages->currentWidget());
    m_navigation->setPage(page);
}

void MainWindow::trayActivated(QSystemTrayIcon::ActivationReason reason)
{
    if (reason == QSystemTrayIcon::Trigger) {
        process_action(A_VSWITCH);
    }
}

void MainWindow::process_action(int action)
{
    switch (action) {
    case A_VSWITCH:
        isShown() ? mhide() : bringUp();
        break;
    case A_EXIT:
        quit();
        break;
    case A_ABOUT:
        showAboutBox(this);
        break;
    case A_UPDCHK:
        checkUpdate();
        break;
    default: // A_RESCAN and A_HIDE: no entry of the menu carries them
        break;
    }
}

void MainWindow::mhide()
{
    m_tray->isAvailable() ? hide() : showMinimized();
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    if (qApp->isSavingSession()) {
        return; // the session could not end if the event were ignored
    }
    if (m_settings.store().value(keys::CloseToTray)) {
        event->ignore();
        mhide();
        m_tray->showClosed();
        if (!m_tray->isAvailable()) {
            statusBar()->showMessage(tr("This desktop has no tray, so closing the window only "
                                        "minimises it. Exit in the menu ends the gateway."));
        }
    } else {
        QMetaObject::invokeMethod(this, &MainWindow::quit, Qt::QueuedConnection);
    }
}
