#include "history/history.h"
#include "settings/devicepool.h"
#include "settings/settingsstore.h"
#include "tests/support/testclock.h"
#include "tests/support/widgettestmain.h"
#include "ui/devicelistmodel.h"
#include "ui/devicewindows.h"
#include "ui/devicewords.h"
#include "ui/statepage.h"
#include "ui/thingsstatetablemodel.h"

#include <QAbstractButton>
#include <QAbstractItemModelTester>
#include <QClipboard>
#include <QCollator>
#include <QHeaderView>
#include <QJsonArray>
#include <QLabel>
#include <QLineEdit>
#include <QRandomGenerator>
#include <QTableView>
#include <QTreeWidget>

#include <algorithm>

using Model = ThingsStateTableModel;
using namespace std::chrono_literals;

namespace {

ThingState thing(const QString &shortid, const QString &alias = {}, const QJsonValue &state = 0,
                 const QString &regid = {})
{
    ThingState thing;
    thing.shortid = shortid;
    thing.alias = alias;
    thing.regid = regid;
    thing.state = state.isObject() ? state.toObject() : QJsonObject{{"v", state}};
    return thing;
}

QStringList ids(const DeviceListModel &list)
{
    QStringList ids;
    for (int row = 0; row < list.rowCount(); ++row) {
        ids += list.thing(row).shortid;
    }
    return ids;
}

// A description as a plugin gives it, hostile parts included.
const QJsonObject words{
    {"lamp",
     QJsonObject{
         {"title", "Lamp & <b>Co</b>"},
         {"states", QJsonObject{{"in", QJsonObject{{"title", "Inside"}}},
                                {"in.t", QJsonObject{{"title", "Inside warm"}, {"unit", "°C"}}},
                                {"on", QJsonObject{{"title", 7}, {"unit", QJsonArray()}}}}}}}};

} // namespace

