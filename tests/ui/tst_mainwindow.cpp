#include "runner/zugatewrunner.h"
#include "settings/devicepool.h"
#include "settings/settingsstore.h"
#include "settings/windowlayout.h"
#include "tests/support/files.h"
#include "tests/support/testclock.h"
#include "tests/support/widgettestmain.h"
#include "tests/support/writefault.h"
#include "tests/ui/fakeinterface.h"
#include "ui/leftoutbox.h"
#include "ui/mainwindow.h"
#include "ui/navigation.h"
#include "ui/scanclock.h"
#include "ui/settingspage.h"
#include "ui/widgets/qledlabel.h"
#include "watch/runwatch.h"

#include <QAbstractItemView>
#include <QAction>
#include <QCheckBox>
#include <QFileDialog>
#include <QJsonArray>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QRandomGenerator>
#include <QScreen>
#include <QSignalSpy>
#include <QSpinBox>
#include <QSplashScreen>
#include <QStatusBar>
#include <QToolBar>
#include <QWheelEvent>

using namespace std::chrono_literals;

namespace {

struct FakeAutostart : Autostart
{
    bool autostartSet() const override { return false; }
    void setAutostart(bool /*on*/) override {}
};

// The window of that name or class.
QWidget *topLevel(const char *name)
{
    for (QWidget *const window : QApplication::topLevelWidgets()) {
        if (window->objectName() == name || window->inherits(name)) {
            return window;
        }
    }
    return nullptr;
}

QMessageBox *openBox()
{
    return qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
}

const QString firstStep = "Step 1. Fill in the thing names";

} // namespace

