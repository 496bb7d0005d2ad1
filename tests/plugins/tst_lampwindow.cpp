#include "tests/support/widgettestmain.h"
#include "things/abstractthingtype.h"
#include "things/qabstractthing.h"

#include <QAbstractItemModelTester>
#include <QLabel>
#include <QPluginLoader>
#include <QTableView>
#include <QThread>

#include <memory>

namespace {

enum Column { Name, On, Brightness, Color, Plugged };

// The lamps as the gateway holds them: on a thread of their own.
struct Lamps : QObject
{
    // A scan with so many lamps; the user interface objects that came out of it.
    QObjectList scan(int count)
    {
        QObjectList panels;
        const QVariantHash settings{{"count", count}};
        qobject_cast<ConfigurableThingType *>(loader.instance())->configure(settings);
        auto *const type = qobject_cast<AbstractThingType *>(loader.instance());
        const auto devices = type->discover();
        for (auto device = devices.begin(); device != devices.end(); ++device) {
            const int number = device.value().toInt();
            if (live.contains(number)) {
                continue;
            }
            QObject *panel = nullptr;
            QAbstractThing *const lamp =
                type->create(device.key(), device.value(), settings, &panel);
            lamp->setParent(this);
            live[number] = lamp;
            connect(lamp, &QAbstractThing::mediumGone, this,
                    [this, number] { live.take(number)->deleteLater(); });
            connect(lamp, &QAbstractThing::stateChanged, this, [this] { ++heard; });
            if (panel != nullptr) {
                panel->moveToThread(qApp->thread());
                panels.append(panel);
            }
        }
        return panels;
    }

    QPluginLoader loader{QStringLiteral(KVG_PLUGIN_DIR "/thing_lamp")};
    QMap<int, QAbstractThing *> live;
    int heard = 0; // changes of state
};

} // namespace

class TestLampWindow : public QObject
{
    Q_OBJECT

private:
    template <typename Function>
    auto there(Function function)
    {
        decltype(function()) result;
        QMetaObject::invokeMethod(
            m_lamps, [&] { result = function(); }, Qt::BlockingQueuedConnection);
        return result;
    }
    QObjectList scan(int count)
    {
        return there([&] { return m_lamps->scan(count); });
    }
    QList<int> numbers()
    {
        return there([&] { return m_lamps->live.keys(); });
    }
    QWidget *window() const
    {
        QWidget *window = nullptr;
        QMetaObject::invokeMethod(m_panel.get(), "createWidget", Q_RETURN_ARG(QWidget *, window),
                                  Q_ARG(QWidget *, nullptr));
        return window;
    }
    // Panel and window of so many lamps.
    void open(int count)
    {
        const QObjectList panels = scan(count);
        QCOMPARE(panels.size(), 1);
        m_panel.reset(panels.first());
        m_window.reset(window());
        m_window->show();
        m_table = m_window->findChild<QTableView *>("lampTable");
        QTRY_VERIFY(isAttached(count));
    }
    QVariant cell(int number, Column column, int role) const
    {
        return m_table->model()->index(number - 1, column).data(role);
    }
    bool isAttached(int number) const { return cell(number, On, Qt::CheckStateRole).isValid(); }
    bool isChecked(int number, Column column) const
    {
        return cell(number, column, Qt::CheckStateRole).toInt() == Qt::Checked;
    }
    void click(int number, Column column) const
    {
        const QRect rect = m_table->visualRect(m_table->model()->index(number - 1, column));
        QTest::mouseClick(m_table->viewport(), Qt::LeftButton, {}, rect.center());
    }
    QString summary() const { return m_window->findChild<QLabel *>("lampSummary")->text(); }

    QThread m_thread;
    Lamps *m_lamps = nullptr;
    std::unique_ptr<QObject> m_panel;
    std::unique_ptr<QWidget> m_window;
    QTableView *m_table = nullptr;

private slots:
    void init()
    {
        m_thread.start();
        m_lamps = new Lamps;
        m_lamps->moveToThread(&m_thread);
        connect(&m_thread, &QThread::finished, m_lamps, &QObject::deleteLater);
    }
    void cleanup()
    {
        m_window.reset();
        m_panel.reset();
        scan(0);
        m_thread.quit();
        m_thread.wait();
    }

    void allLampsShareOneWindow()
    {
        open(3);
        QVERIFY(scan(5).isEmpty());
        QTRY_COMPARE(m_table->model()->rowCount(), 5);
        m_window.reset();
        QVERIFY(!window());
        const QObjectList again = scan(6);
        QCOMPARE(again.size(), 1);
        delete again.first(); // no window was wanted
        scan(0);
        open(2);
    }

    void theSwitchIsHeardAtTheLampAndTheLampIsSeen()
    {
        open(3);
        click(2, On);
        QTRY_VERIFY(isChecked(2, On));
        QVERIFY(!isChecked(1, On) && summary().contains("1 of 3"));
        // Two quick presses are two, though the first is not seen yet.
        click(3, On);
        click(3, On);
        m_table->setCurrentIndex(m_table->model()->index(1, On));
        QTest::keyClick(m_table, Qt::Key_Space);
        QTRY_VERIFY(!isChecked(2, On));
        QVERIFY(!isChecked(3, On));
        QCOMPARE(there([&] { return m_lamps->heard; }), 4);

        const QJsonObject update{{"on", true}, {"color", "#0af09b"}};
        QVERIFY(there([&] { return m_lamps->live[1]->applyUpdate(update); }));
        QTRY_VERIFY(isChecked(1, On));
        QCOMPARE(cell(1, Color, Qt::DecorationRole).value<QColor>(), QColor("#0af09b"));
    }

    void anUnpluggedLampIsGoneUntilItIsPluggedInAgain()
    {
        open(2);
        click(1, Plugged);
        QTRY_VERIFY(!isChecked(1, Plugged) && !isAttached(1));
        scan(2);
        QCOMPARE(numbers(), QList<int>{2});
        click(2, Plugged);
        QTRY_VERIFY(summary().startsWith("All lamps are unplugged"));

        click(1, Plugged);
        QTRY_VERIFY(isChecked(1, Plugged));
        QVERIFY(!isAttached(1)); // not before the scan
        QVERIFY(scan(2).isEmpty());
        QTRY_VERIFY(isAttached(1));
        // A number that was out of use starts anew.
        scan(1);
        scan(2);
        QCOMPARE(numbers(), (QList<int>{1, 2}));
    }

    void theListFollowsThousandsOfLamps()
    {
        open(1);
        new QAbstractItemModelTester(
            m_table->model(), QAbstractItemModelTester::FailureReportingMode::QtTest, m_table);
        scan(10000);
        QTRY_VERIFY(isAttached(10000));
        for (const int count : {5000, 0}) {
            scan(count);
            QTRY_COMPARE(m_table->model()->rowCount(), count);
        }
        QVERIFY(summary().startsWith("There are no lamps"));
    }

    void eitherSideMayEndFirst()
    {
        open(3);
        there([&] {
            qDeleteAll(m_lamps->live);
            m_lamps->live.clear();
            return true;
        });
        QTRY_VERIFY(!isAttached(1));
        QVERIFY(scan(3).isEmpty());
        m_panel.reset();
        click(1, Plugged);
        QTRY_VERIFY(!isChecked(1, Plugged)); // the window needs its maker no longer
        click(1, Plugged);
        click(2, On);
        m_window.reset(); // what it has sent arrives without it
        scan(3);
        QCOMPARE(numbers(), (QList<int>{1, 2, 3}));
    }
};

KVG_WIDGET_TEST_MAIN(TestLampWindow)
#include "tst_lampwindow.moc"
