#include "ui/thingsregtablemodel.h"

namespace {

// The members of a pool entry, indexed by ThingsRegTableModel::ColumnNames.
const QLatin1String members[] = {QLatin1String("type"), QLatin1String("version"),
                                 QLatin1String("serial"), QLatin1String("alias")};

} // namespace

ThingsRegTableModel::ThingsRegTableModel(QObject *parent)
    : QAbstractTableModel(parent)
{
}

int ThingsRegTableModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_devices.size();
}

int ThingsRegTableModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(ColumnCount);
}

QVariant ThingsRegTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) {
        return {};
    }
    const QVariantList headers{tr("Type"), tr("Version"), tr("Serial"), tr("Alias")};
    return headers.value(section);
}

QVariant ThingsRegTableModel::data(const QModelIndex &index, int role) const
{
    if (role != Qt::DisplayRole || !checkIndex(index, CheckIndexOption::IndexIsValid)) {
        return {};
    }
    return m_devices.at(index.row()).value(members[index.column()]).toVariant().toString();
}

bool ThingsRegTableModel::removeRows(int row, int count, const QModelIndex &parent)
{
    const int removable = qMin(count, rowCount(parent) - row);
    if (row < 0 || removable < 1) {
        return false;
    }
    beginRemoveRows({}, row, row + removable - 1);
    m_devices.remove(row, removable);
    endRemoveRows();
    return true;
}

void ThingsRegTableModel::replaceAll(const QJsonArray &devices)
{
    if (!m_devices.isEmpty()) {
        beginRemoveRows({}, 0, m_devices.size() - 1);
        m_devices.clear();
        endRemoveRows();
    }
    if (!devices.isEmpty()) {
        beginInsertRows({}, 0, devices.size() - 1);
        for (const QJsonValue &device : devices) {
            m_devices.append(device.toObject());
        }
        endInsertRows();
    }
}

PoolEntry ThingsRegTableModel::entry(int row) const
{
    const QJsonObject &device = m_devices.at(row);
    return {device["type"].toString(), device["version"].toString(), device["serial"].toString(),
            device["regid"].toString(), device["alias"].toString()};
}