class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        SettingsStore().clear();
        makeWindow();
    }
    void cleanup() { m_window.reset(); }

    void startUpReportsItsStepsAndShowsTheWindow()
    {
        for (const QString how : {"shown", "hidden", "hidden, but brought up"}) {
            makeWindow();
            SettingsStore().set(keys::StartHidden, how != "shown");
            QPointer<QSplashScreen> splash;
            atStep(3, [&] {
                splash = qobject_cast<QSplashScreen *>(topLevel("QSplashScreen"));
                QVERIFY(splash && splash->isVisible());
                QCOMPARE(splash->message(), QString("3/4 Assembling devices list"));
                m_window->runner_finished(16,
                                          2); // outdated: the state is requested again at the end
                m_window->deviceCreated(new FakeInterface);
                QVERIFY(!topLevel("deviceWindow")->isVisible()); // not over the splash screen
                if (how == "hidden, but brought up") {
                    m_window->bringUp();
                    QVERIFY(!m_window->isVisible());
                }
            });
            m_window->runInitSequence();
            QCOMPARE(m_steps.join(", "),
                     QString("0/4 Loading plugins, 1/4 Assembling plugins list, "
                             "2/4 Scanning for devices, 3/4 Assembling devices list, "
                             "4/4 Connecting to the cloud, 5/5 Requesting status"));
            QVERIFY(splash.isNull());
            QCOMPARE(m_window->isVisible(), how != "hidden");
            QCOMPARE(topLevel("deviceWindow")->isVisible(), how != "hidden");
            QCOMPARE(shows("things"), QString("Gateway"));
            QTRY_COMPARE(shows("regStepLabel"), firstStep);
            m_window->dockClicked();
            QVERIFY(m_window->isVisible());
        }
    }

    void aFailedStartOrAnEarlyExitEndsTheApplication()
    {
        for (const int failing : {-1, 0, 1}) { // the user quits, loading fails, scanning fails
            makeWindow();
            atStep(failing + 1, [&] {
                if (failing < 0) {
                    m_window->process_action(MainWindow::A_EXIT);
                    m_window->runner_finished(8, QJsonObject()); // was already on its way
                } else {
                    m_window->runner_finished(failing, false);
                }
            });
            m_window->runInitSequence();
            QVERIFY(!m_window->isVisible());
            QCOMPARE(execStatus(), failing < 0 ? 0 : 1);
        }
    }

    void resultsAreShownOnTheirPages()
    {
        using Runner = ZugatewRunner;
        const std::tuple<int, QVariant, QStringList> rows[] = {
            {Runner::RegCode,
             QJsonObject{{"value", 7}, {"timeout", 60}},
             {"regSteps=2", "cloudCode=7", "page=3"}},
            {Runner::ProcReg, QJsonObject{{"id", "g"}}, {"regSteps=3", "page=0"}},
            {Runner::ProcReg, QJsonObject{{"error", "x"}}, {"regSteps=0", "page=3"}},
            {Runner::DUnreg,
             true,
             {"regSteps=0", "regStepLabel=" + firstStep, "things=Gateway", "progress="}},
            {Runner::SExport, true, {"message=Configuration saved", "title=Backup"}},
            {Runner::SExport, false, {"message=Backup could not be saved", "title="}},
            {Runner::SImport, true, {"message=", "keepAlive=77", "title=Import"}},
            {Runner::SImport,
             false,
             {"message=Configuration could not be restored.", "title=", "keepAlive=55"}},
            {Runner::SetUpdate, {}, {"keepAlive=55", "port=4321"}},
            {-1, true, {"progress=", "things=", "title="}},
            {17, true, {"progress=", "things=", "title="}}};
        for (const auto &[op, result, expected] : rows) {
            init();
            m_window->show();
            dockAction(1)->trigger();
            settle();
            QCOMPARE(shows("regStepLabel"), firstStep);
            SettingsStore().set(keys::KeepAlive, 77);
            SettingsStore().set(keys::CloudPort, 4321U);
            m_window->findChild<QSpinBox *>("keepAlive")->setValue(55); // not applied
            m_window->runner_finished(op, result);
            settle();
            compare(expected);
        }
    }

    void theStatesOfConnectionAndCredentialsAreShown()
    {
        compare({"indicator=Cloud connection is not configured"});
        report(true, 0, 2);
        compare({"indicator=Disconnected from the cloud", "keyStatus=Ok", "certStatus=Corrupt"});
        m_window->gw_connectivityChanged(true);
        report(true, 3, 1);
        compare({"indicator=Connected to the cloud", "connectionStatus=Connected",
                 "keyStatus=Cryptographic error", "certStatus=Missing"});
        m_window->gw_connectivityChanged(false);
        compare({"indicator=Disconnected from the cloud", "connectionStatus=Disconnected",
                 "gatewayStatus=Ready"});
        report(false, 0, 0);
        compare({"indicator=Cloud connection is not configured", "gatewayStatus=Not registered"});
    }

    void messageBoxesOpenOneAtATime()
    {
        m_window->show();
        for (const char *const text : {"one", "two", "one", "three"}) {
            m_window->runner_finished(ZugatewRunner::Error, text);
        }
        for (const QString text : {"one", "two", "three"}) {
            QTRY_COMPARE(shows("box"), text);
            delete openBox();
        }
        for (int i = 0; i < 100; ++i) { // more than the queue takes
            m_window->runner_finished(ZugatewRunner::Error, QString::number(i));
        }
        QCOMPARE(m_window->findChildren<QMessageBox *>().size(), 21); // one is open
    }

    void whatTheStartLeftOutIsToldAndCanBeTriedAgain()
    {
        m_window->runInitSequence();
        showLeftOut(m_window.get(), {}, [] {});
        QVERIFY(!openBox());
        const QByteArray layout = "stored";
        SettingsStore().set(keys::WindowState, layout);
        showLeftOut(m_window.get(), {{{"/x/thing_<b>.so", runwatch::Reason::Crashes}}, true},
                    [this] { m_window->restartWithStoredLayout(); });
        QVERIFY(openBox()->text().contains("\"thing_<b>.so\" was left out"));
        QVERIFY(openBox()->text().contains("layout"));
        QCOMPARE(openBox()->textFormat(), Qt::PlainText);
        QCOMPARE(openBox()->escapeButton(), openBox()->button(QMessageBox::Close));
        for (QAbstractButton *const button : openBox()->buttons()) {
            if (button->text().remove('&') == "Try Again") {
                QTimer::singleShot(0ms, button, &QAbstractButton::click);
            }
        }
        QCOMPARE(execStatus(), int(MainWindow::restartCode));
        m_window.reset();
        QCOMPARE(SettingsStore().value(keys::WindowState), layout);
    }

    void scansAreRegularAndOneAtATime()
    {
        ScanClock clock;
        const QMap<int, std::chrono::milliseconds> periods{
            {-5, 30s}, {0, 30s}, {1, 60s}, {2'000'000'000, 7 * 24h}}; // fits the timer
        for (auto it = periods.begin(); it != periods.end(); ++it) {
            SettingsStore().set(keys::ScanInterval, it.key());
            clock.arm();
            QCOMPARE(clock.period().count(), it.value().count());
        }
        if (!testclock::canAdvance()) {
            QSKIP("The clock cannot be advanced here.");
        }
        QSignalSpy requested(&clock, &ScanClock::scanRequested);
        const auto scansAfter = [&requested](std::chrono::milliseconds time) {
            testclock::advance(time);
            QCoreApplication::processEvents();
            return requested.size();
        };
        SettingsStore().set(keys::ScanInterval, 1);
        clock.arm();
        QCOMPARE(scansAfter(50s), 0);
        QCOMPARE(scansAfter(15s), 1);
        QCOMPARE(scansAfter(65s), 1); // the first is still running
        clock.scan();
        QCOMPARE(requested.size(), 1);
        clock.scanFinished();
        clock.scan();
        QCOMPARE(requested.size(), 2);
        clock.scanLater(); // the running scan may have missed the change
        QCOMPARE(scansAfter(18s), 2);
        QCOMPARE(scansAfter(3s), 2);
        clock.scanFinished();
        QCOMPARE(scansAfter(21s), 3);
        clock.scanFinished();

        SettingsStore().set(keys::AutoScan, false);
        clock.arm();
        QCOMPARE(scansAfter(1h), 3);
    }

    void aDamagedLayoutIsIgnored()
    {
        m_window->resize(500, 450);
        m_window->show();
        const QByteArray geometry = m_window->saveGeometry();
        const QByteArray state = m_window->saveState();
        QVERIFY(windowlayout::isGeometry(geometry) && windowlayout::isState(state));
        for (const auto shown : {Qt::WindowMaximized, Qt::WindowFullScreen, Qt::WindowNoState}) {
            m_window->setWindowState(shown);
            QVERIFY(windowlayout::isGeometry(m_window->saveGeometry()));
        }
        QRandomGenerator random(1);
        for (int round = 0; round < 2000; ++round) { // Qt would read some of these for ever
            QByteArray odd = state;
            for (int i = 0; i < 3; ++i) {
                odd[random.bounded(odd.size())] = char(random.bounded(256));
            }
            if (windowlayout::isState(odd)) {
                m_window->restoreState(odd);
            }
        }
        const QByteArray huge = // by the rectangle's right and bottom
            geometry.chopped(8) + QByteArray("\0\0\x7f\xf0", 4).repeated(2);
        QVERIFY(windowlayout::isGeometry(huge));
        for (const auto &[bytes, at] : {std::pair(geometry, 24), {geometry, 40}, {state, 9}}) {
            QByteArray odd = bytes; // a coordinate, the screen, a count
            odd.replace(at, 4, QByteArray("\x7f\xff\xff\xff", 4));
            QVERIFY(!windowlayout::isGeometry(odd) && !windowlayout::isState(odd));
        }
        QVERIFY(!windowlayout::isState(state + state));
        m_window.reset(); // stores its layout
        SettingsStore().set(keys::WindowGeometry, huge);
        makeWindow();
        m_window->restoreLayout();
        const QSize desktop = m_window->screen()->virtualSize();
        QCOMPARE(m_window->size().boundedTo(desktop), m_window->size());
    }

    void deviceWindowsAreDeletedWithTheMainWindow()
    {
        const QPointer<QObject> odd(new QObject);
        const QPointer<QObject> thui(new FakeInterface);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("No such method"));
        for (QObject *const created : {static_cast<QObject *>(nullptr), odd.data(), thui.data()}) {
            m_window->deviceCreated(created);
        }
        QVERIFY(odd.isNull());
        QVERIFY(topLevel("deviceWindow")->isVisible());
        m_window.reset();
        QVERIFY(thui.isNull() && !topLevel("deviceWindow"));
    }

    void closingEndsTheProgramOnlyIfTheSettingsSaySo()
    {
        m_window->show();
        QVERIFY(!m_window->close());
        QVERIFY(m_window->isMinimized()); // there is no tray here
        QVERIFY(!SettingsStore().value(keys::TrayNoticeShown));
        m_window->bringUp();
        QVERIFY(m_window->isVisible() && !m_window->isMinimized());
        for (const auto reason : {QSystemTrayIcon::DoubleClick, QSystemTrayIcon::Trigger}) {
            m_window->trayActivated(reason);
            QCOMPARE(m_window->isMinimized(), reason == QSystemTrayIcon::Trigger);
        }
        m_window->trayActivated(QSystemTrayIcon::Trigger); // minimised is as good as hidden
        QVERIFY(!m_window->isMinimized());
        SettingsStore().set(keys::CloseToTray, false);
        QVERIFY(m_window->close());
        QCOMPARE(execStatus(), 0);
    }

    void aBackupIsLoadedOnlyOnYes()
    {
        const QTemporaryDir folder;
        const QString file = folder.filePath("a.bak");
        auto *const page = m_window->findChild<SettingsPage *>();
        auto *const button = page->findChild<QPushButton *>("settingsRestoreButton");
        DevicePool::update([](DevicePool &pool) {
            pool.put({"gateway", "200", "?", "", "Home\nDevices: 7"});
            pool.put({"lamp", "1", "A", "", "Lamp"});
        });
        emit page->exportRequested(file);
        QTRY_COMPARE(shows("title"), QString("Backup"));
        openBox()->close();
        SettingsStore().set(keys::KeepAlive, 77);
        for (const auto answer : {QMessageBox::No, QMessageBox::Yes}) {
            button->click();
            QTRY_VERIFY(QApplication::activeModalWidget());
            auto *const dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
            dialog->selectFile(file);
            static_cast<QDialog *>(dialog)->accept();
            QTRY_COMPARE(shows("title"), QString("Restore Backup"));
            const QString text = shows("box");
            for (const QString part : {"a.bak\n", "Gateway: Home Devices: 7\n", "\nDevices: 1\n",
                                       "\nRegistration: none\nCredentials: none\n"}) {
                QVERIFY2(text.contains(part), qPrintable(text));
            }
            QCOMPARE(openBox()->defaultButton(), openBox()->button(QMessageBox::No));
            QCOMPARE(SettingsStore().value(keys::KeepAlive), 77);
            openBox()->button(answer)->click();
            QCOMPARE(button->isEnabled(), answer == QMessageBox::No); // until it is restored
        }
        QTRY_COMPARE(shows("title"), QString("Import"));
        QCOMPARE(SettingsStore().value(keys::KeepAlive), keys::KeepAlive.fallback);
    }

    void whatNeedsARestartOffersIt()
    {
        m_window->runner_finished(ZugatewRunner::SImport, true);
        QCOMPARE(shows("title"), QString("Import"));
        QTest::keyClick(openBox(), Qt::Key_Escape);
        m_window->findChild<QCheckBox *>("dark")->click();
        m_window->findChild<SettingsPage *>()->on_settingsApplyButton_clicked();
        QTRY_COMPARE(shows("title"), QString("Theme"));
        for (QAbstractButton *const button : openBox()->buttons()) {
            if (openBox()->buttonRole(button) == QMessageBox::ActionRole) {
                QTimer::singleShot(0, button, &QAbstractButton::click);
            }
        }
        QCOMPARE(execStatus(), MainWindow::restartCode);
    }

    void anExistingBackupIsReplacedOnlyOnYes()
    {
        const QTemporaryDir folder;
        const QString file = folder.filePath("a.bak");
        QVERIFY(writeFile(file, "old"));
        auto *const button = m_window->findChild<QPushButton *>("settingsBackupButton");
        for (const auto answer : {QMessageBox::No, QMessageBox::Yes}) {
            QCOMPARE(readFile(file), QByteArray("old"));
            button->click();
            auto *const dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
            dialog->selectFile(folder.filePath("a"));
            static_cast<QDialog *>(dialog)->accept();
            QTRY_COMPARE(shows("box"), QString("a.bak already exists. Replace it?"));
            openBox()->button(answer)->click();
            QCOMPARE(button->isEnabled(), answer == QMessageBox::No); // until it is written
        }
        QTRY_VERIFY(readFile(file) != "old");
        QTRY_VERIFY(button->isEnabled());
        QCOMPARE(SettingsStore().value(keys::ExportDirectory), folder.path());
    }

    void theRegistrationIsVoidedOnlyOnYes()
    {
        auto *const button = m_window->findChild<QPushButton *>("settingsResetGWButton");
        QVERIFY(!button->isEnabled());
        report(false, 1, 2); // the rest of a registration that was interrupted
        QVERIFY(button->isEnabled());
        report(false, 1, 1);
        QVERIFY(!button->isEnabled());
        SettingsStore().set(keys::CloudSerial, QString("serial"));
        dockAction(1)->trigger();
        button->click();
        QCOMPARE(openBox()->defaultButton(), openBox()->button(QMessageBox::No));
        openBox()->button(QMessageBox::No)->click();
        settle();
        QCOMPARE(SettingsStore().value(keys::CloudSerial), QString("serial"));
        m_window->runner_finished(ZugatewRunner::RegCode, QJsonObject{{"value", 7}});
        QCOMPARE(shows("regSteps"), QString("2"));
        m_window->runner_finished(ZugatewRunner::DUnreg, true);
        QCOMPARE(shows("regSteps"), QString("0"));
        QVERIFY(!m_window->findChild<QPushButton *>("cloudGetCodeButton")->isEnabled());
    }

    void aPageStandsBelowItsTitleAndTakesTheFocus()
    {
        m_window->show();
        m_window->activateWindow();
        m_window->runner_finished(ZugatewRunner::Lsthings,
                                  QVariant::fromValue(ThingStateList{ThingState()}));
        const auto *const title = m_window->findChild<QToolBar *>()->findChild<QLabel *>();
        const auto *const table = m_window->findChild<QWidget *>("things");
        for (const int width : {1280, 640}) {
            m_window->resize(width, 700);
            QTRY_COMPARE(title->mapTo(m_window.get(), title->contentsRect().topLeft()).x(),
                         table->mapTo(m_window.get(), QPoint()).x());
        }
        const QMap<int, QString> first{
            {0, "things"}, {1, "checkConnectionButton"}, {4, "interval"}};
        for (auto it = first.begin(); it != first.end(); ++it) {
            dockAction(it.key())->trigger();
            QTRY_COMPARE(m_window->focusWidget()->objectName(), it.value());
        }
    }

    void cloudSettingsAreAppliedOnlyWhenTheyChanged()
    {
        auto *const page = m_window->findChild<SettingsPage *>();
        const QSignalSpy changed(page, &SettingsPage::cloudSettingsChanged);
        page->findChild<QCheckBox *>("startHidden")->click();
        page->on_settingsApplyButton_clicked();
        QCOMPARE(changed.size(), 0);
        page->findChild<QLineEdit *>("host")->setText("elsewhere");
        page->on_settingsApplyButton_clicked();
        page->on_settingsApplyButton_clicked();
        QCOMPARE(changed.size(), 1);
    }

    void unsavedChangesAreSavedOrDiscardedBeforeLeaving()
    {
        struct Row
        {
            int action, page;
            QString editor, apply, revert;
        };
        m_window->runner_finished(4, m_plugins);
        for (const Row &row :
             {Row{4, 1, "keepAlive", "settingsApplyButton", "settingsRevertButton"},
              Row{3, 2, "n", "deviceConfigsWriteButton", "deviceConfigsReadButton"}}) {
            const auto enabled = [this, row] {
                const auto isEnabled = [this](const QString &name) {
                    return m_window->findChild<QPushButton *>(name)->isEnabled();
                };
                return isEnabled(row.apply) && isEnabled(row.revert);
            };
            const auto edit = [this, row](int value) {
                m_window->findChild<QSpinBox *>(row.editor)->setValue(value);
            };
            const auto leave = [this](QMessageBox::StandardButton answer) {
                dockAction(0)->trigger();
                dockAction(5)->trigger(); // asked once
                QVERIFY(openBox());
                openBox()->button(answer)->click();
                QCoreApplication::processEvents();
            };
            const QString page = QString("page=%1").arg(row.page);
            dockAction(row.action)->trigger();
            edit(5);
            m_window->findChild<QPushButton *>(row.apply)->click();
            edit(7);
            QVERIFY(enabled());
            edit(5);
            QVERIFY(!enabled());
            edit(7);
            dockAction(row.action)->trigger();
            QVERIFY(!openBox());
            leave(QMessageBox::Cancel);
            compare({page, row.editor + "=7", "box="});
            QVERIFY(dockAction(row.action)->isChecked());
            leave(QMessageBox::Discard);
            compare({"page=0", row.editor + "=5"});
            dockAction(row.action)->trigger();
            edit(8);
            {
                const auto fault = settingsFault();
                leave(QMessageBox::Save);
                compare({page, "title=KVG-Gate"}); // which says that it was not saved
            }
            delete openBox();
            m_window->runner_finished(ZugatewRunner::ProcReg, QJsonObject{{"id", "g"}});
            compare({page, "title=Unsaved Changes"});
            leave(QMessageBox::Save);
            compare({"page=0", row.editor + "=8"});
            QVERIFY(!enabled());
        }
    }

    void scrollingChangesNoSetting()
    {
        m_window->runner_finished(4, m_plugins);
        for (const char *const name :
             {"n", "interval", "port", "keepAlive", "language", "scanInterval"}) {
            auto *const editor = m_window->findChild<QWidget *>(name);
            const QMetaProperty value = editor->metaObject()->userProperty();
            const QVariant before = value.read(editor);
            for (const int angle : {-120, 120}) {
                QWheelEvent wheel(QPointF(1, 1), QPointF(1, 1), {}, QPoint(0, angle), Qt::NoButton,
                                  Qt::NoModifier, Qt::NoScrollPhase, false);
                QCoreApplication::sendEvent(editor, &wheel);
                QCOMPARE(value.read(editor), before);
            }
        }
    }

private:
    void makeWindow()
    {
        m_window.reset(); // stores its layout
        m_window = std::make_unique<MainWindow>(m_autostart, QDir::tempPath());
        m_steps.clear();
        connect(m_window.get(), &MainWindow::loadProgress, this,
                [this](int total, int completed, const QString &step) {
                    m_steps += QStringLiteral("%1/%2 %3").arg(completed).arg(total).arg(step);
                });
    }
    // Runs the action in the start-up's event loop, right after the progress of the n-th step.
    void atStep(int step, const std::function<void()> &action)
    {
        connect(m_window.get(), &MainWindow::loadProgress, this, [=](int /*total*/, int completed) {
            if (completed == step) {
                QMetaObject::invokeMethod(this, action, Qt::QueuedConnection);
            }
        });
    }
    // The state of the gateway's registration, as the runner reports it.
    void report(bool registered, int key, int cert)
    {
        const QJsonObject status{{"gw", registered}, {"key", key}, {"cert", cert}};
        m_window->runner_finished(ZugatewRunner::CStatus, status);
    }
    // The runner answers in order: the end of this scan follows all earlier results.
    void settle() const
    {
        dockAction(2)->trigger();
        QTRY_VERIFY(dockAction(2)->isEnabled());
    }
    // What the main event loop ends with; -1 when it does not.
    static int execStatus()
    {
        const QObject guard;
        QTimer::singleShot(5s, &guard, [] { QCoreApplication::exit(-1); });
        return QCoreApplication::exec();
    }
    QAction *dockAction(int data) const
    {
        return m_window->findChild<Navigation *>()->actions().at(data);
    }
    // Each expectation is "name=what is shown".
    void compare(const QStringList &expected) const
    {
        for (const QString &expectation : expected) {
            const QString name = expectation.section('=', 0, 0);
            QCOMPARE(name + '=' + shows(name), expectation);
        }
    }
    // What the widget of that name shows; some names stand for other things.
    QString shows(const QString &name) const
    {
        const auto *const things = m_window->findChild<QAbstractItemView *>("things")->model();
        const auto *const pages = m_window->findChild<SettingsPage *>()->parentWidget();
        const QMap<QString, QString> others{
            {"things", things->index(0, 0).data().toString()},
            {"progress", m_steps.join(", ")},
            {"page", pages->property("currentIndex").toString()},
            {"message", m_window->statusBar()->currentMessage()},
            {"indicator", m_window->findChild<QLedLabel *>()->accessibleName()},
            {"title", openBox() == nullptr ? "" : openBox()->windowTitle()},
            {"box", openBox() == nullptr ? "" : openBox()->text()}};
        if (others.contains(name)) {
            return others[name];
        }
        const auto *const widget = m_window->findChild<QWidget *>(name);
        for (const char *const property : {"value", "text", "currentIndex"}) {
            if (widget->property(property).isValid()) {
                return widget->property(property).toString();
            }
        }
        return "?";
    }

    const QJsonObject m_plugins{
        {"lamp", QJsonObject{{"settings", QJsonArray{QJsonObject{
                                              {"name", "n"}, {"type", "int"}, {"max", 9}}}}}}};
    FakeAutostart m_autostart;
    std::unique_ptr<MainWindow> m_window;
    QStringList m_steps; // the progress of the start-up
};

KVG_WIDGET_TEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
