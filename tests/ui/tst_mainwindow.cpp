#include "settings/settingsstore.h"
#include "settings/zusettings.h"
#include "tests/support/files.h"
#include "tests/support/widgettestmain.h"
#include "things/thingstate.h"
#include "ui/mainwindow.h"
#include "ui/registrationwizard.h"
#include "ui/scanclock.h"
#include "ui/widgets/qmaterialicon.h"

#include <QAbstractEventDispatcher>
#include <QAction>
#include <QFileDialog>
#include <QInputDialog>
#include <QJsonArray>
#include <QLCDNumber>
#include <QLabel>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QSplashScreen>
#include <QStackedWidget>
#include <QStatusBar>
#include <QTableView>
#include <QToolBar>
#include <QWheelEvent>

using namespace std::chrono_literals;

namespace {

struct FakeAutostart : Autostart
{
    bool autostartSet() const override { return set; }
    void setAutostart(bool on) override { calls += on; }
    void checkAutostart() override {}

    bool set = false;
    QList<bool> calls;
};

// What a device brings along: makes one window, which it does not own.
class FakeInterface : public QObject
{
    Q_OBJECT

public:
    Q_INVOKABLE QWidget *createWidget(QWidget *parent)
    {
        auto *const window = new QWidget(parent);
        window->setObjectName("deviceWindow");
        return window;
    }
};

QPointer<QWidget> deviceWindow()
{
    for (QWidget *const window : QApplication::topLevelWidgets()) {
        if (window->objectName() == "deviceWindow") {
            return window;
        }
    }
    return nullptr;
}

QMessageBox *openBox()
{
    return qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
}

ThingState thing(const QString &shortid, bool gone = false)
{
    ThingState thing;
    thing.shortid = shortid;
    thing.alias = "name";
    thing.gone = gone;
    return thing;
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
        m_autostart = FakeAutostart();
        makeWindow();
    }
    void cleanup()
    {
        m_window.reset();
        QVERIFY(deviceWindow() == nullptr);
    }

    void startUpTellsItsStepsAndShowsTheWindow_data()
    {
        QTest::addColumn<bool>("startHidden");
        QTest::addColumn<bool>("wokenMeanwhile");
        QTest::newRow("shown") << false << false;
        QTest::newRow("hidden") << true << false;
        QTest::newRow("hidden, but called for") << true << true;
    }
    void startUpTellsItsStepsAndShowsTheWindow()
    {
        QFETCH(bool, startHidden);
        QFETCH(bool, wokenMeanwhile);
        const bool shown = !startHidden || wokenMeanwhile;
        SettingsStore().set(keys::StartHidden, startHidden);
        SettingsStore().set(keys::KeepAlive, 77);
        QPointer<QSplashScreen> splash;
        atStep(3, [&] {
            for (QWidget *const window : QApplication::topLevelWidgets()) {
                splash = splash ? splash.data() : qobject_cast<QSplashScreen *>(window);
            }
            QVERIFY(splash && splash->isVisible());
            QCOMPARE(splash->message(), QString("3/4 Assembling devices list"));
            m_window->deviceCreated(new FakeInterface);
            QVERIFY(!deviceWindow()->isVisible()); // not over the splash screen
            if (wokenMeanwhile) {
                m_window->bringUp();
                QVERIFY(!m_window->isVisible());
            }
        });
        m_window->runInitSequence();
        QCOMPARE(told(), QString("0/4 Loading plugins, 1/4 Assembling plugins list, "
                                 "2/4 Scanning for devices, 3/4 Assembling devices list, "
                                 "4/4 Connecting to the cloud, 5/5 Requesting status"));
        QVERIFY(splash.isNull());
        QCOMPARE(m_window->isVisible(), shown);
        QCOMPARE(deviceWindow()->isVisible(), shown);
        QCOMPARE(m_window->findChild<QSpinBox *>("keepAlive")->value(), 77);
        QCOMPARE(rows("things").size(), 1); // the gateway itself
        QTRY_COMPARE(shows("regStepLabel"), firstStep);
        m_window->dockClicked();
        QVERIFY(m_window->isVisible());
    }

