#pragma once

#include "settings/devicepool.h"

#include <QAbstractTableModel>
#include <QJsonArray>
#include <QJsonObject>
#include <QVector>

// The known devices as the stored pool lists them. Interface thread.
class ThingsRegTableModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum ColumnNames { ColType, ColVersion, ColSerial, ColAlias, ColumnCount };

    explicit ThingsRegTableModel(QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    // Ignores rows beyond the last one; false when no row is left to remove.
    bool removeRows(int row, int count, const QModelIndex &parent = {}) override;

    // Removes all rows, then inserts the entries of `devices`.
    void replaceAll(const QJsonArray &devices);
    PoolEntry entry(int row) const;

private:
    QVector<QJsonObject> m_devices;
};
