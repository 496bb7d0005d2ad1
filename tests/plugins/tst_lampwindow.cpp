#include "runner/runnerthread.h"
#include "runner/zugatewrunner.h"
#include "settings/settingsstore.h"
#include "tests/support/widgettestmain.h"

#include <QAbstractItemModelTester>
#include <QTableView>

// The window of the lamps that a gateway holds on its own thread.
class TestLampWindow : public QObject
{
    Q_OBJECT

private:
    enum Column { On = 1, Plugged = 4 };

    void scan(int count)
    {
        SettingsStore().setPluginValue("lamp", "count", count);
        QMetaObject::invokeMethod(m_worker->runner(), "rescan", Qt::BlockingQueuedConnection);
    }
    void open(int count)
    {
        scan(count);
        QTRY_VERIFY(m_panel);
        QVERIFY(m_panel->thread() == thread() && m_panel->parent() == nullptr);
        QWidget *window = nullptr;
        QMetaObject::invokeMethod(m_panel.get(), "createWidget", Q_RETURN_ARG(QWidget *, window),
                                  Q_ARG(QWidget *, nullptr));
        m_panel.reset(); // the window does not need it
        m_window.reset(window);
        window->show();
        m_table = window->findChild<QTableView *>("lampTable");
        QTRY_VERIFY(check(count, On).isValid()); // the last one is attached
    }
    QModelIndex cell(int lamp, int column) { return m_table->model()->index(lamp - 1, column); }
    QVariant check(int lamp, int column) { return cell(lamp, column).data(Qt::CheckStateRole); }
    void click(int lamp, int column)
    {
        const QPoint middle = m_table->visualRect(cell(lamp, column)).center();
        QTest::mouseClick(m_table->viewport(), Qt::LeftButton, {}, middle);
    }

    std::unique_ptr<RunnerThread> m_worker;
    std::unique_ptr<QObject> m_panel; // from the last scan
    std::unique_ptr<QWidget> m_window;
    QTableView *m_table = nullptr;

private slots:
    void init()
    {
        SettingsStore().setPluginValue("host", "enabled", false);
        m_worker = std::make_unique<RunnerThread>();
        connect(m_worker->runner(), &ZugatewRunner::deviceCreated, this, [this](QObject *panel) {
            if (panel != nullptr) {
                m_panel.reset(panel);
            }
        });
        m_worker->start();
        QMetaObject::invokeMethod(m_worker->runner(), "loadPlugins");
    }
    void cleanup()
    {
        m_window.reset();
        m_worker.reset();
    }

    void thousandsOfLampsShareOneWindow()
    {
        open(1);
        new QAbstractItemModelTester(m_table->model(), m_table);
        for (const int count : {5000, 2500, 0, 1}) {
            scan(count);
            QTRY_COMPARE(m_table->model()->rowCount(), count);
            QTRY_VERIFY(count == 0 || check(count, On).isValid());
        }
        QVERIFY(!m_panel);
        click(1, On);
        m_window.reset(); // while its signals are still queued
        scan(2);
        QTRY_VERIFY(m_panel);
        m_panel.reset(); // without having made a window
        open(3);
    }

    void clicksReachTheLampUntilTheGatewayEnds()
    {
        open(3);
        QString heard;
        connect(m_worker->runner(), &ZugatewRunner::thingChanged, m_table,
                [&](const auto &lamp) { heard += lamp.state["on"].toBool() ? "on " : "off "; });
        click(2, On);
        QTRY_COMPARE(check(2, On), QVariant(Qt::Checked));
        // The second press counts although the first is not shown yet.
        click(3, On);
        click(3, On);
        m_table->setCurrentIndex(cell(2, On));
        QTest::keyClick(m_table, Qt::Key_Space);
        QTRY_COMPARE(check(2, On), QVariant(Qt::Unchecked));
        QTRY_COMPARE(heard, QString("on on off off "));
        click(1, Plugged);
        QTRY_COMPARE(check(1, Plugged), QVariant(Qt::Unchecked));
        m_worker->stop();
        click(2, Plugged);
        m_worker.reset();
    }
};

KVG_WIDGET_TEST_MAIN(TestLampWindow)
#include "tst_lampwindow.moc"
