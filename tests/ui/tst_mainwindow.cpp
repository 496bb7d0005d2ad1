#include "runner/zugatewrunner.h"
#include "settings/settingsstore.h"
#include "settings/windowlayout.h"
#include "tests/support/files.h"
#include "tests/support/testclock.h"
#include "tests/support/widgettestmain.h"
#include "tests/ui/fakeinterface.h"
#include "things/thingstate.h"
#include "ui/devicespage.h"
#include "ui/mainwindow.h"
#include "ui/scanclock.h"
#include "ui/settingspage.h"
#include "ui/widgets/qledlabel.h"
#include "ui/widgets/qmaterialicon.h"
#include "ui/widgets/qstatuslabel.h"

#include <QAbstractItemView>
#include <QAction>
#include <QCheckBox>
#include <QFileDialog>
#include <QJsonArray>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QRandomGenerator>
#include <QScreen>
#include <QSignalSpy>
#include <QSpinBox>
#include <QSplashScreen>
#include <QStackedWidget>
#include <QStatusBar>
#include <QWheelEvent>

using namespace std::chrono_literals;

namespace {

struct FakeAutostart : Autostart
{
    bool autostartSet() const override { return false; }
    void setAutostart(bool /*on*/) override {}
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
        makeWindow();
    }
    void cleanup() { m_window.reset(); }

    void startUpTellsItsStepsAndShowsTheWindow()
    {
        for (const QString how : {"shown", "hidden", "hidden, but called for"}) {
            makeWindow();
            SettingsStore().set(keys::StartHidden, how != "shown");
            QPointer<QSplashScreen> splash;
            atStep(3, [&] {
                for (QWidget *const window : QApplication::topLevelWidgets()) {
                    splash = splash ? splash.data() : qobject_cast<QSplashScreen *>(window);
                }
                QVERIFY(splash && splash->isVisible());
                QCOMPARE(splash->message(), QString("3/4 Assembling devices list"));
                m_window->runner_finished(16, 2); // out of date by the end, when it is asked again
                m_window->deviceCreated(new FakeInterface);
                QVERIFY(!deviceWindow()->isVisible()); // not over the splash screen
                if (how == "hidden, but called for") {
                    m_window->bringUp();
                    QVERIFY(!m_window->isVisible());
                }
            });
            m_window->runInitSequence();
            QCOMPARE(told(), QString("0/4 Loading plugins, 1/4 Assembling plugins list, "
                                     "2/4 Scanning for devices, 3/4 Assembling devices list, "
                                     "4/4 Connecting to the cloud, 5/5 Requesting status"));
            QVERIFY(splash.isNull());
            QCOMPARE(m_window->isVisible(), how != "hidden");
            QCOMPARE(deviceWindow()->isVisible(), how != "hidden");
            QCOMPARE(rows("things"), QString("gateway ? "));
            QTRY_COMPARE(shows("regStepLabel"), firstStep);
            m_window->dockClicked();
            QVERIFY(m_window->isVisible());
        }
    }

    void aFailedStartOrAnEarlyExitEndsTheApplication()
    {
        struct Row
        {
            int step;
            int failing; // operation, or -1 for the user's wish
            int status;
        };
        for (const Row row : {Row{1, 0, 1}, {2, 1, 1}, {1, -1, 0}, {0, -1, 0}}) {
            makeWindow();
            atStep(row.step, [&] {
                if (row.failing < 0) {
                    m_window->process_action(MainWindow::A_EXIT);
                    m_window->runner_finished(8, QJsonObject()); // was on its way already
                } else {
                    m_window->runner_finished(row.failing, false);
                }
            });
            m_window->runInitSequence();
            QVERIFY(!m_window->isVisible());
            QCOMPARE(execStatus(), row.status);
        }
    }

