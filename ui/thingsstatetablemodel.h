#pragma once

#include "things/thingstate.h"

#include <QAbstractTableModel>
#include <QHash>
#include <QTimer>

#include <bitset>
#include <memory>
#include <vector>

// One row for each live thing, in the order in which they were listed or first reported.
// Interface thread. Rows are found in constant time. data() changes at once; dataChanged() follows
// for all changed rows together, ten times a second at the most.
class ThingsStateTableModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum ColumnNames { ColType, ColSerial, ColAlias, ColState, ColCloud, ColumnCount };

    explicit ThingsStateTableModel(QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    // Requests another alias; the cell changes when the thing is reported with it. False when the
    // alias is empty or the current one.
    bool setData(const QModelIndex &index, const QVariant &value, int role) override;

    // Appends the thing, or replaces the record of a known one.
    void update(const ThingState &state);
    // Does nothing for an unknown thing.
    void remove(const QString &shortid);
    // Removes all rows, then inserts these; of several records of one thing the last counts.
    void replaceAll(const ThingStateList &list);

    const ThingState &thing(int row) const { return m_rows[size_t(row)]->thing; }
    // When the state was reported that the row shows; milliseconds since 1970; 0: unknown.
    qint64 lastChange(int row) const { return m_rows[size_t(row)]->changed; }
    // -1 for an unknown thing.
    int rowOf(const QString &shortid) const;

signals:
    void renameRequested(const QString &sid, const QString &alias);

private:
    struct Row
    {
        ThingState thing;
        int index;
        qint64 changed; // milliseconds since 1970
    };
    using ColumnSet = std::bitset<ColumnCount>;

    void append(const ThingState &thing);
    void emitChanges();

    std::vector<std::unique_ptr<Row>> m_rows;
    QHash<QString, Row *> m_byShortid;
    QHash<Row *, ColumnSet> m_changes; // that dataChanged() is due for
    QTimer m_emitTimer;
};
