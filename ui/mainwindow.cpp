#include "ui/mainwindow.h"

#include "runner/zugatewrunner.h"
#include "ui/aboutbox.h"
#include "ui/cloudpage.h"
#include "ui/devicesettingspage.h"
#include "ui/dialogs.h"
#include "ui/log.h"
#include "ui/navigation.h"
#include "ui/registrationwizard.h"
#include "ui/regthingseditor.h"
#include "ui/settingspage.h"
#include "ui/splash.h"
#include "ui/statepage.h"
#include "ui/trayicon.h"
#include "ui/widgets/qledlabel.h"
#include "updates/cvupdater.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QEventLoop>
#include <QScreen>
#include <QStackedWidget>
#include <QStatusBar>

#include <iterator>

Q_LOGGING_CATEGORY(lcUi, "kvg.ui")

using Role = QMaterialIcon::Color;

// One row for each operation, in the order of their codes.
const MainWindow::Reaction MainWindow::s_reactions[] = {
    &MainWindow::loaded,            // Load
    &MainWindow::rescanned,         // Rescan
    &MainWindow::codeReceived,      // RegCode
    &MainWindow::registrationEnded, // ProcReg
    &MainWindow::pluginsListed,     // Lsmod
    &MainWindow::thingsListed,      // Lsthings
    &MainWindow::connecting,        // CConnect
    &MainWindow::nothing,           // TRename
    &MainWindow::statusReceived,    // CStatus
    &MainWindow::unregistered,      // DUnreg
    &MainWindow::aliasesMissing,    // AliasFill
    &MainWindow::failed,            // Error
    &MainWindow::exported,          // SExport
    &MainWindow::imported,          // SImport
    &MainWindow::settingsChanged,   // SetUpdate
    &MainWindow::nothing,           // ThingsGone
    &MainWindow::stateReceived,     // RegStatus
};

MainWindow::MainWindow(Autostart &autostart, const QString &logFolder, QWidget *parent)
    : QMainWindow(parent)
    , m_tray(nullptr)
    , m_pages(new QStackedWidget)
    , m_navigation(new Navigation(*this, m_pages, m_menu, m_deviceWindows))
    , m_led(nullptr)
{
    setObjectName("MainWindow");
    setWindowTitle(QStringLiteral("KVG-Gate"));
    const bool wanted = m_settings.store().value(keys::Autostart);
    if (!wanted || !autostart.autostartSet()) {
        autostart.setAutostart(wanted);
    }
    makePages(autostart, logFolder);
    connectRunner();
    m_updater = makeUpdater(m_settings.store().value(keys::UpdateFeed));
    makeMenu();
    makeStatusBar();
    showPage(P_STATE);
    m_tray = new TrayIcon(m_menu, this);
    connect(m_tray, &TrayIcon::activated, this, &MainWindow::trayActivated);
    connect(m_tray, &TrayIcon::missing, this, [this] {
        if (!isVisible()) {
            showMinimized(); // nothing else leads to it
        }
    });
    m_worker.start();
    m_settingsPage->load();
    m_cloudPage->wizard()->restart();
    m_clock.arm();
    resize(QSize(960, 700).boundedTo(screen()->availableSize()));
}

MainWindow::~MainWindow()
{
    m_clock.stop();
    m_settings.save(*this);
    m_settings.store().set(keys::WindowState, saveState());
    m_settings.store().set(keys::WindowGeometry, saveGeometry());
    m_worker.stop();
}

void MainWindow::makePages(Autostart &autostart, const QString &logFolder)
{
    m_statePage = new StatePage(m_pages);
    m_settingsPage = new SettingsPage(m_settings, autostart, logFolder, m_pages);
    m_deviceSettingsPage = new DeviceSettingsPage(m_pages);
    m_cloudPage = new CloudPage(m_pages);
    m_registry = new RegThingsEditor(m_pages);
    QWidget *const pages[] = {m_statePage, m_settingsPage, m_deviceSettingsPage, m_cloudPage,
                              m_registry};
    for (QWidget *const page : pages) {
        m_pages->addWidget(page);
    }
    const RegistrationWizard *const wizard = m_cloudPage->wizard();
    for (const QAction *const action : m_navigation->actions()) {
        connect(action, &QAction::triggered, this, &MainWindow::sidePane_clicked);
    }
    connect(m_settingsPage, &SettingsPage::notice, this, &MainWindow::notice);
    connect(m_deviceSettingsPage, &DeviceSettingsPage::notice, this, &MainWindow::notice);
    connect(wizard, &RegistrationWizard::notice, this, &MainWindow::notice);
    connect(m_settingsPage, &SettingsPage::applied, &m_clock, &ScanClock::arm);
    connect(m_statePage, &StatePage::renameRequested, this, &MainWindow::thing_renamereq);
    connect(wizard, &RegistrationWizard::renameRequested, this, &MainWindow::thing_renamereq);
}