    void resultsShowWhereTheyBelong_data()
    {
        using Runner = ZugatewRunner;
        QTest::addColumn<int>("op");
        QTest::addColumn<QVariant>("result");
        QTest::addColumn<QStringList>("expected");
        const auto status = [](bool gw, int key, int cert) {
            return QVariant(QJsonObject{{"gw", gw}, {"key", key}, {"cert", cert}});
        };
        const QString ok = in("Ok", QMaterialIcon::Success);
        const QString unregistered =
            "gatewayStatus=" + in("Not registered", QMaterialIcon::Warning);
        const auto row = [](const char *name, int op, const QVariant &result,
                            const QStringList &expected) {
            QTest::newRow(name) << op << result << expected;
        };
        row("a code", Runner::RegCode, QJsonObject{{"value", 7}, {"timeout", 60}},
            {"regSteps=2", "cloudCode=7", "page=3"});
        row("a registration", Runner::ProcReg, QJsonObject{{"id", "g"}, {"alias", "house"}},
            {"regSteps=3", "regResults=house (gateway): g", "page=0", unregistered});
        row("a failed one", Runner::ProcReg, QJsonObject{{"error", "x"}},
            {"box=Registation has completed with an error.<br>x (0)", "regSteps=0", "page=3",
             "regStepLabel=" + firstStep});
        row("things", Runner::Lsthings,
            QVariant::fromValue(ThingStateList{thing("lamp_1_A"), thing("lamp_1_B")}),
            {"things=lamp A name|lamp B name", "progress="});
        row("registered", Runner::CStatus, status(true, 0, 1),
            {"gatewayStatus=" + in("Ready", QMaterialIcon::Success), "keyStatus=" + ok,
             "certStatus=" + in("Missing", QMaterialIcon::Error),
             "loaded=", "connectionStatus=" + in("Disconnected", QMaterialIcon::Warning),
             "indicator=Disconnected from the cloud"});
        row("not registered", Runner::CStatus, status(false, 2, 3),
            {unregistered, "keyStatus=" + in("Corrupt", QMaterialIcon::Warning),
             "certStatus=Cryptographic error #da30ad",
             "indicator=Cloud connection is not configured"});
        row("a void registration", Runner::DUnreg, true,
            {"regSteps=0", "regStepLabel=" + firstStep, "things=gateway ? "}); // listThings()
        row("an error", Runner::Error, "<b>bad</b>", {"box=<b>bad</b>"});
        row("a backup", Runner::SExport, true,
            {"message=Configuration saved", "box=The configuration backup file has been generated. "
                                            "It contains sensitive information, so keep it safe!"});
        row("no backup", Runner::SExport, false, {"message=Backup could not be saved", "box="});
        row("a restore", Runner::SImport, true,
            {"message=", "keepAlive=77",
             "box=Configuration has been restored from a backup. Restart the application as soon "
             "as possible."});
        row("no restore", Runner::SImport, false,
            {"message=Configuration could not be restored.", "box=", "keepAlive=55"});
        row("other settings", Runner::SetUpdate, QVariant(), {"keepAlive=77"});
        row("all registered", Runner::RegStatus, 2,
            {"regStepLabel=Your registration process is complete", "cloudGetCodeButton=off"});
        for (const int op : {-1, 17}) {
            row(qPrintable(QString::number(op)), op, true, {"progress=", "things=", "box="});
        }
    }
    void resultsShowWhereTheyBelong()
    {
        QFETCH(int, op);
        QFETCH(QVariant, result);
        QFETCH(QStringList, expected);
        m_window->show();
        dockAction(1)->trigger();
        settle();
        QCOMPARE(shows("regStepLabel"), firstStep);
        SettingsStore().set(keys::KeepAlive, 77);
        m_window->findChild<QSpinBox *>("keepAlive")->setValue(55); // an edit that is not applied
        m_window->runner_finished(op, result);
        settle();
        for (const QString &expectation : expected) {
            const QString name = expectation.section('=', 0, 0);
            QCOMPARE(name + '=' + shows(name), expectation);
        }
        if (openBox() != nullptr) {
            openBox()->button(QMessageBox::Ok)->click();
            QCOMPARE(shows("box"), QString());
        }
    }

