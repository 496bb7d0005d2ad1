#pragma once

#include "things/thingstate.h"

#include <QAbstractTableModel>
#include <QHash>
#include <QSet>
#include <QTimer>

#include <memory>
#include <vector>

// One row for each live thing, in the order in which they were listed or first reported.
// Interface thread. Rows are found in constant time; changes of known rows are taken at once and
// announced to the views together, ten times a second at the most.
class ThingsStateTableModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum ColumnNames { ColType, ColSerial, ColAlias, ColState, ColCloud, ColumnCount };

    explicit ThingsStateTableModel(QObject *parent = nullptr);
    ~ThingsStateTableModel() override;

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    // Asks for another alias; the record changes when the thing is reported with it. False when
    // the alias is empty or the present one.
    bool setData(const QModelIndex &index, const QVariant &value, int role) override;

    // Appends an unknown thing, takes the record of a known one.
    void update(const ThingState &state);
    // Takes out the thing's row, if there is one.
    void remove(const QString &shortid);
    // Takes out all rows, then inserts these; of several records of one thing the last counts.
    void replaceAll(const ThingStateList &list);

signals:
    void renameRequested(const QString &sid, const QString &alias);

private:
    struct Row
    {
        ThingState thing;
        int number;
        quint8 changed = 0; // a bit for each column that is still to be announced
    };

    void append(const ThingState &thing);
    void markChanged(Row &row, quint8 columns);
    void announceChanges();

    std::vector<std::unique_ptr<Row>> m_rows;
    QHash<QString, Row *> m_byShortid;
    QSet<Row *> m_changed;
    QTimer m_announcement;
};
