#pragma once

#include "plugins/lamp/lampbatch.h"

#include <QAbstractTableModel>

// The table of the lamps' window, one row for each number. Needs no display. Created on the lamps'
// thread, then moved to the interface thread with its parent. Only batches from the lamps change
// it; the user's actions are signals to them.
class LampModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column { Name, On, Brightness, Color, Plugged, ColumnCount };

    int litCount() const;
    int unpluggedCount() const;
    static QString widestText(Column column);

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role) override;

public slots:
    // Emits readyForNext() after a pause, in which the lamps gather changes.
    void applyBatch(const LampBatch &batch);

signals:
    void readyForNext();
    void batchApplied();
    void switchPressed(int number);
    void plugToggled(int number, bool plugged);

private:
    void setCount(int count);

    QVector<LampRecord> m_lamps; // index: number - 1
};