    void theConnectionIsShown()
    {
        QCOMPARE(shows("indicator"), QString("Cloud connection is not configured"));
        m_window->gw_connectivityChanged(true);
        QCOMPARE(shows("connectionStatus"), in("Connected", QMaterialIcon::Success));
        m_window->runner_finished(ZugatewRunner::CStatus, QJsonObject{{"gw", true}});
        QCOMPARE(shows("indicator"), QString("Connected to the cloud"));
        m_window->gw_connectivityChanged(false);
        QCOMPARE(shows("indicator"), QString("Disconnected from the cloud"));
        QCOMPARE(shows("gatewayStatus"), in("Ready", QMaterialIcon::Success));
    }

    void boxesTakeTurns()
    {
        m_window->show();
        for (const char *const text : {"one", "two", "one", "three"}) {
            m_window->runner_finished(ZugatewRunner::Error, text);
        }
        for (const QString text : {"one", "two", "three", ""}) {
            QTRY_COMPARE(shows("box"), text);
            if (!text.isEmpty()) {
                QCOMPARE(m_window->findChildren<QMessageBox *>().size(), text == "one"   ? 3
                                                                         : text == "two" ? 2
                                                                                         : 1);
                delete openBox();
            }
        }
        for (int i = 0; i < 100; ++i) { // what nobody can read
            m_window->runner_finished(ZugatewRunner::Error, QString::number(i));
        }
        QCOMPARE(m_window->findChildren<QMessageBox *>().size(), 21);
    }