void MainWindow::makeMenu()
{
    const auto add = [this](const QString &text, Actions action) {
        QAction *const entry = m_menu.addAction(text);
        entry->setData(action);
        connect(entry, &QAction::triggered, this,
                [this, entry] { process_action(entry->data().toInt()); });
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

void MainWindow::makeStatusBar()
{
    m_led = new QLedLabel(statusBar());
    showIndicator("gps_off", Role::Base, tr("Cloud connection is not configured"));
    statusBar()->addPermanentWidget(m_led);
}

void MainWindow::connectRunner()
{
    ZugatewRunner *const runner = m_worker.runner();
    connect(runner, &ZugatewRunner::finished, this, &MainWindow::runner_finished);
    connect(runner, &ZugatewRunner::thingChanged, this, &MainWindow::thing_changed);
    connect(runner, &ZugatewRunner::connectivityChanged, this, &MainWindow::gw_connectivityChanged);
    connect(runner, &ZugatewRunner::deviceCreated, this, &MainWindow::deviceCreated);
    RegistrationWizard *const wizard = m_cloudPage->wizard();
    connect(runner, &ZugatewRunner::registrationVoided, wizard, &RegistrationWizard::restart);

    // Queued also where the runner's thread does not run yet.
    const auto queued = Qt::QueuedConnection;
    connect(&m_settings, &ZUSettings::unregDevices, runner, &ZugatewRunner::resetGateway, queued);
    connect(m_cloudPage, &CloudPage::resetWanted, runner, &ZugatewRunner::resetGateway, queued);
    connect(m_registry, &RegThingsEditor::modified, runner, &ZugatewRunner::resetDevPool, queued);
    connect(m_registry, &RegThingsEditor::modified, runner, &ZugatewRunner::updatePool, queued);
    connect(m_deviceSettingsPage, &DeviceSettingsPage::stored, runner,
            &ZugatewRunner::applyDeviceSettings, queued);
    connect(wizard, &RegistrationWizard::stateWanted, runner, &ZugatewRunner::registrationState,
            queued);
    connect(wizard, &RegistrationWizard::registrationCancelled, runner,
            &ZugatewRunner::cancelRegistration, queued);
    connect(wizard, &RegistrationWizard::registrationWanted, runner, &ZugatewRunner::generateDoc,
            queued);
    connect(m_settingsPage, &SettingsPage::cloudSettingsChanged, runner,
            &ZugatewRunner::applyCloudSettings, queued);
    connect(m_settingsPage, &SettingsPage::exportRequested, runner, &ZugatewRunner::exportSettings,
            queued);
    connect(m_settingsPage, &SettingsPage::importRequested, runner, &ZugatewRunner::importSettings,
            queued);
    connect(&m_clock, &ScanClock::scanWanted, runner, &ZugatewRunner::rescan, queued);
    connect(&m_clock, &ScanClock::scanning, this, &MainWindow::showScanning);
}

template <typename Slot>
void MainWindow::queue(Slot slot)
{
    QMetaObject::invokeMethod(m_worker.runner(), slot, Qt::QueuedConnection);
}

void MainWindow::restoreLayout()
{
    if (m_layoutRestored) {
        return;
    }
    m_layoutRestored = true;
    m_settings.restore(*this);
    restoreGeometry(m_settings.windowGeometry(keys::WindowGeometry));
    restoreState(m_settings.windowState(keys::WindowState));
    // Qt takes a stored rectangle as it is: on other screens it may be out of reach, or too large.
    const QRect desktop = screen()->availableVirtualGeometry();
    resize(size().boundedTo(desktop.size()));
    if (!desktop.intersects(geometry())) {
        move(desktop.topLeft());
    }
}

void MainWindow::runInitSequence()
{
    Splash splash;
    splash.show();
    connect(this, &MainWindow::loadProgress, &splash, &Splash::showProgress);
    QEventLoop loop;
    connect(this, &MainWindow::loadFinished, &loop, [this, &loop](bool result) {
        if (!result && !m_status) {
            m_status = 1;
        }
        loop.exit(result ? 0 : 1);
    });
    m_loading = true;
    m_deviceWindows.holdBack();
    emit loadProgress(4, 0, tr("Loading plugins"));
    queue(&ZugatewRunner::loadPlugins);
    if (!m_status) {
        loop.exec();
    }
    if (!m_status) {
        appear(splash);
    }
    if (m_status) {
        qCInfo(lcUi, "Left during start-up with %d", *m_status);
        // The main event loop does not run yet, and would forget to end.
        const int status = *m_status;
        QMetaObject::invokeMethod(
            qApp, [status] { QCoreApplication::exit(status); }, Qt::QueuedConnection);
    }
}

void MainWindow::appear(QSplashScreen &splash)
{
    m_settingsPage->load();
    if (m_settings.store().value(keys::StartHidden) && !m_bringUpLater) {
        splash.close(); // finish() would wait for a window that does not come
        return;
    }
    show();
    disconnect(this, &MainWindow::loadProgress, &splash, nullptr);
    splash.finish(this);
    bringUp();
}

void MainWindow::leave()
{
    m_status = 0;
    QCoreApplication::exit(0); // ends the loop of the start-up as well
}

void MainWindow::bringUp()
{
    if (m_loading) {
        m_bringUpLater = true;
        return;
    }
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    m_deviceWindows.release();
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
    static_assert(std::size(s_reactions) == ZugatewRunner::RegStatus + 1);
    if (op >= 0 && op < int(std::size(s_reactions))) {
        const Reaction reaction = s_reactions[op];
        (this->*reaction)(result);
    }
}

// Also after start-up, on purpose.
void MainWindow::loaded(const QVariant &result)
{
    if (!result.toBool()) {
        emit loadFinished(false);
        return;
    }
    emit loadProgress(4, 1, tr("Assembling plugins list"));
    queue(&ZugatewRunner::listPlugins);
}

void MainWindow::pluginsListed(const QVariant &result)
{
    m_deviceSettingsPage->showPlugins(result.toJsonObject());
    if (m_loading) {
        emit loadProgress(4, 2, tr("Scanning for devices"));
        m_clock.scan();
    }
}

void MainWindow::rescanned(const QVariant &result)
{
    m_clock.scanned();
    if (!m_loading) {
        return;
    }
    if (!result.toBool()) {
        emit loadFinished(false);
        return;
    }
    emit loadProgress(4, 3, tr("Assembling devices list"));
    queue(&ZugatewRunner::listThings);
}

void MainWindow::thingsListed(const QVariant &result)
{
    m_statePage->showThings(result.value<ThingStateList>());
    if (m_loading) {
        emit loadProgress(4, 4, tr("Connecting to the cloud"));
        QMetaObject::invokeMethod(m_worker.runner(), "connectToCloud", Qt::QueuedConnection,
                                  Q_ARG(bool, true));
    }
}

void MainWindow::connecting(const QVariant & /*result*/)
{
    if (m_loading) {
        emit loadProgress(5, 5, tr("Requesting status")); // 5 on purpose
        queue(&ZugatewRunner::cloudStatus);
    }
}

void MainWindow::statusReceived(const QVariant &result)
{
    const QJsonObject status = result.toJsonObject();
    m_cloudPage->showStatus(status);
    if (m_connected) {
        // The indicator tells it already.
    } else if (status[QLatin1String("gw")].toBool()) {
        showIndicator("gps_not_fixed", Role::Error, tr("Disconnected from the cloud"));
    } else {
        showIndicator("gps_off", Role::Base, tr("Cloud connection is not configured"));
    }
    if (m_loading) {
        m_loading = false;
        qCInfo(lcUi, "Ready");
        // The first answer came before the gateway was restored.
        queue(&ZugatewRunner::registrationState);
        emit loadFinished(true);
    }
}

void MainWindow::codeReceived(const QVariant &result)
{
    m_cloudPage->wizard()->showCode(result.toJsonObject());
}

void MainWindow::registrationEnded(const QVariant &result)
{
    if (!m_cloudPage->wizard()->showResult(result.toJsonObject())) {
        return;
    }
    showPage(P_STATE);
    if (!m_loading) {
        queue(&ZugatewRunner::cloudStatus);
    }
}

void MainWindow::unregistered(const QVariant & /*result*/)
{
    queue(&ZugatewRunner::listThings);
    m_cloudPage->wizard()->restart();
}

void MainWindow::aliasesMissing(const QVariant &result)
{
    m_cloudPage->wizard()->askForAliases(result.toStringList());
}

void MainWindow::stateReceived(const QVariant &result)
{
    m_cloudPage->wizard()->showState(result.toInt());
}

void MainWindow::failed(const QVariant &result)
{
    dialogs::tell(this, QMessageBox::Warning, QCoreApplication::applicationName(),
                  dialogs::presentable(result.toString()));
}

void MainWindow::exported(const QVariant &result)
{
    m_settingsPage->showExported(result.toBool());
}

void MainWindow::imported(const QVariant &result)
{
    m_settingsPage->showImported(result.toBool());
    if (result.toBool()) {
        m_deviceSettingsPage
            ->on_deviceConfigsReadButton_clicked(); // or a write would undo the restore
    }                                               // else edits that are not saved stay
    m_registry->sync();
    m_cloudPage->refresh();
    queue(&ZugatewRunner::cloudStatus);
}

void MainWindow::settingsChanged(const QVariant & /*result*/)
{
    m_settingsPage->load();
}

void MainWindow::deviceCreated(QObject *thui)
{
    m_deviceWindows.add(thui);
}

void MainWindow::thing_changed(const ThingState &thing)
{
    m_statePage->showThing(thing);
    if (thing.gone) {
        m_clock.scanLater();
    }
}

void MainWindow::thing_renamereq(const QString &sid, const QString &alias)
{
    QMetaObject::invokeMethod(m_worker.runner(), "renameThing", Qt::QueuedConnection,
                              Q_ARG(QString, sid), Q_ARG(QString, alias));
}

void MainWindow::gw_connectivityChanged(bool connected)
{
    m_connected = connected;
    if (connected) {
        showIndicator("gps_fixed", Role::Success, tr("Connected to the cloud"));
    } else {
        showIndicator("gps_not_fixed", Role::Error, tr("Disconnected from the cloud"));
    }
    m_cloudPage->showConnectivity(connected);
}

void MainWindow::showIndicator(const char *icon, Role color, const QString &text)
{
    m_led->setIcon(QLatin1String(icon), color);
    m_led->setToolTip(text);
    m_led->setAccessibleName(text);
}

void MainWindow::sidePane_clicked()
{
    const auto *const action = qobject_cast<const QAction *>(sender());
    const int number = action != nullptr ? action->data().toInt() : 0;
    if (number == Navigation::scanData) {
        m_clock.scan();
    } else {
        showPage(static_cast<Pages>(Navigation::pageOf(number)));
    }
}

void MainWindow::showPage(Pages page)
{
    if (page == P_CLOUD) {
        m_cloudPage->refresh();
    } else if (page == P_REGISTRY) {
        m_registry->sync();
    }
    m_pages->setCurrentIndex(page);
    m_pages->currentWidget()->setFocus(); // Tab goes on into the page
    m_navigation->setPage(page);
}

void MainWindow::showScanning(bool on)
{
    m_navigation->setScanning(on);
    m_statePage->showScanning(on);
}

void MainWindow::notice(const QString &text, int milliseconds)
{
    statusBar()->showMessage(text, milliseconds);
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
        if (isShown()) {
            mhide();
        } else {
            bringUp();
        }
        break;
    case A_EXIT:
        leave();
        break;
    case A_ABOUT:
        showAboutBox(this);
        break;
    case A_UPDCHK:
        checkUpdate();
        break;
    case A_RESCAN: // the dock's; on purpose not here
    case A_HIDE:
    default:
        break;
    }
}

void MainWindow::mhide()
{
    if (m_tray->isThere()) {
        hide();
    } else {
        showMinimized();
    }
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    if (qApp->isSavingSession()) {
        event->accept(); // the tray must not keep the session from ending
        return;
    }
    if (m_settings.store().value(keys::CloseToTray)) {
        event->ignore();
        mhide();
        return;
    }
    event->accept();
    QMetaObject::invokeMethod(this, &MainWindow::leave, Qt::QueuedConnection);
}
