#include "tests/support/widgettestmain.h"
#include "ui/statetext.h"
#include "ui/thingsregtablemodel.h"
#include "ui/thingsstatetablemodel.h"
#include "ui/widgets/qmaterialicon.h"

#include <QAbstractItemModelTester>
#include <QJsonArray>
#include <QLineEdit>
#include <QSignalSpy>
#include <QTableView>

using Model = ThingsStateTableModel;

namespace {

ThingState thing(const QString &shortid, const QString &alias = "name", int state = 0,
                 const QString &regid = QString())
{
    ThingState thing;
    thing.shortid = shortid;
    thing.alias = alias;
    thing.regid = regid;
    thing.state = {{"v", state}};
    return thing;
}

QString text(const QAbstractItemModel &model, int row, int column, int role = Qt::DisplayRole)
{
    return model.index(row, column).data(role).toString();
}

// What a column shows, row by row.
QString column(const QAbstractItemModel &model, int column)
{
    QStringList texts;
    for (int row = 0; row < model.rowCount(); ++row) {
        texts += text(model, row, column);
    }
    return texts.join(' ');
}

// The cells that were announced as changed, as "row:column", sorted.
QStringList cells(const QSignalSpy &changes)
{
    QStringList cells;
    for (const QList<QVariant> &change : changes) {
        const auto first = change.at(0).toModelIndex();
        const auto last = change.at(1).toModelIndex();
        for (int row = first.row(); row <= last.row(); ++row) {
            for (int column = first.column(); column <= last.column(); ++column) {
                cells += QStringLiteral("%1:%2").arg(row).arg(column);
            }
        }
    }
    cells.sort();
    return cells;
}

QJsonValue nested(int depth)
{
    QJsonValue value(1);
    for (int i = 0; i < depth; ++i) {
        value = i % 2 == 0 ? QJsonValue(QJsonArray{value}) : QJsonValue(QJsonObject{{"", value}});
    }
    return value;
}

} // namespace

class TestTableModels : public QObject
{
    Q_OBJECT

    const QAbstractItemModelTester::FailureReportingMode m_mode =
        QAbstractItemModelTester::FailureReportingMode::QtTest;

private slots:
    void statesAreWrittenAsOneLine_data()
    {
        QTest::addColumn<QJsonValue>("state");
        QTest::addColumn<QString>("expected");
        QTest::newRow("keys sorted, no braces")
            << QJsonValue(QJsonObject{{"b", 1}, {"a", true}}) << "a:true,b:1";
        QTest::newRow("array") << QJsonValue(QJsonArray{1, 2}) << "[1,2]";
        QTest::newRow("six digits") << QJsonValue(0.1234567) << "0.123457";
        QTest::newRow("million") << QJsonValue(1000000) << "1e+06";
        QTest::newRow("text as it is") << QJsonValue("<b>,\"") << "<b>,\"";
        QTest::newRow("nested") << QJsonValue(QJsonObject{
                                       {"a", QJsonArray{QJsonObject{{"x", 1}, {"y", false}},
                                                        QJsonValue::Null}},
                                       {"b", QJsonObject{}}})
                                << "a:[x:1,y:false,null],b:";
        QTest::newRow("null") << QJsonValue() << "null";
        QTest::newRow("undefined") << QJsonValue(QJsonValue::Undefined) << "null";
    }
    void statesAreWrittenAsOneLine()
    {
        QFETCH(QJsonValue, state);
        QTEST(stateText(state), "expected");
    }