    void aFailedStartOrAnEarlyExitEndsTheApplication_data()
    {
        QTest::addColumn<int>("step");
        QTest::addColumn<int>("failing"); // operation, or -1 for the user's wish
        QTest::addColumn<int>("status");
        QTest::newRow("plugins") << 0 << 0 << 1;
        QTest::newRow("scan") << 2 << 1 << 1;
        QTest::newRow("exit") << 1 << -1 << 0;
        QTest::newRow("exit at once") << 0 << -1 << 0;
    }
    void aFailedStartOrAnEarlyExitEndsTheApplication()
    {
        QFETCH(int, step);
        QFETCH(int, failing);
        atStep(step, [&] {
            if (failing < 0) {
                m_window->process_action(MainWindow::A_EXIT);
            } else {
                m_window->runner_finished(failing, false);
            }
        });
        m_window->runInitSequence();
        QVERIFY(!m_window->isVisible());
        QTEST(execStatus(), "status");
    }

    void resultsShowWhereTheyBelong_data()
    {
        QTest::addColumn<int>("op");
        QTest::addColumn<QVariant>("result");
        QTest::addColumn<QStringList>("expected");
        const QMaterialIcon &icons = QMaterialIcon::instance();
        const auto in = [&icons](const char *text, QMaterialIcon::Color role) {
            return QString(text) + ' ' + icons.color(role).name();
        };
        const auto status = [](bool gw, int key, int cert) {
            return QVariant(QJsonObject{{"gw", gw}, {"key", key}, {"cert", cert}});
        };
        const QString ok = in("Ok", QMaterialIcon::Success);
        const QString missing = in("Missing", QMaterialIcon::Error);
        const QString kept = "gatewayStatus=" + in("Connected", QMaterialIcon::Success);
        const QString asked =
            "gatewayStatus=" + in("Not registered", QMaterialIcon::Warning); // cloudStatus()
        const auto row = [](const char *name, int op, const QVariant &result,
                            const QStringList &expected) {
            QTest::newRow(name) << op << result << expected;
        };
        row("Load", 0, true, {"progress=1/4 Assembling plugins list", "loaded="});
        row("Load failed", 0, false, {"progress=", "loaded=0"});
        row("Rescan", 1, true, {"progress=", "loaded="});
        row("Rescan failed", 1, false, {"progress=", "loaded="});
        row("RegCode", 2, QJsonObject{{"value", 7}, {"timeout", 60}},
            {"regSteps=2", "cloudCode=7", "cloudCountdown=60", "page=3"});
        row("ProcReg", 3, QJsonObject{{"id", "g"}, {"alias", "house"}},
            {"regSteps=3", "regResults=house (gateway): g", "page=0", asked, "box="});
        row("ProcReg without members", 3, QJsonObject(), {"regSteps=3", "regResults=", "page=0"});
        row("ProcReg failed", 3, QJsonObject{{"error", "x"}},
            {"box=Registation has completed with an error.<br>x (0)", "regSteps=0", "page=3",
             "regStepLabel=" + firstStep, kept});
        row("Lsmod", 4, QJsonObject{{"odd", 1}},
            {"deviceConfigsReadButton=off", "deviceConfigsWriteButton=off", "progress="});
        row("Lsthings", 5,
            QVariant::fromValue(ThingStateList{thing("lamp_1_A"), thing("lamp_1_B")}),
            {"things=lamp A name|lamp B name", "progress="});
        row("CConnect", 6, true, {"progress=", kept});
        row("TRename", 7, false, {"box=", "message="});
        row("CStatus", 8, status(true, 0, 1),
            {"gatewayStatus=" + in("Ready", QMaterialIcon::Success), "keyStatus=" + ok,
             "certStatus=" + missing, "loaded="});
        row("CStatus, faults", 8, status(false, 2, 3),
            {asked, "keyStatus=" + in("Corrupt", QMaterialIcon::Warning),
             "certStatus=Cryptographic error #da30ad"});
        row("CStatus, unknown", 8, status(true, 9, -1),
            {"keyStatus=" + missing, "certStatus=" + missing});
        row("DUnreg", 9, true,
            {"regSteps=0", "regStepLabel=" + firstStep, "things=gateway ? "}); // listThings()
        row("AliasFill", 10, QStringList{"lamp_1_A"}, {"prompt=Thing Name", "regSteps=0"});
        row("Error", 11, "<b>bad</b>", {"box=<b>bad</b>"});
        row("SExport", 12, true,
            {"message=Configuration saved", "box=The configuration backup file has been generated. "
                                            "It contains sensitive information, so keep it safe!"});
        row("SExport failed", 12, false, {"message=Backup could not be saved", "box="});
        row("SImport", 13, true,
            {"message=", "keepAlive=77",
             "box=Configuration has been restored from a backup. Restart the application as soon "
             "as possible."});
        row("SImport failed", 13, false,
            {"message=Configuration could not be restored.", "box=", "keepAlive=300"});
        row("SetUpdate", 14, QVariant(), {"keepAlive=77"});
        row("ThingsGone", 15, true, {"things=", "box=", "message="});
        row("RegStatus", 16, 2,
            {"regStepLabel=Your registration process is complete", "cloudGetCodeButton=off"});
        row("RegStatus, partial", 16, 1, {"regStepLabel=" + firstStep, "cloudGetCodeButton=on"});
        for (const int op : {-1, 17, 1000}) {
            row(qPrintable(QString::number(op)), op, true,
                {"progress=", "loaded=", "box=", "message=", "regSteps=0", "page=3"});
        }
    }
    void resultsShowWhereTheyBelong()
    {
        QFETCH(int, op);
        QFETCH(QVariant, result);
        QFETCH(QStringList, expected);
        m_window->show();
        dockAction(1)->trigger();
        QTRY_COMPARE(shows("regStepLabel"), firstStep);
        m_window->gw_connectivityChanged(true);
        SettingsStore().set(keys::KeepAlive, 77);
        m_window->runner_finished(op, result);
        for (const QString &expectation : expected) {
            const QString name = expectation.section('=', 0, 0);
            QTRY_COMPARE(shows(name), expectation.section('=', 1));
        }
        if (openBox() != nullptr) {
            openBox()->button(QMessageBox::Ok)->click();
            QCOMPARE(shows("box"), QString());
        }
    }

