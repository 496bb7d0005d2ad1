#pragma once

#include "things/thingstate.h"

#include <QAbstractProxyModel>
#include <QConcatenateTablesProxyModel>
#include <QTimer>

#include <optional>
#include <vector>

class DeviceWords;
class ThingsStateTableModel;

// What the state page lists: the live devices and those that are absent, sorted by a column in
// natural order ("2" before "10"), filtered by a text, in the words of the device types. Interface
// thread.
//
// Changed states do not move a row at once: rows are compared again once a second, a few
// milliseconds of work at a time, so that ten thousand changing devices do not block the interface.
class DeviceListModel : public QAbstractProxyModel
{
    Q_OBJECT

public:
    // All are borrowed for life. Call updateWords() after a change of `words`.
    DeviceListModel(ThingsStateTableModel &live, ThingsStateTableModel &absent,
                    const DeviceWords &words, QObject *parent = nullptr);

    QModelIndex index(int row, int column, const QModelIndex &parent = {}) const override;
    QModelIndex parent(const QModelIndex &child) const override;
    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QModelIndex mapToSource(const QModelIndex &index) const override;
    QModelIndex mapFromSource(const QModelIndex &index) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    // Column -1: the order of the source.
    void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;

    // Shows the rows of which a cell contains the text, whatever its case; empty: all.
    void setFilter(const QString &text);
    void updateWords();

    const ThingState &thing(int row) const;
    // Milliseconds since 1970; 0: unknown.
    qint64 lastChange(int row) const;
    // -1 when it is not shown.
    int rowOf(const QString &shortid) const;

private:
    struct Entry // of a row of the source
    {
        int row = -1; // here; -1: not shown
        bool isAccepted = true;
        bool isDirty = false;
        std::optional<QString> key; // while sorted
    };

    bool isPlain() const { return m_sortColumn < 0 && m_filter.isEmpty(); }
    std::pair<const ThingsStateTableModel &, int> origin(int source) const;
    QString text(int source, int column) const;
    bool isAccepted(int source) const;
    // Compares the row of the source with filter and sort column again.
    void refresh(int source);
    void refreshAll();
    void refreshDirty();
    void markDirty(int source);
    void arrange();
    void setRows(const std::vector<int> &rows);
    void hideRows(int first, int last);
    void reorder(const std::vector<int> &rows);
    void renumber(size_t from);
    void sourceInserted(int first, int last);
    void sourceAboutToBeRemoved(int first, int last);
    void sourceRemoved(int first, int last);
    void sourceChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight);

    ThingsStateTableModel &m_live;
    ThingsStateTableModel &m_absent;
    const DeviceWords &m_words;
    QConcatenateTablesProxyModel m_all;
    std::vector<int> m_rows;      // the source row of each row
    std::vector<Entry> m_entries; // by source row
    std::vector<int> m_dirty;     // source rows
    bool m_isOutdated = false;    // an entry has changed since arrange()
    QTimer m_timer;
    QString m_filter;
    int m_sortColumn = -1;
    Qt::SortOrder m_order = Qt::AscendingOrder;
};
