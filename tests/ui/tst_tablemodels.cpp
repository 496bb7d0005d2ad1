#include "tests/support/widgettestmain.h"
#include "ui/statetext.h"
#include "ui/thingsstatetablemodel.h"
#include "ui/widgets/qmaterialicon.h"

#include <QAbstractItemModelTester>
#include <QJsonArray>
#include <QSignalSpy>

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

// What all cells show, row by row.
QString cells(const QAbstractItemModel &model)
{
    QStringList texts;
    for (int cell = 0; cell < model.rowCount() * Model::ColumnCount; ++cell) {
        texts +=
            model.index(cell / Model::ColumnCount, cell % Model::ColumnCount).data().toString();
    }
    return texts.join(' ');
}

} // namespace

class TestTableModels : public QObject
{
    Q_OBJECT

private slots:
    void statesAreWrittenAsOneLineOfLimitedLength()
    {
        const QJsonArray list{0.1234567, 1000000, "<\"", QJsonObject{{"x", 1}, {"w", false}}, {}};
        QCOMPARE(stateText(QJsonObject{{"b", list}, {"a", true}}),
                 QString("a:true,b:[0.123457,1e+06,<\",w:false,x:1,null]"));

        const QString endless(100'000, 'x');
        QJsonArray many;
        QJsonValue deep;
        for (int i = 0; i < 5000; ++i) {
            many.append(i);
            deep = i % 2 == 0 ? QJsonValue(QJsonArray{deep}) : QJsonValue(QJsonObject{{"", deep}});
        }
        for (const QJsonValue state : QJsonArray{endless, QJsonObject{{endless, 1}}, many, deep}) {
            QCOMPARE(stateText(state).size(), 2001);
            QVERIFY(stateText(state).endsWith(QChar(0x2026)));
        }
    }

    void rowsAreAddedChangedAndRemoved()
    {
        Model model;
        const QAbstractItemModelTester tester(&model);
        const QSignalSpy inserted(&model, &Model::rowsInserted);
        const QSignalSpy removed(&model, &Model::rowsRemoved);
        model.replaceAll({});
        model.remove("unknown");
        model.update(thing("lamp_1_A"));
        model.update(thing("lamp_1_B", "old"));
        model.update(thing("host_1_C_9"));
        model.update(thing("lamp_1_B", "new", 7, "id"));
        QCOMPARE(cells(model), QString("lamp A name v:0 No lamp B new v:7 Yes host C name v:0 No"));

        model.remove("lamp_1_A");
        model.update(thing("host_1_C_9", "moved")); // rows behind the gap are still found
        QCOMPARE(cells(model), QString("lamp B new v:7 Yes host C moved v:0 No"));

        // All are removed at once and inserted at once; of several records of one thing the last
        // counts.
        ThingState gone = thing("<b>lamp</b>_1_2", "name", 0, "id");
        gone.gone = true;
        model.replaceAll({thing("a_1_1", "first"), gone, thing("a_1_1", "last")});
        QVERIFY(removed.size() == 2 && inserted.size() == 4); // no empty ranges
        QCOMPARE(cells(model), QString("<b>lamp</b> 2 name v:0 Yes a 1 last v:0 No"));
        QCOMPARE(model.index(0, Model::ColType).data(Qt::ToolTipRole).toString(),
                 QString("<p>&lt;b&gt;lamp&lt;/b&gt;_1_2"));
        QCOMPARE(model.index(0, Model::ColCloud).data(Qt::DecorationRole).value<QColor>(),
                 QMaterialIcon::instance().color(QMaterialIcon::Error));
        model.remove("a_1_1");
        QCOMPARE(model.rowCount(), 1);
    }

    void renamingIsRequestedOnceAndShownWhenReported()
    {
        Model model;
        model.update(thing("lamp_1_A", "old"));
        const QSignalSpy renamed(&model, &Model::renameRequested);
        const QModelIndex cell = model.index(0, Model::ColAlias);
        QCOMPARE(cell.data(Qt::EditRole).toString(), QString("old"));
        QVERIFY(!model.setData(cell, "  ", Qt::EditRole));
        QVERIFY(!model.setData(cell, " old ", Qt::EditRole));
        QVERIFY(model.setData(cell, " new ", Qt::EditRole));
        QCOMPARE(renamed, QList<QVariantList>{QVariantList({"lamp_1_A", "new"})});
        QCOMPARE(cell.data().toString(), QString("old"));
    }

    void changesAreEmittedTogetherForTheColumnsThatChanged()
    {
        Model model;
        const QAbstractItemModelTester tester(&model);
        model.replaceAll({thing("a_1_0"), thing("a_1_1"), thing("a_1_2"), thing("a_1_3")});
        QStringList changes; // "row:first column-last"
        connect(&model, &Model::dataChanged, this, [&](const auto &from, const auto &to) {
            changes += QString("%1:%2-%3").arg(from.row()).arg(from.column()).arg(to.column());
        });
        for (int i = 1; i <= 100; ++i) {
            model.update(thing("a_1_1", "name", i));
        }
        model.update(thing("a_1_2")); // as it was
        QTRY_COMPARE(changes, QStringList("1:3-3"));

        // A row is removed before its change was emitted, and others move meanwhile.
        changes.clear();
        model.update(thing("a_1_0", "name", 5));
        model.update(thing("a_1_2", "name", 0, "id"));
        model.update(thing("a_1_3", "other"));
        model.remove("a_1_0");
        QTRY_COMPARE(changes, QStringList({"1:4-4", "2:2-2"}));
    }
};

KVG_WIDGET_TEST_MAIN(TestTableModels)
#include "tst_tablemodels.moc"