class TestStatePage : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        DevicePool::update([](DevicePool &pool) {
            pool.put({"lamp", "1", "away", "id", "Away"});
            pool.put({"lamp", "1", "2", "", "Here"});
        });
        m_history.reset(); // it locks the file
        m_history = std::make_unique<History>(m_folder.filePath("history.db"));
        makePage();
    }
    void cleanup()
    {
        m_page.reset();
        SettingsStore().set(keys::StateColumns, QString());
        SettingsStore().set(keys::ShowAbsent, false);
    }

    // Random changes, orders and filters: in the end the list shows what it should, and an index
    // that a view keeps still belongs to the same device.
    void theListFollowsItsSourcesInAnyOrder()
    {
        Model live;
        Model absent;
        DeviceWords noWords;
        DeviceListModel list(live, absent, noWords);
        const QAbstractItemModelTester tester(&list);
        QRandomGenerator random(12);
        const auto number = [&random](int below) { return int(random.bounded(below)); };
        QMap<QString, ThingState> expected;
        for (int round = 0; round < 30; ++round) {
            const int column = number(6) - 1;
            const Qt::SortOrder order = number(2) == 0 ? Qt::AscendingOrder : Qt::DescendingOrder;
            const QString filter = QStringList{"", "1", "v:2", "LAMP", "nothing"}.at(number(5));
            list.sort(column, order);
            list.setFilter(filter);
            const int kept = list.rowCount() > 0 ? number(list.rowCount()) : -1;
            const QPersistentModelIndex index = list.index(kept, 0);
            const QString id = kept < 0 ? QString() : list.thing(kept).shortid;
            bool reset = false;
            connect(&list, &QAbstractItemModel::modelReset, &list, [&reset] { reset = true; });
            if (number(8) == 0) {
                ThingStateList things;
                expected.clear();
                for (int i = number(200); i > 0; --i) {
                    things += thing(QString("lamp_1_%1").arg(i), QString("L%1").arg(i), i % 4);
                    expected[things.last().shortid] = things.last();
                }
                live.replaceAll(things);
                reset = true; // the kept one may be another device now
            }
            for (int change = number(120); change > 0; --change) {
                const QString shortid = QString("lamp_1_%1").arg(number(150));
                if (number(3) == 0) {
                    live.remove(shortid);
                    expected.remove(shortid);
                    reset = reset || shortid == id;
                } else {
                    expected[shortid] = thing(shortid, QString("N%1").arg(number(50)), number(4),
                                              number(2) == 0 ? "r" : "");
                    live.update(expected[shortid]);
                }
            }
            const auto text = [&](const QString &shortid, int cell) {
                return live.index(live.rowOf(shortid), cell).data().toString();
            };
            QStringList wanted;
            for (int row = 0; row < live.rowCount(); ++row) {
                bool matches = false;
                for (int cell = 0; cell < Model::ColumnCount; ++cell) {
                    matches |= live.index(row, cell).data().toString().contains(
                        filter, Qt::CaseInsensitive);
                }
                if (matches) {
                    wanted += live.thing(row).shortid;
                }
            }
            QCollator collator(QLocale::English);
            collator.setNumericMode(true);
            collator.setCaseSensitivity(Qt::CaseInsensitive);
            std::stable_sort(wanted.begin(), wanted.end(), [&](const auto &a, const auto &b) {
                const int way = column < 0 ? 0 : collator.compare(text(a, column), text(b, column));
                return order == Qt::AscendingOrder ? way < 0 : way > 0;
            });
            const auto isSettled = [&] {
                testclock::advance(500ms);
                return ids(list) == wanted;
            };
            QTRY_VERIFY2(isSettled(), qPrintable(QString::number(round)));
            QCOMPARE(live.rowCount(), expected.size());
            if (kept >= 0 && !reset && index.isValid()) {
                QCOMPARE(list.thing(index.row()).shortid, id);
            }
        }
    }

    void aClickOnAHeaderSortsInNaturalOrderUpDownAndNotAtAll()
    {
        m_page->showThings({thing("lamp_1_0010"), thing("lamp_1_2"), thing("gateway_1_x")});
        const auto click = [this] {
            QHeaderView *const header = m_table->horizontalHeader();
            QTest::mouseClick(header->viewport(), Qt::LeftButton, {},
                              {header->sectionViewportPosition(Model::ColSerial) + 9, 9});
            return ids(*m_list).join(' ');
        };
        QCOMPARE(click(), QString("lamp_1_2 lamp_1_0010 gateway_1_x"));
        QCOMPARE(click(), QString("gateway_1_x lamp_1_0010 lamp_1_2"));
        QCOMPARE(click(), QString("lamp_1_0010 lamp_1_2 gateway_1_x"));
    }

    void theKeyboardFindsMovesCopiesAndRenames()
    {
        m_page->showThings({thing("gateway_1_x"), thing("lamp_1_1", "One"), thing("lamp_1_2")});
        QTest::keyClick(m_page.get(), Qt::Key_F, Qt::ControlModifier);
        auto *const filter = m_page->findChild<QLineEdit *>("deviceFilter");
        QVERIFY(filter->hasFocus());
        QTest::keyClicks(filter, "ONE");
        QCOMPARE(ids(*m_list), QStringList("lamp_1_1"));
        QTest::keyClick(filter, Qt::Key_Escape);
        QCOMPARE(m_list->rowCount(), 3);

        m_table->setFocus();
        QTest::keyClick(m_table, Qt::Key_End);
        QCOMPARE(current(), QString("lamp_1_2"));
        QTest::keyClick(m_table, Qt::Key_Up, Qt::ShiftModifier);
        QTest::keyClick(m_table, Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(QGuiApplication::clipboard()->text(),
                 QString("lamp\t1\tOne\tv:0\tNo\nlamp\t2\t\tv:0\tNo"));
        QTest::keyClick(m_table, Qt::Key_Home);
        QCOMPARE(current(), QString("gateway_1_x"));

        const QSignalSpy renamed(m_page.get(), &StatePage::renameRequested);
        m_table->setCurrentIndex(m_list->index(2, Model::ColState));
        QTest::keyClick(m_table, Qt::Key_F2);
        auto *const editor = m_table->findChild<QLineEdit *>();
        QVERIFY(editor);
        QTest::keyClicks(editor, "New");
        QTest::keyClick(editor, Qt::Key_Return);
        QTRY_COMPARE(renamed, QList<QVariantList>{QVariantList({"lamp_1_2", "New"})});
    }

    void theSelectionStaysWithItsDevice()
    {
        m_page->showThings({thing("a_1_1"), thing("a_1_2"), thing("a_1_3")});
        m_table->selectRow(1);
        m_list->sort(Model::ColSerial);
        m_page->showThings({thing("a_1_3"), thing("a_1_2"), thing("a_1_1")}); // listed anew
        QCOMPARE(current(), QString("a_1_2"));
        QVERIFY(m_table->selectionModel()->isRowSelected(1, {}));
        ThingState gone = thing("a_1_2");
        gone.gone = true;
        m_page->showThing(gone);
        QVERIFY(!m_table->selectionModel()->hasSelection());
        QCOMPARE(ids(*m_list).size(), 2);
        QCOMPARE(current(), QString());
    }

    void whatIsNotHereIsShownInGreyOnDemand()
    {
        m_page->showThings({thing("gateway_1_x", "G", 0, "r"), thing("lamp_1_2", "Here")});
        m_page->findChild<QAbstractButton *>("showAbsent")->click();
        QCOMPARE(ids(*m_list), QStringList({"gateway_1_x", "lamp_1_2", "lamp_1_away"}));
        const QModelIndex alias = m_list->index(2, Model::ColAlias);
        QCOMPARE(alias.data().toString(), QString("Away"));
        QVERIFY(!(alias.flags() & Qt::ItemIsEditable) && alias.data(Qt::ForegroundRole).isValid());
        const QPersistentModelIndex kept = alias;
        m_page->showThing(thing("lamp_1_new"));
        const auto isListed = [this] {
            testclock::advance(200ms);
            return m_list->rowCount() == 4;
        };
        QTRY_VERIFY(isListed());
        QCOMPARE(kept.row(), 3);
        m_table->selectRow(3);
        QCOMPARE(m_page->findChild<QLabel *>("deviceAge")->text(), QString("unknown"));
        m_page->showThing(thing("lamp_1_away", "Away")); // it comes back
        QTRY_COMPARE(ids(*m_list),
                     QStringList({"gateway_1_x", "lamp_1_2", "lamp_1_new", "lamp_1_away"}));
        QVERIFY(m_list->index(3, Model::ColAlias).flags() & Qt::ItemIsEditable);
        QTRY_COMPARE(current(), QString("lamp_1_away"));
    }

    void aNoticeTellsWhatIsNotRegistered()
    {
        const auto notice = [this](const ThingStateList &things) {
            m_page->showThings(things);
            testclock::advance(200ms);
            QCoreApplication::processEvents();
            auto *const label = m_page->findChild<QLabel *>("registrationNotice");
            return label->isVisible() ? label->text() : QString();
        };
        QCOMPARE(notice({thing("gateway_1_x"), thing("lamp_1_1")}),
                 QString("This gateway is not registered yet"));
        const ThingState gateway = thing("gateway_1_x", "G", 0, "r");
        QCOMPARE(notice({gateway, thing("lamp_1_1")}), QString("1 device is not registered yet"));
        QCOMPARE(notice({gateway, thing("lamp_1_1"), thing("lamp_1_2")}),
                 QString("2 devices are not registered yet"));
        QCOMPARE(notice({gateway, thing("lamp_1_1", "", 0, "r")}), QString());
    }

    void columnsAreKeptAndDamagedOnesIgnored()
    {
        QHeaderView *header = m_table->horizontalHeader();
        header->moveSection(Model::ColAlias, 0);
        header->resizeSection(Model::ColType, 123);
        makePage();
        header = m_table->horizontalHeader();
        QCOMPARE(header->visualIndex(Model::ColAlias), 0);
        QCOMPARE(header->sectionSize(Model::ColType), 123);
        m_page.reset();
        for (const char *const damaged :
             {"1:5", "0:9 0:9 0:9 0:9 0:9", "9:1 -1:2 x:y ::", "0:-5 4:2000000000 3:1 2:1 1:1"}) {
            SettingsStore().set(keys::StateColumns, QString(damaged));
            makePage();
            for (int column = 0; column < Model::ColumnCount; ++column) {
                QVERIFY2(m_table->columnWidth(column) >= 40, damaged);
            }
        }
        QVERIFY(m_table->columnWidth(Model::ColCloud) <= 4000);
        m_page.reset(); // stores its columns
        SettingsStore().set(keys::StateColumns, QString());
        makePage();
    }

    void thePaneShowsTheStateInTheWordsOfTheType()
    {
        m_page->showPlugins(words);
        m_page->showThings({thing(
            "lamp_1_1", "<i>One</i>",
            QJsonObject{{"in", QJsonObject{{"t", 21.5}}}, {"on", true}, {"x", QJsonArray{1}}})});
        m_table->selectRow(0);
        QCOMPARE(m_list->index(0, Model::ColType).data().toString(), QString("Lamp & <b>Co</b>"));
        QCOMPARE(m_list->index(0, Model::ColState).data().toString(),
                 QString("Inside warm: 21.5\u00a0°C, on: yes, x: [1]"));
        auto *const name = m_page->findChild<QLabel *>("deviceName");
        QCOMPARE(name->text(), QString("<i>One</i>"));
        QCOMPARE(name->textFormat(), Qt::PlainText);
        const auto rows = [this] {
            QStringList texts;
            QTreeWidgetItemIterator it(m_page->findChild<QTreeWidget *>("deviceState"));
            for (; *it; ++it) {
                const bool marked = (*it)->background(1).style() != Qt::NoBrush;
                texts += (*it)->text(0) + '=' + (*it)->text(1) + (marked ? "!" : "");
            }
            return texts.join(", ");
        };
        QCOMPARE(rows(), QString("Inside=, warm=21.5\u00a0°C, on=yes, x=[1]"));
        m_page->showThing(thing("lamp_1_1", "One", QJsonObject{{"a", 1}, {"in", 3}, {"on", true}}));
        QTRY_COMPARE(rows(), QString("a=1!, Inside=3!, on=yes"));
        const auto isFaded = [&] {
            testclock::advance(1s);
            return rows() == QString("a=1, Inside=3, on=yes");
        };
        QTRY_VERIFY(isFaded());
        for (const bool keep : {true, false, true}) {
            SettingsStore().set(keys::KeepHistory, keep);
            m_page->applySettings();
            QCOMPARE(m_history->recent("lamp_1_1", "in").isEmpty(), !keep);
        }

        const auto show = [this](const QJsonObject &state) {
            m_page->showThing(thing("lamp_1_1", "One", state));
        };
        show({{"a", QJsonObject{{"b", 1}}}, {"a.b", 2}, {"c", 3}}); // two members of one path
        QTRY_COMPARE(rows(), QString("a=, b=1!, b=2!, c=3!"));
        show({{"a.b", 4}, {"b", 5}, {"c", 3}});
        QTRY_COMPARE(rows(), QString("b=4!, b=5!, c=3!"));

        m_page->showThing(thing("lamp_1_1", QString(100, 'W')));
        QTRY_VERIFY(name->text().startsWith("WWW"));
        QVERIFY2(m_page->minimumSizeHint().width() < 400, "a long name widens the window");
    }

private:
    void makePage()
    {
        m_page.reset();
        m_page = std::make_unique<StatePage>(*m_history, m_windows);
        m_page->resize(900, 500);
        m_page->show();
        QVERIFY(QTest::qWaitForWindowActive(m_page.get()));
        m_table = m_page->findChild<QTableView *>("things");
        m_list = qobject_cast<DeviceListModel *>(m_table->model());
    }
    QString current() const
    {
        const QModelIndex index = m_table->currentIndex();
        return index.isValid() ? m_list->thing(index.row()).shortid : QString();
    }

    QTemporaryDir m_folder;
    DeviceWindows m_windows;
    std::unique_ptr<History> m_history;
    std::unique_ptr<StatePage> m_page;
    QTableView *m_table = nullptr;
    DeviceListModel *m_list = nullptr;
};

KVG_WIDGET_TEST_MAIN(TestStatePage)
#include "tst_statepage.moc"