    void theDockLeadsToItsPages_data()
    {
        QTest::addColumn<int>("data");
        QTest::addColumn<int>("page");
        QTest::newRow("devices") << 0 << 0;
        QTest::newRow("cloud") << 1 << 3;
        QTest::newRow("device settings") << 3 << 2;
        QTest::newRow("settings") << 4 << 1;
        QTest::newRow("known devices") << 5 << 4;
        QTest::newRow("any other") << 6 << 0;
        QTest::newRow("negative") << -1 << 0;
    }
    void theDockLeadsToItsPages()
    {
        QFETCH(int, data);
        SettingsStore().set(keys::CloudSerial, QString("<b>serial"));
        SettingsStore().set(keys::DevicePool, QString(R"({"devices":[{"type":"lamp"}]})"));
        dockAction(data == 4 ? 3 : 4)->trigger();
        QAction foreign;
        foreign.setData(data);
        connect(&foreign, &QAction::triggered, m_window.get(), &MainWindow::sidePane_clicked);
        (dockAction(data) != nullptr ? dockAction(data) : &foreign)->trigger();
        QTEST(shows("page").toInt(), "page");
        if (data == 1) {
            QVERIFY(shows("gatewaySerial").startsWith("<b>serial "));
        } else if (data == 5) {
            QCOMPARE(rows("registeredThings").size(), 1);
        }
    }

    void aSearchRunsOnceAndLeavesThePage()
    {
        dockAction(4)->trigger();
        dockAction(2)->trigger();
        QVERIFY(!dockAction(2)->isEnabled());
        QCOMPARE(shows("page"), QString("1"));
        QTRY_VERIFY(dockAction(2)->isEnabled()); // the runner answered
    }

    void searchesAreRegularAndOneAtATime_data()
    {
        QTest::addColumn<int>("minutes");
        QTest::addColumn<int>("period"); // milliseconds
        QTest::newRow("never busy") << 0 << 30'000;
        QTest::newRow("one") << 1 << 60'000;
        QTest::newRow("negative") << -5 << 30'000;
        QTest::newRow("fits the timer") << 2'000'000'000 << 7 * 24 * 3'600'000;
    }
    void searchesAreRegularAndOneAtATime()
    {
        QFETCH(int, minutes);
        SettingsStore().set(keys::ScanInterval, minutes);
        ScanClock clock;
        const QSignalSpy wanted(&clock, &ScanClock::scanWanted);
        clock.arm();
        QTEST(int(clock.period().count()), "period");
        const auto timers = QAbstractEventDispatcher::instance()->registeredTimers(&clock);
        QCOMPARE(timers.size(), 1);
        QCOMPARE(timers.first().interval, int(clock.period().count()));
        QTimerEvent tick(timers.first().timerId);
        QCoreApplication::sendEvent(&clock, &tick);
        QCoreApplication::sendEvent(&clock, &tick);
        clock.scan();
        QCOMPARE(wanted.size(), 1);
        clock.scanned();
        clock.scan();
        QCOMPARE(wanted.size(), 2);

        SettingsStore().set(keys::AutoScan, false);
        clock.arm();
        QCOMPARE(clock.period(), 0ms);
        QVERIFY(QAbstractEventDispatcher::instance()->registeredTimers(&clock).isEmpty());
    }

