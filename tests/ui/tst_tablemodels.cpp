#include "tests/support/widgettestmain.h"
#include "ui/statetext.h"
#include "ui/thingsstatetablemodel.h"
#include "ui/widgets/qmaterialicon.h"

#include <QAbstractItemModelTester>
#include <QJsonArray>
#include <QSignalSpy>

using Model = ThingsStateTableModel;

namespace {

constexpr auto inTest = QAbstractItemModelTester::FailureReportingMode::QtTest;

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

// What a column shows, row by row.
QString column(const QAbstractItemModel &model, int column, int role = Qt::DisplayRole)
{
    QStringList texts;
    for (int row = 0; row < model.rowCount(); ++row) {
        texts += model.index(row, column).data(role).toString();
    }
    return texts.join(' ');
}

// The cells that were announced as changed, as "row:first column-last", sorted.
QStringList cells(const QSignalSpy &changes)
{
    QStringList cells;
    for (const QList<QVariant> &change : changes) {
        const auto first = change.at(0).toModelIndex();
        const int last = change.at(1).toModelIndex().column();
        cells += QStringLiteral("%1:%2-%3").arg(first.row()).arg(first.column()).arg(last);
    }
    cells.sort();
    return cells;
}

} // namespace

class TestTableModels : public QObject
{
    Q_OBJECT

private slots:
    void statesAreWrittenAsOneLine()
    {
        const std::pair<QJsonValue, const char *> rows[] = {
            {QJsonObject{{"b", 1}, {"a", true}}, "a:true,b:1"},
            {QJsonArray{1, 2}, "[1,2]"},
            {0.1234567, "0.123457"},
            {1000000, "1e+06"},
            {"<b>,\"", "<b>,\""},
            {QJsonObject{{"a", QJsonArray{QJsonObject{{"x", 1}, {"y", false}}, {}}}},
             "a:[x:1,y:false,null]"},
            {QJsonValue::Undefined, "null"}};
        for (const auto &[state, text] : rows) {
            QCOMPARE(stateText(state), QString(text));
        }
    }

    void statesWithoutEndAreCutOff()
    {
        const QString endless(100'000, 'x');
        QJsonArray many;
        QJsonValue deep;
        for (int i = 0; i < 5000; ++i) {
            many.append(i);
            deep = i % 2 == 0 ? QJsonValue(QJsonArray{deep}) : QJsonValue(QJsonObject{{"", deep}});
        }
        for (const QJsonValue &state :
             {QJsonValue(endless), QJsonValue(QJsonObject{{endless, 1}}), QJsonValue(many), deep}) {
            QCOMPARE(stateText(state).size(), 2001);
            QVERIFY(stateText(state).endsWith(QChar(0x2026)));
        }
    }

    void stateRowsComeChangeAndGo()
    {
        Model model;
        const QAbstractItemModelTester tester(&model, inTest);
        const QSignalSpy inserted(&model, &Model::rowsInserted);
        const QSignalSpy removed(&model, &Model::rowsRemoved);
        model.replaceAll({});
        model.remove("unknown");
        QVERIFY(inserted.isEmpty() && removed.isEmpty()); // no empty ranges

        model.update(thing("lamp_1_A"));
        model.update(thing("lamp_1_B", "old"));
        model.update(thing("host_1_C_9"));
        model.update(thing("lamp_1_B", "new", 7, "id"));
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

    void identifiersAreTextAndFaultsStandOut()
    {
        Model model;
        ThingState odd = thing("<b>lamp</b>_1", "x", 0, "id");
        odd.gone = true;
        model.replaceAll({odd, thing("lamp_1_A")});
        QCOMPARE(column(model, Model::ColType), QString("<b>lamp</b> lamp"));
        QCOMPARE(column(model, Model::ColType, Qt::ToolTipRole),
                 QString("<p>&lt;b&gt;lamp&lt;/b&gt;_1 lamp_1_A"));
        QCOMPARE(model.index(0, Model::ColCloud).data(Qt::DecorationRole).value<QColor>(),
                 QMaterialIcon::instance().color(QMaterialIcon::Error));
    }

    void renamingIsAskedForOnceAndShownWhenItHappened()
    {
        Model model;
        model.update(thing("lamp_1_A", "old"));
        const QSignalSpy renamed(&model, &Model::renameRequested);
        const QModelIndex cell = model.index(0, Model::ColAlias);
        QCOMPARE(cell.data(Qt::EditRole).toString(), QString("old"));
        for (const char *const ignored : {"", "  ", "old", " old "}) {
            QVERIFY(!model.setData(cell, ignored, Qt::EditRole));
        }
        QVERIFY(renamed.isEmpty());
        QVERIFY(model.setData(cell, " new ", Qt::EditRole));
        QCOMPARE(renamed.size(), 1);
        QCOMPARE(renamed.first(), QVariantList({"lamp_1_A", "new"}));
        QCOMPARE(cell.data().toString(), QString("old"));
    }

    void changesAreGatheredAndReachWhatChanged()
    {
        Model model;
        const QAbstractItemModelTester tester(&model, inTest);
        model.replaceAll({thing("a_1_0"), thing("a_1_1"), thing("a_1_2"), thing("a_1_3")});
        QSignalSpy changes(&model, &Model::dataChanged);
        for (int i = 1; i <= 100; ++i) {
            model.update(thing("a_1_1", "name", i));
        }
        model.update(thing("a_1_2")); // as it was
        QTRY_COMPARE(changes.size(), 1);
        QCOMPARE(cells(changes), QStringList("1:3-3"));

        // A row that goes before its change was announced, and others that move meanwhile.
        changes.clear();
        model.update(thing("a_1_0", "name", 5));
        model.update(thing("a_1_2", "name", 0, "id"));
        model.update(thing("a_1_3", "other"));
        model.remove("a_1_0");
        QTRY_COMPARE(changes.size(), 2);
        QCOMPARE(cells(changes), QStringList({"1:4-4", "2:2-2"}));
    }
};

KVG_WIDGET_TEST_MAIN(TestTableModels)
#include "tst_tablemodels.moc"
