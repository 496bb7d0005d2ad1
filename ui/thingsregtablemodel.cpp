#include "ui/thingsregtablemodel.h"

namespace {

// The member of a pool entry that the column shows.
QLatin1String member(int column)
{
    switch (column) {
    case ThingsRegTableModel::ColType:
        return QLatin1String("type");
    case ThingsRegTableModel::ColVersion:
        return QLatin1String("version");
    case ThingsRegTableModel::ColSerial:
        return QLatin1String("serial");
    default:
        return QLatin1String("alias");
    }
}

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
    switch (section) {
    case ColType:
        return tr("Type");
    case ColVersion:
        return tr("Version");
    case ColSerial:
        return tr("Serial");
    case ColAlias:
        return tr("Alias");
    default:
        return {};
    }
}

QVariant ThingsRegTableModel::data(const QModelIndex &index, int role) const
{
    if (role != Qt::DisplayRole || !checkIndex(index, CheckIndexOption::IndexIsValid)) {
        return {};
    }
    return m_devices.at(index.row()).value(member(index.column())).toVariant().toString();
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
    const auto text = [device = m_devices.at(row)](QLatin1String member) {
        return device[member].toString();
    };
    return {text(member(ColType)), text(member(ColVersion)), text(member(ColSerial)),
            text(QLatin1String("regid")), text(member(ColAlias))};
}