    void statesWithoutEndAreCutOff_data()
    {
        QTest::addColumn<QJsonValue>("state");
        QJsonArray numbers;
        for (int i = 0; i < 10'000; ++i) {
            numbers.append(i);
        }
        const QString endless(100'000, 'x');
        QTest::newRow("text") << QJsonValue(endless);
        QTest::newRow("key") << QJsonValue(QJsonObject{{endless, 1}});
        QTest::newRow("array") << QJsonValue(numbers);
        QTest::newRow("deep") << nested(5000);
    }
    void statesWithoutEndAreCutOff()
    {
        QFETCH(QJsonValue, state);
        const QString line = stateText(state);
        QCOMPARE(line.size(), 2001);
        QCOMPARE(line.back(), QChar(0x2026));
    }

    void stateRowsComeChangeAndGo()
    {
        Model model;
        const QAbstractItemModelTester tester(&model, m_mode);
        const QSignalSpy inserted(&model, &Model::rowsInserted);
        const QSignalSpy removed(&model, &Model::rowsRemoved);
        model.replaceAll({});
        model.remove("unknown");
        QVERIFY(inserted.isEmpty() && removed.isEmpty()); // no empty ranges

        model.update(thing("lamp_1_A"));
        model.update(thing("lamp_1_B", "old"));
        model.update(thing("host_1_C_9"));
        model.update(thing("lamp_1_B", "new", 7, "id"));
        QCOMPARE(inserted.size(), 3);
        QCOMPARE(column(model, Model::ColType), QString("lamp lamp host"));
        QCOMPARE(column(model, Model::ColSerial), QString("A B C"));
        QCOMPARE(column(model, Model::ColAlias), QString("name new name"));
        QCOMPARE(column(model, Model::ColState), QString("v:0 v:7 v:0"));
        QCOMPARE(column(model, Model::ColCloud), QString("No Yes No"));

        model.remove("lamp_1_A");
        model.update(thing("host_1_C_9", "moved")); // rows behind the gap are still found
        QCOMPARE(column(model, Model::ColAlias), QString("new moved"));

        // All out in one go, all in in another; of several records of one thing the last counts.
        model.replaceAll({thing("a_1_1", "first"), thing("b_1_2"), thing("a_1_1", "last")});
        QCOMPARE(removed.size(), 2);
        QCOMPARE(inserted.size(), 4);
        QCOMPARE(column(model, Model::ColAlias), QString("name last"));
        model.remove("a_1_1");
        QCOMPARE(column(model, Model::ColType), QString("b"));
    }

    void identifiersAndFaultsAreShownForWhatTheyAre()
    {
        Model model;
        ThingState odd = thing("<b>lamp</b>_1", "x", 0, "id");
        model.update(odd);
        QCOMPARE(text(model, 0, Model::ColType), QString("<b>lamp</b>"));
        QCOMPARE(text(model, 0, Model::ColSerial), QString());
        QCOMPARE(text(model, 0, Model::ColType, Qt::ToolTipRole),
                 QString("<p>&lt;b&gt;lamp&lt;/b&gt;_1"));
        model.update(thing("lamp_1_A"));
        QCOMPARE(text(model, 1, Model::ColType, Qt::ToolTipRole), QString("lamp_1_A"));

        const auto color = [&model](int row) {
            return model.index(row, Model::ColCloud).data(Qt::DecorationRole).value<QColor>();
        };
        const QMaterialIcon &icons = QMaterialIcon::instance();
        QCOMPARE(color(0), icons.color(QMaterialIcon::Success));
        QCOMPARE(color(1), icons.color(QMaterialIcon::Warning));
        odd.gone = true;
        model.update(odd);
        QCOMPARE(color(0), icons.color(QMaterialIcon::Error));
    }

    void renamingIsAskedForOnceAndShownWhenItHappened()
    {
        Model model;
        const QAbstractItemModelTester tester(&model, m_mode);
        model.update(thing("lamp_1_A", "old"));
        const QSignalSpy renamed(&model, &Model::renameRequested);
        const QModelIndex cell = model.index(0, Model::ColAlias);
        QCOMPARE(text(model, 0, Model::ColAlias, Qt::EditRole), QString("old"));
        for (const char *const ignored : {"", "  ", "old", " old "}) {
            QVERIFY(!model.setData(cell, ignored, Qt::EditRole));
        }
        QVERIFY(!model.setData(model.index(0, Model::ColState), "new", Qt::EditRole));
        QVERIFY(renamed.isEmpty());

        QVERIFY(model.setData(cell, " new ", Qt::EditRole));
        QCOMPARE(renamed.size(), 1);
        QCOMPARE(renamed.first(), QVariantList({"lamp_1_A", "new"}));
        QCOMPARE(text(model, 0, Model::ColAlias), QString("old"));
    }

    void changesAreGatheredAndReachWhatChanged()
    {
        Model model;
        const QAbstractItemModelTester tester(&model, m_mode);
        model.replaceAll({thing("a_1_0"), thing("a_1_1"), thing("a_1_2"), thing("a_1_3")});
        QSignalSpy changes(&model, &Model::dataChanged);
        for (int i = 1; i <= 100; ++i) {
            model.update(thing("a_1_1", "name", i));
        }
        model.update(thing("a_1_2")); // as it was
        QTRY_COMPARE(changes.size(), 1);
        QCOMPARE(cells(changes), QStringList("1:3"));

        changes.clear();
        model.update(thing("a_1_0", "name", 0, "id"));
        model.update(thing("a_1_3", "other"));
        QTRY_COMPARE(changes.size(), 2);
        QCOMPARE(cells(changes), QStringList({"0:4", "3:2"}));

        // A row that went before its change was announced, and one that moved meanwhile.
        changes.clear();
        model.update(thing("a_1_0", "name", 5, "id"));
        model.update(thing("a_1_2", "name", 5));
        model.remove("a_1_0");
        QTRY_COMPARE(changes.size(), 1);
        QCOMPARE(cells(changes), QStringList("1:3"));
    }

    void whatIsBeingTypedOutlivesChanges()
    {
        Model model;
        model.replaceAll({thing("a_1_0"), thing("a_1_1"), thing("a_1_2")});
        QTableView view;
        view.setModel(&model);
        view.show();
        view.setCurrentIndex(model.index(1, Model::ColAlias));
        view.edit(view.currentIndex());
        auto *const editor = view.findChild<QLineEdit *>();
        QVERIFY(editor != nullptr);
        QCOMPARE(editor->text(), QString("name"));
        editor->setText("half a na");

        QSignalSpy changes(&model, &Model::dataChanged);
        model.update(thing("a_1_0", "renamed", 1, "id"));
        model.update(thing("a_1_1", "name", 1, "id"));
        model.update(thing("a_1_2", "renamed", 1, "id"));
        QTRY_COMPARE(cells(changes).filter(":2"), QStringList({"0:2", "2:2"}));
        model.update(thing("a_1_9"));
        model.remove("a_1_0");
        QCOMPARE(view.findChild<QLineEdit *>(), editor);
        QCOMPARE(editor->text(), QString("half a na"));

        const QSignalSpy renamed(&model, &Model::renameRequested);
        QTest::keyClick(editor, Qt::Key_Return);
        QTRY_COMPARE(renamed.size(), 1);
        QCOMPARE(renamed.first(), QVariantList({"a_1_1", "half a na"}));
    }

    void knownDevicesAreListedAndTakenOut()
    {
        ThingsRegTableModel model;
        const QAbstractItemModelTester tester(&model, m_mode);
        const QSignalSpy inserted(&model, &ThingsRegTableModel::rowsInserted);
        const QSignalSpy removed(&model, &ThingsRegTableModel::rowsRemoved);
        model.replaceAll({});
        QVERIFY(inserted.isEmpty() && removed.isEmpty());

        QJsonArray devices;
        for (int i = 0; i < 5; ++i) {
            devices.append(QJsonObject{{"type", "t"}, {"version", "1"}, {"serial", QString(i, 's')}});
        }
        devices.append("no object");
        model.replaceAll(devices);
        QCOMPARE(inserted.size(), 1);
        QCOMPARE(model.key(2), QString("t_1_ss"));
        QCOMPARE(text(model, 2, ThingsRegTableModel::ColSerial), QString("ss"));
        QCOMPARE(text(model, 2, ThingsRegTableModel::ColAlias), QString()); // is missing
        QCOMPARE(text(model, 5, ThingsRegTableModel::ColType), QString());

        QVERIFY(!model.removeRows(6, 1) && !model.removeRows(-1, 2) && !model.removeRows(0, 0));
        QVERIFY(model.removeRows(3, 100)); // as many as there are
        QVERIFY(model.removeRow(1));
        QCOMPARE(removed.size(), 2);
        QCOMPARE(column(model, ThingsRegTableModel::ColSerial), QString(" ss"));
        model.replaceAll(devices);
        QCOMPARE(model.rowCount(), 6);
    }
};

KVG_WIDGET_TEST_MAIN(TestTableModels)
#include "tst_tablemodels.moc"