    void searchesAreRegularAndOneAtATime()
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
            QSKIP("The time cannot be moved here.");
        }
        QSignalSpy wanted(&clock, &ScanClock::scanWanted);
        const auto searchesAfter = [&wanted](std::chrono::milliseconds time) {
            testclock::advance(time);
            QCoreApplication::processEvents();
            return wanted.size();
        };
        SettingsStore().set(keys::ScanInterval, 1);
        clock.arm();
        QCOMPARE(searchesAfter(50s), 0);
        QCOMPARE(searchesAfter(15s), 1);
        QCOMPARE(searchesAfter(65s), 1); // the first is not over
        clock.scan();
        QCOMPARE(wanted.size(), 1);
        clock.scanned();
        clock.scan();
        QCOMPARE(wanted.size(), 2);
        clock.scanLater(); // what it is for may have come too late for the search under way
        QCOMPARE(searchesAfter(18s), 2);
        QCOMPARE(searchesAfter(3s), 2);
        clock.scanned();
        QCOMPARE(searchesAfter(21s), 3);
        clock.scanned();

        SettingsStore().set(keys::AutoScan, false);
        clock.arm();
        QCOMPARE(clock.period(), 0ms);
        QCOMPARE(searchesAfter(1h), 3);
    }

    void aDamagedLayoutIsLeftOut()
    {
        m_window->resize(500, 450);
        m_window->show();
        const QByteArray geometry = m_window->saveGeometry();
        const QByteArray state = m_window->saveState();
        QVERIFY(windowlayout::isGeometry(geometry) && windowlayout::isState(state));
        QRandomGenerator random(1);
        const auto damaged = [&random](QByteArray bytes) {
            for (int i = 0; i < 3; ++i) {
                bytes[random.bounded(bytes.size())] = char(random.bounded(256));
            }
            return bytes;
        };
        for (int round = 0; round < 2000; ++round) { // Qt would read some of these for ever
            const QByteArray oddState = damaged(state);
            if (windowlayout::isState(oddState)) {
                m_window->restoreState(oddState);
            }
        }
        const int sizeAt = geometry.size() - 8; // of the rectangle's right and bottom
        const QByteArray huge = geometry.left(sizeAt) + QByteArray("\0\0\x7f\xf0", 4).repeated(2);
        QVERIFY(windowlayout::isGeometry(huge));
        SettingsStore().set(keys::WindowGeometry, huge);
        for (const auto &[bytes, at] : {std::pair(geometry, 24), {geometry, 40}, {state, 9}}) {
            QByteArray odd = bytes; // a coordinate, the screen, a count
            odd.replace(at, 4, QByteArray("\x7f\xff\xff\xff", 4));
            QVERIFY(!windowlayout::isGeometry(odd) && !windowlayout::isState(odd));
        }
        QVERIFY(!windowlayout::isState(state + state));
        m_window.release()->deleteLater(); // which would store its own layout
        QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        SettingsStore().set(keys::WindowGeometry, huge);
        m_window = std::make_unique<MainWindow>(m_autostart, QDir::tempPath());
        m_window->restoreLayout();
        const QSize desktop = m_window->screen()->virtualSize();
        QCOMPARE(m_window->size().boundedTo(desktop), m_window->size());
    }

    void windowsOfDevicesEndWithTheWindow()
    {
        const QPointer<QObject> odd(new QObject);
        const QPointer<QObject> thui(new FakeInterface);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("No such method"));
        for (QObject *const created : {static_cast<QObject *>(nullptr), odd.data(), thui.data()}) {
            m_window->deviceCreated(created);
        }
        QVERIFY(odd.isNull());
        QVERIFY(deviceWindow()->isVisible());
        m_window.reset();
        QVERIFY(thui.isNull() && deviceWindow() == nullptr);
    }

    void closingKeepsTheProgramUnlessToldOtherwise()
    {
        m_window->show();
        QVERIFY(!m_window->close());
        QVERIFY(m_window->isMinimized()); // there is no tray here
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

    void anEarlierBackupIsReplacedOnlyOnYes()
    {
        const QTemporaryDir folder;
        const QString file = folder.filePath("a.bak");
        QVERIFY(writeFile(file, "old"));
        for (const auto answer : {QMessageBox::No, QMessageBox::Yes}) {
            QCOMPARE(readFile(file), QByteArray("old"));
            m_window->findChild<QPushButton *>("settingsBackupButton")->click();
            auto *const dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
            QVERIFY(dialog != nullptr);
            dialog->selectFile(folder.filePath("a"));
            static_cast<QDialog *>(dialog)->accept();
            QTRY_COMPARE(shows("box"), QString("a.bak already exists. Replace it?"));
            openBox()->button(answer)->click();
        }
        QTRY_VERIFY(readFile(file) != "old");
        QCOMPARE(SettingsStore().value(keys::ExportDirectory), folder.path());
    }

    void theRegistrationIsNotVoidedOnNo()
    {
        SettingsStore().set(keys::CloudSerial, QString("serial"));
        dockAction(1)->trigger();
        m_window->findChild<QPushButton *>("settingsResetGWButton")->click();
        QCOMPARE(openBox()->defaultButton(), openBox()->button(QMessageBox::No));
        openBox()->button(QMessageBox::No)->click();
        settle();
        QVERIFY(shows("gatewaySerial").startsWith("serial "));
        QCOMPARE(SettingsStore().value(keys::CloudSerial), QString("serial"));
    }

    void theRunnerHearsOfAppliedCloudSettingsOnlyWhenTheyChanged()
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

    void scrollingChangesNoSetting()
    {
        const QJsonObject number{{"name", "n"}, {"type", "int"}, {"min", 0}, {"max", 9}};
        const QJsonObject lamp{{"settings", QJsonArray{number}}};
        m_window->runner_finished(4, QJsonObject{{"lamp", lamp}});
        QList<QWidget *> editors{m_window->findChild<DevicesPage *>()->findChild<QSpinBox *>()};
        auto *const page = m_window->findChild<SettingsPage *>();
        for (const char *const name :
             {"interval", "port", "keepAlive", "language", "scanInterval"}) {
            editors += page->findChild<QWidget *>(name);
        }
        for (QWidget *const editor : qAsConst(editors)) {
            QVERIFY(editor != nullptr);
            const char *const value = qobject_cast<QSpinBox *>(editor) ? "value" : "currentIndex";
            const QVariant before = editor->property(value);
            for (const int angle : {-120, 120}) {
                QWheelEvent wheel(QPointF(1, 1), QPointF(1, 1), {}, QPoint(0, angle), Qt::NoButton,
                                  Qt::NoModifier, Qt::NoScrollPhase, false);
                QCoreApplication::sendEvent(editor, &wheel);
                QCOMPARE(editor->property(value), before);
            }
        }
    }

private:
    static QString in(const char *text, QMaterialIcon::Color role)
    {
        return QString(text) + ' ' + QMaterialIcon::instance().color(role).name();
    }
    void makeWindow()
    {
        m_window.reset(); // which stores its layout first
        m_window = std::make_unique<MainWindow>(m_autostart, QDir::tempPath());
        m_progress = std::make_unique<QSignalSpy>(m_window.get(), &MainWindow::loadProgress);
        m_loaded = std::make_unique<QSignalSpy>(m_window.get(), &MainWindow::loadFinished);
    }
    // Does something in the loop of the start-up, when its n-th step has just been told.
    void atStep(int step, const std::function<void()> &action)
    {
        connect(m_window.get(), &MainWindow::loadProgress, this, [=](int /*total*/, int completed) {
            if (completed == step) {
                QMetaObject::invokeMethod(this, action, Qt::QueuedConnection);
            }
        });
    }
    // The runner answers in order: after a scan, nothing that was asked for is still to come.
    void settle() const
    {
        dockAction(2)->trigger();
        QTRY_VERIFY(dockAction(2)->isEnabled());
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
    QString told() const
    {
        QStringList steps;
        for (const QList<QVariant> &step : *m_progress) {
            steps += QStringLiteral("%2/%1 %3")
                         .arg(step[0].toInt())
                         .arg(step[1].toInt())
                         .arg(step[2].toString());
        }
        return steps.join(", ");
    }
    // The first three columns of a table or a list, row by row.
    QString rows(const QString &name) const
    {
        const auto *const model = m_window->findChild<QAbstractItemView *>(name)->model();
        QStringList rows;
        for (int row = 0; row < model->rowCount(); ++row) {
            QStringList cells;
            for (int column = 0; column < qMin(3, model->columnCount()); ++column) {
                cells += model->index(row, column).data().toString();
            }
            rows += cells.join(' ');
        }
        return rows.join('|');
    }
    // What the widget of that name shows, states with their colour. Of some names that are no
    // widget's: what was told, or is open.
    QString shows(const QString &name) const
    {
        if (name == "progress") {
            return told();
        }
        if (name == "loaded") {
            return m_loaded->isEmpty() ? "" : m_loaded->last().at(0).toString();
        }
        if (name == "page") {
            const auto *const pages = m_window->centralWidget()->findChild<QStackedWidget *>(
                QString(), Qt::FindDirectChildrenOnly);
            return QString::number(pages->currentIndex());
        }
        if (name == "message") {
            return m_window->statusBar()->currentMessage();
        }
        if (name == "indicator") {
            return m_window->findChild<QLedLabel *>()->accessibleName();
        }
        if (name == "box") {
            return openBox() == nullptr ? "" : openBox()->text();
        }
        const auto *const widget = m_window->findChild<QWidget *>(name);
        if (const auto *const label = qobject_cast<const QStatusLabel *>(widget)) {
            return label->text() + ' ' + label->palette().color(QPalette::WindowText).name();
        }
        if (qobject_cast<const QPushButton *>(widget) != nullptr) {
            return widget->isEnabled() ? "on" : "off";
        }
        if (qobject_cast<const QAbstractItemView *>(widget) != nullptr) {
            return rows(name);
        }
        for (const char *const property : {"value", "text", "currentIndex"}) {
            if (widget->property(property).isValid()) {
                return widget->property(property).toString();
            }
        }
        return "?";
    }

    FakeAutostart m_autostart;
    std::unique_ptr<MainWindow> m_window;
    std::unique_ptr<QSignalSpy> m_progress;
    std::unique_ptr<QSignalSpy> m_loaded;
};

KVG_WIDGET_TEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
