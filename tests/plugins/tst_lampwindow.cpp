#include "runner/runnerthread.h"
#include "runner/zugatewrunner.h"
#include "settings/settingsstore.h"
#include "tests/support/widgettestmain.h"

#include <QAbstractItemModelTester>
#include <QTableView>

#include <memory>

// The window of the lamps that a gateway holds on its own thread.
class TestLampWindow : public QObject
{
    Q_OBJECT

private:
    enum Column { On = 1, Plugged = 4 };

    // With so many lamps.
    void scan(int count)
    {
        SettingsStore().setPluginValue("lamp", "count", count);
        QMetaObject::invokeMethod(m_worker->runner(), "rescan", Qt::BlockingQueuedConnection);
    }
    void open(int count)
    {
        scan(count);
        QTRY_COMPARE(m_panels.size(), 1);
        m_panel.reset(m_panels.takeFirst());
        QVERIFY(m_panel->thread() == thread() && m_panel->parent() == nullptr);
        m_window.reset(window());
        m_window->show();
        m_table = m_window->findChild<QTableView *>("lampTable");
        QTRY_VERIFY(isAttached(count));
    }
    QWidget *window() const
    {
        QWidget *window = nullptr;
        QMetaObject::invokeMethod(m_panel.get(), "createWidget", Q_RETURN_ARG(QWidget *, window),
                                  Q_ARG(QWidget *, nullptr));
        return window;
    }
    QModelIndex cell(int number, Column column) const
    {
        return m_table->model()->index(number - 1, column);
    }
    bool isAttached(int number) const
    {
        return cell(number, On).data(Qt::CheckStateRole).isValid();
    }
    bool isChecked(int number, Column column) const
    {
        return cell(number, column).data(Qt::CheckStateRole).toInt() == Qt::Checked;
    }
    void click(int number, Column column) const
    {
        const QPoint middle = m_table->visualRect(cell(number, column)).center();
        QTest::mouseClick(m_table->viewport(), Qt::LeftButton, {}, middle);
    }

    std::unique_ptr<RunnerThread> m_worker;
    QObjectList m_panels; // that came out of scans
    QString m_heard;      // of each change of a lamp whether it is on
    std::unique_ptr<QObject> m_panel;
    std::unique_ptr<QWidget> m_window;
    QTableView *m_table = nullptr;

private slots:
    void init()
    {
        SettingsStore().setPluginValue("host", "enabled", false);
        m_worker = std::make_unique<RunnerThread>();
        const auto *const runner = m_worker->runner();
        connect(runner, &ZugatewRunner::deviceCreated, this, [this](QObject *panel) {
            m_panels += panel == nullptr ? QObjectList() : QObjectList{panel};
        });
        connect(runner, &ZugatewRunner::thingChanged, this, [this](const ThingState &lamp) {
            m_heard += lamp.state["on"].toBool() ? "on " : "off ";
        });
        m_worker->start();
        QMetaObject::invokeMethod(m_worker->runner(), "loadPlugins");
    }
    void cleanup()
    {
        m_window.reset();
        m_panel.reset();
        m_worker.reset();
    }

    void allLampsShareOneWindowThousandsToo()
    {
        open(1);
        new QAbstractItemModelTester(
            m_table->model(), QAbstractItemModelTester::FailureReportingMode::QtTest, m_table);
        scan(5000);
        QTRY_VERIFY(isAttached(5000));
        for (const int count : {2500, 0}) {
            scan(count);
            QTRY_COMPARE(m_table->model()->rowCount(), count);
        }
        QVERIFY(m_panels.isEmpty());
        m_window.reset();
        QVERIFY(!window());
        scan(1);
        QTRY_COMPARE(m_panels.size(), 1);
        delete m_panels.takeFirst(); // no window was wanted
        scan(0);
        open(2);
    }

    void theSwitchIsHeardAtTheLampAndTheLampIsSeen()
    {
        open(3);
        m_heard.clear();
        click(2, On);
        QTRY_VERIFY(isChecked(2, On));
        // Two quick presses are two, though the first is not seen yet.
        click(3, On);
        click(3, On);
        m_table->setCurrentIndex(cell(2, On));
        QTest::keyClick(m_table, Qt::Key_Space);
        QTRY_VERIFY(!isChecked(2, On));
        QVERIFY(!isChecked(3, On));
        QTRY_COMPARE(m_heard, QString("on on off off "));
    }

    void eitherSideMayEndFirst()
    {
        open(3);
        m_panel.reset(); // the window needs its maker no longer
        click(1, Plugged);
        QTRY_VERIFY(!isChecked(1, Plugged));
        m_worker->stop();
        click(2, Plugged);
        m_worker.reset();
        m_window.reset();
        init();
        open(3);
        click(2, On);
        m_window.reset(); // what it has sent arrives without it
        scan(3);
    }
};

KVG_WIDGET_TEST_MAIN(TestLampWindow)
#include "tst_lampwindow.moc"
