#include "tests/support/widgettestmain.h"
#include "things/abstractthingtype.h"
#include "things/qabstractthing.h"

#include <QAbstractItemModelTester>
#include <QLabel>
#include <QPluginLoader>
#include <QTableView>
#include <QThread>

#include <map>
#include <memory>

namespace {

enum Column { Name, On, Brightness, Color, Plugged };

// The lamps as the gateway holds them: on a thread of their own.
class Lamps : public QObject
{
    Q_OBJECT

public:
    // A scan with so many lamps; the user interface objects that came out of it.
    QObjectList scan(int count)
    {
        QObjectList panels;
        const QVariantHash settings{{"count", count}};
        m_configurable->configure(settings);
        const auto devices = m_type->discover();
        for (auto device = devices.begin(); device != devices.end(); ++device) {
            const int number = device.value().toInt();
            if (m_lamps.count(number) > 0) {
                continue;
            }
            QObject *panel = nullptr;
            QAbstractThing *const lamp =
                m_type->create(device.key(), device.value(), settings, &panel);
            m_lamps[number].reset(lamp);
            connect(lamp, &QAbstractThing::mediumGone, this, [this, number] {
                m_lamps[number].release()->deleteLater();
                m_lamps.erase(number);
            });
            connect(lamp, &QAbstractThing::stateChanged, this,
                    [this, number](const QJsonObject &state) {
                        emit heard(number, state["on"].toBool());
                    });
            if (panel != nullptr) {
                panel->moveToThread(qApp->thread());
                panels.append(panel);
            }
        }
        return panels;
    }
    bool update(int number, const QJsonObject &update)
    {
        return m_lamps.at(number)->applyUpdate(update);
    }
    QList<int> numbers() const
    {
        QList<int> numbers;
        for (const auto &lamp : m_lamps) {
            numbers.append(lamp.first);
        }
        return numbers;
    }
    void end() { m_lamps.clear(); }

signals:
    void heard(int number, bool on);

private:
    QPluginLoader m_loader{QStringLiteral(KVG_PLUGIN_DIR "/thing_lamp")};
    AbstractThingType *m_type = qobject_cast<AbstractThingType *>(m_loader.instance());
    ConfigurableThingType *m_configurable =
        qobject_cast<ConfigurableThingType *>(m_loader.instance());
    std::map<int, std::unique_ptr<QAbstractThing>> m_lamps;
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
        return there([&] { return m_lamps->numbers(); });
    }
    static std::unique_ptr<QWidget> windowOf(QObject *panel)
    {
        QWidget *window = nullptr;
        QMetaObject::invokeMethod(panel, "createWidget", Q_RETURN_ARG(QWidget *, window),
                                  Q_ARG(QWidget *, nullptr));
        return std::unique_ptr<QWidget>(window);
    }
    // Panel and window of so many lamps.
    void open(int count)
    {
        const QObjectList panels = scan(count);
        QCOMPARE(panels.size(), 1);
        m_panel.reset(panels.first());
        m_window = windowOf(m_panel.get());
        m_window->show();
        m_table = m_window->findChild<QTableView *>("lampTable");
        for (int number = 1; number <= count; ++number) {
            QTRY_VERIFY(cell(number, On, Qt::CheckStateRole).isValid());
        }
    }
    QVariant cell(int number, Column column, int role) const
    {
        return m_table->model()->index(number - 1, column).data(role);
    }
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
        QTRY_COMPARE(cell(5, Name, Qt::DisplayRole).toString(), QString("Lamp 5"));
        m_window.reset();
        QVERIFY(!windowOf(m_panel.get()));
        const QObjectList again = scan(6);
        QCOMPARE(again.size(), 1);
        delete again.first(); // no window was wanted
        m_panel.reset();
        scan(0);
        open(2);
    }

    void theSwitchIsHeardAtTheLampAndTheLampIsSeen()
    {
        open(3);
        QSignalSpy heard(m_lamps, &Lamps::heard);
        click(2, On);
        QTRY_COMPARE(heard, QList<QVariantList>{QVariantList({2, true})});
        QTRY_VERIFY(isChecked(2, On));
        QVERIFY(!isChecked(1, On) && summary().contains("1 of 3"));
        m_table->setCurrentIndex(m_table->model()->index(1, On));
        QTest::keyClick(m_table, Qt::Key_Space);
        QTRY_VERIFY(!isChecked(2, On));
        // Two quick presses are two, though the first is not seen yet.
        click(3, On);
        click(3, On);
        QTRY_COMPARE(heard.size(), 4);

        const QJsonObject update{{"on", true}, {"brightness", 40}, {"color", "#0af09b"}};
        QVERIFY(there([&] { return m_lamps->update(1, update); }));
        QTRY_VERIFY(isChecked(1, On));
        QCOMPARE(cell(1, Brightness, Qt::DisplayRole).toString(), QString("40 %"));
        QCOMPARE(cell(1, Color, Qt::DecorationRole).value<QColor>(), QColor("#0af09b"));
    }

    void anUnpluggedLampIsGoneUntilItIsPluggedInAgain()
    {
        open(2);
        click(1, Plugged);
        QTRY_COMPARE(numbers(), QList<int>{2});
        QTRY_VERIFY(!isChecked(1, Plugged));
        QVERIFY(!cell(1, On, Qt::CheckStateRole).isValid());
        scan(2);
        QCOMPARE(numbers(), QList<int>{2});
        click(2, Plugged);
        QTRY_VERIFY(summary().startsWith("All lamps are unplugged"));

        click(1, Plugged);
        QTRY_VERIFY(isChecked(1, Plugged));
        QVERIFY(!cell(1, On, Qt::CheckStateRole).isValid()); // not before the scan
        QVERIFY(scan(2).isEmpty());
        QCOMPARE(numbers(), QList<int>{1});
        QTRY_VERIFY(cell(1, On, Qt::CheckStateRole).isValid());
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
        QTRY_VERIFY(cell(10000, On, Qt::CheckStateRole).isValid());
        scan(5000);
        QTRY_COMPARE(m_table->model()->rowCount(), 5000);
        scan(0);
        QTRY_VERIFY(summary().startsWith("There are no lamps"));
        QCOMPARE(m_table->model()->rowCount(), 0);
    }

    void eitherSideMayEndFirst()
    {
        open(3);
        there([&] { return m_lamps->end(), true; });
        QTRY_VERIFY(!cell(1, On, Qt::CheckStateRole).isValid());
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