    void thingsComeAndGo()
    {
        m_window->thing_changed(thing("lamp_1_A"));
        m_window->thing_changed(thing("lamp_1_B"));
        m_window->thing_changed(thing("lamp_1_A", true));
        m_window->thing_changed(thing("lamp_1_C", true));
        QCOMPARE(shows("things"), QString("lamp B name"));

        // To the runner and back: nobody knows this one.
        m_window->thing_renamereq("lamp_1_B", "other");
        QTRY_COMPARE(shows("box"), QString("Cannot rename lamp_1_B: no such thing"));
        openBox()->close();
    }

    void windowsOfDevicesAreShownAndEndWithTheirs()
    {
        m_window->deviceCreated(nullptr);
        const QPointer<QObject> odd(new QObject);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("No such method"));
        m_window->deviceCreated(odd);
        QVERIFY(odd.isNull());
        const QPointer<QObject> thui(new FakeInterface);
        m_window->deviceCreated(thui);
        QVERIFY(deviceWindow()->isVisible());
        m_window.reset();
        QVERIFY(thui.isNull());
    }

    void windowsOfDevicesThatWereClosedMakeRoom()
    {
        DeviceWindows windows;
        windows.holdBack();
        QPointer<QObject> first(new FakeInterface);
        windows.add(first);
        for (int i = 0; i < 100; ++i) {
            delete deviceWindow();
            windows.add(new FakeInterface);
        }
        QVERIFY(first.isNull());
        QVERIFY(deviceWindow() != nullptr);
    }

    void closingKeepsTheProgramUnlessToldOtherwise()
    {
        m_window->show();
        QVERIFY(!m_window->close());
        QVERIFY(m_window->isMinimized()); // there is no tray here
        m_window->bringUp();
        QVERIFY(m_window->isVisible() && !m_window->isMinimized());
        m_window->trayActivated(QSystemTrayIcon::DoubleClick);
        QVERIFY(!m_window->isMinimized());
        m_window->trayActivated(QSystemTrayIcon::Trigger);
        QVERIFY(m_window->isMinimized());
        SettingsStore().set(keys::CloseToTray, false);
        QVERIFY(m_window->close());
        QCOMPARE(execStatus(), 0);
    }

    void theLayoutIsRestoredOnce()
    {
        m_window->resize(700, 520);
        m_window->addToolBar(Qt::BottomToolBarArea, m_window->findChild<QToolBar *>("toolBar"));
        makeWindow();
        m_window->restoreLayout();
        QCOMPARE(m_window->size(), QSize(700, 520));
        QCOMPARE(m_window->toolBarArea(m_window->findChild<QToolBar *>("toolBar")),
                 Qt::BottomToolBarArea);
        m_window->resize(720, 540);
        m_window->restoreLayout();
        QCOMPARE(m_window->size(), QSize(720, 540));
    }

    void theAutostartEntryFollowsTheSetting()
    {
        QCOMPARE(m_autostart.calls, QList<bool>{false});
        SettingsStore().set(keys::Autostart, true);
        makeWindow();
        QCOMPARE(m_autostart.calls, QList<bool>({false, true}));
        m_autostart.set = true;
        makeWindow();
        QCOMPARE(m_autostart.calls.size(), 2);
    }

    void backupsGetTheirEnding_data()
    {
        QTest::addColumn<QString>("chosen");
        QTest::addColumn<QString>("written");
        QTest::newRow("kept") << "a.BAK" << "a.BAK";
        QTest::newRow("appended") << "a" << "a.bak";
        QTest::newRow("another ending") << "a.bak.old" << "a.bak.old.bak";
    }
    void backupsGetTheirEnding()
    {
        QFETCH(QString, chosen);
        QFETCH(QString, written);
        const QTemporaryDir folder;
        choose("settingsBackupButton", folder.filePath(chosen));
        QVERIFY(!m_window->findChild<QPushButton *>("settingsRestoreButton")->isEnabled());
        QTRY_VERIFY(shows("box").startsWith("The configuration backup file"));
        QCOMPARE(QDir(folder.path()).entryList(QDir::Files), QStringList(written));
        QCOMPARE(SettingsStore().value(keys::ExportDirectory), folder.path());
        openBox()->close();

        // And back; its directory is not remembered.
        const QTemporaryDir other;
        QVERIFY(QFile::rename(folder.filePath(written), other.filePath("b.bak")));
        SettingsStore().set(keys::KeepAlive, 77);
        choose("settingsRestoreButton", other.filePath("b.bak"));
        QTRY_VERIFY(shows("box").startsWith("Configuration has been restored"));
        QVERIFY(SettingsStore().value(keys::ExportDirectory) != other.path());
        QCOMPARE(SettingsStore().value(keys::KeepAlive), 300);
        QCOMPARE(shows("keepAlive"), QString("300"));
        openBox()->close();
    }

    void anEarlierBackupIsReplacedOnlyOnYes()
    {
        const QTemporaryDir folder;
        const QString file = folder.filePath("a.bak");
        QVERIFY(writeFile(file, "old"));
        for (const auto answer : {QMessageBox::No, QMessageBox::Yes}) {
            QCOMPARE(readFile(file), QByteArray("old"));
            choose("settingsBackupButton", folder.filePath("a"));
            QCOMPARE(shows("box"), QString("a.bak already exists. Replace it?"));
            openBox()->button(answer)->click();
        }
        QTRY_VERIFY(shows("box").startsWith("The configuration backup file"));
        QVERIFY(readFile(file) != "old");
        openBox()->close();
    }

    void theRegistrationIsVoidedOnlyOnYes()
    {
        SettingsStore().set(keys::CloudSerial, QString("serial"));
        dockAction(1)->trigger();
        QTRY_COMPARE(shows("regStepLabel"), firstStep);
        auto *const reset = m_window->findChild<QPushButton *>("settingsResetGWButton");
        reset->click();
        QCOMPARE(openBox()->windowTitle(), QString("Gateway Registration"));
        QCOMPARE(openBox()->defaultButton(), openBox()->button(QMessageBox::No));
        openBox()->button(QMessageBox::No)->click();
        QVERIFY(shows("gatewaySerial").startsWith("serial "));
        m_window->runner_finished(3, QJsonObject{{"id", "g"}, {"alias", "house"}});

        reset->click();
        openBox()->button(QMessageBox::Yes)->click();
        QVERIFY(shows("gatewaySerial").startsWith("Not registered "));
        QCOMPARE(shows("regResults"), QString());
        QTRY_COMPARE(SettingsStore().value(keys::CloudSerial), QString());
        QTRY_COMPARE(shows("regSteps"), QString("0"));
    }

    void scrollingChangesNoSettingOfADevice()
    {
        const QJsonObject number{{"name", "n"}, {"type", "int"}, {"min", 0}, {"max", 9}};
        m_window->runner_finished(4, QJsonObject{{"lamp", lampWith(number)}});
        auto *const box = pages()->widget(MainWindow::P_DEVICES)->findChild<QSpinBox *>();
        QVERIFY(box != nullptr);
        box->setValue(5);
        QWheelEvent wheel(QPointF(1, 1), QPointF(1, 1), {}, QPoint(0, 120), Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(box, &wheel);
        QCOMPARE(box->value(), 5);
        m_window->findChild<QPushButton *>("deviceConfigsWriteButton")->click();
        QCOMPARE(SettingsStore().pluginValues("lamp").value("n").toInt(), 5);
        QCOMPARE(shows("message"), QString("Device settings saved"));
    }

private:
    void makeWindow()
    {
        m_window.reset(); // which stores its layout first
        m_window = std::make_unique<MainWindow>(m_autostart, QDir::tempPath());
        m_progress = std::make_unique<QSignalSpy>(m_window.get(), &MainWindow::loadProgress);
        m_loaded = std::make_unique<QSignalSpy>(m_window.get(), &MainWindow::loadFinished);
    }
    static QJsonObject lampWith(const QJsonObject &setting)
    {
        return {{"name", "lamp"}, {"settings", QJsonArray{setting}}};
    }
    // Does something in the loop of the start-up, when its n-th step has just been told.
    void atStep(int step, const std::function<void()> &action)
    {
        connect(m_window.get(), &MainWindow::loadProgress, this,
                [=](int /*total*/, int completed) {
                    if (completed == step) {
                        QMetaObject::invokeMethod(this, action, Qt::QueuedConnection);
                    }
                });
    }
    // What the main event loop ends with; -1 when it does not.
    static int execStatus()
    {
        QTimer guard;
        connect(&guard, &QTimer::timeout, [] { QCoreApplication::exit(-1); });
        guard.start(5s);
        return QCoreApplication::exec();
    }
    QAction *dockAction(int data) const
    {
        for (QAction *const action : m_window->actions()) {
            if (action->data() == data && action->objectName().isEmpty()) {
                return action;
            }
        }
        return nullptr;
    }
    QStackedWidget *pages() const
    {
        return m_window->centralWidget()->findChild<QStackedWidget *>(QString(),
                                                                      Qt::FindDirectChildrenOnly);
    }
    void choose(const char *button, const QString &file) const
    {
        m_window->findChild<QPushButton *>(button)->click();
        auto *const dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
        QVERIFY(dialog != nullptr);
        dialog->selectFile(file);
        static_cast<QDialog *>(dialog)->accept();
    }
    QString told() const
    {
        QStringList steps;
        for (const QList<QVariant> &step : *m_progress) {
            steps += QStringLiteral("%2/%1 %3").arg(step.at(0).toInt()).arg(step.at(1).toInt()).arg(
                step.at(2).toString());
        }
        return steps.join(", ");
    }
    // The first three columns of a table.
    QStringList rows(const QString &name) const
    {
        const auto *const model = m_window->findChild<QTableView *>(name)->model();
        QStringList rows;
        for (int row = 0; row < model->rowCount(); ++row) {
            QStringList cells;
            for (int column = 0; column < 3; ++column) {
                cells += model->index(row, column).data().toString();
            }
            rows += cells.join(' ');
        }
        return rows;
    }
    // What the widget of that name shows, labels of states with their colour; for some names that
    // are no widget's: what is told or open.
    QString shows(const QString &name) const
    {
        if (name == "progress") {
            return told();
        }
        if (name == "loaded") {
            return m_loaded->isEmpty() ? QString() : QString::number(m_loaded->last().at(0).toInt());
        }
        if (name == "page") {
            return QString::number(pages()->currentIndex());
        }
        if (name == "message") {
            return m_window->statusBar()->currentMessage();
        }
        if (name == "box") {
            return openBox() == nullptr ? QString() : openBox()->text();
        }
        if (name == "prompt") {
            const auto *const prompt = m_window->findChild<QInputDialog *>();
            return prompt == nullptr ? QString() : prompt->windowTitle();
        }
        QWidget *const widget = m_window->findChild<QWidget *>(name);
        if (auto *const label = qobject_cast<QLabel *>(widget)) {
            const bool colored = name.startsWith("gateway") || name.endsWith("Status");
            return label->text() +
                   (colored ? ' ' + label->palette().color(QPalette::WindowText).name() : QString());
        }
        if (auto *const lcd = qobject_cast<QLCDNumber *>(widget)) {
            return QString::number(lcd->intValue());
        }
        if (auto *const box = qobject_cast<QSpinBox *>(widget)) {
            return QString::number(box->value());
        }
        if (auto *const button = qobject_cast<QPushButton *>(widget)) {
            return button->isEnabled() ? "on" : "off";
        }
        if (auto *const stack = qobject_cast<QStackedWidget *>(widget)) {
            return QString::number(stack->currentIndex());
        }
        if (auto *const list = qobject_cast<QListWidget *>(widget)) {
            return list->count() == 0 ? QString() : list->item(0)->text();
        }
        return rows(name).join('|');
    }

    FakeAutostart m_autostart;
    std::unique_ptr<MainWindow> m_window;
    std::unique_ptr<QSignalSpy> m_progress;
    std::unique_ptr<QSignalSpy> m_loaded;
};

KVG_WIDGET_TEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
