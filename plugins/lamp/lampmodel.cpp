#include "plugins/lamp/lampmodel.h"

#include "plugins/lamp/lampsettings.h"

#include <QColor>
#include <QTimer>

#include <algorithm>
#include <chrono>

using namespace std::chrono_literals;

namespace {

QString text(const LampRecord &lamp, int column)
{
    const bool attached = lamp.presence == LampRecord::Attached;
    switch (column) {
    case LampModel::Name:
        return LampModel::tr("Lamp %1").arg(lamp.number);
    case LampModel::Brightness:
        return attached ? LampModel::tr("%1 %", "brightness").arg(lamp.brightness) : QString();
    case LampModel::Color:
        return attached ? QColor(QRgb(lamp.color)).name() : QString();
    case LampModel::Plugged:
        return lamp.presence == LampRecord::AwaitsScan ? LampModel::tr("from the next scan on")
                                                       : QString();
    default:
        return {};
    }
}

// Without the state: assistive technology reads that from the check box.
QString accessibleText(const LampRecord &lamp, int column)
{
    switch (column) {
    case LampModel::On:
        return LampModel::tr("Lamp %1 on").arg(lamp.number);
    case LampModel::Plugged:
        return LampModel::tr("Lamp %1 plugged in").arg(lamp.number);
    default:
        return text(lamp, column);
    }
}

QVariant checkState(const LampRecord &lamp, int column)
{
    bool checked = false;
    if (column == LampModel::On && lamp.presence == LampRecord::Attached) {
        checked = lamp.on;
    } else if (column == LampModel::Plugged) {
        checked = lamp.presence != LampRecord::Unplugged;
    } else {
        return {};
    }
    return checked ? Qt::Checked : Qt::Unchecked;
}

} // namespace

int LampModel::litCount() const
{
    const auto isLit = [](const LampRecord &lamp) { return lamp.on; };
    return static_cast<int>(std::count_if(m_lamps.begin(), m_lamps.end(), isLit));
}

int LampModel::unpluggedCount() const
{
    const auto isUnplugged = [](const LampRecord &lamp) {
        return lamp.presence == LampRecord::Unplugged;
    };
    return static_cast<int>(std::count_if(m_lamps.begin(), m_lamps.end(), isUnplugged));
}

QString LampModel::widestText(Column column)
{
    return text({LampSettings::maxLamps, 0xdddddd, 100, false,
                 column == Plugged ? LampRecord::AwaitsScan : LampRecord::Attached},
                column);
}

int LampModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_lamps.size();
}

int LampModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant LampModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid()) {
        return {};
    }
    const LampRecord &lamp = m_lamps[index.row()];
    switch (role) {
    case Qt::DisplayRole:
        return text(lamp, index.column());
    case Qt::AccessibleTextRole:
        return accessibleText(lamp, index.column());
    case Qt::CheckStateRole:
        return checkState(lamp, index.column());
    case Qt::DecorationRole:
        return index.column() == Color && lamp.presence == LampRecord::Attached
                   ? QColor(QRgb(lamp.color))
                   : QVariant();
    default:
        return {};
    }
}

QVariant LampModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) {
        return {};
    }
    const QVariantList headers{tr("Lamp"), tr("On"), tr("Brightness"), tr("Colour"),
                               tr("Plugged in")};
    return headers.value(section);
}

Qt::ItemFlags LampModel::flags(const QModelIndex &index) const
{
    const Qt::ItemFlags flags = QAbstractTableModel::flags(index);
    return index.data(Qt::CheckStateRole).isValid() ? flags | Qt::ItemIsUserCheckable : flags;
}

bool LampModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (role != Qt::CheckStateRole || !index.flags().testFlag(Qt::ItemIsUserCheckable)) {
        return false;
    }
    const int number = index.row() + 1;
    if (index.column() == Plugged) {
        emit plugToggled(number, value.toInt() == Qt::Checked);
    } else {
        // Not `value`: the user may press twice before the first change is shown.
        emit switchPressed(number);
    }
    return true;
}

void LampModel::applyBatch(const LampBatch &batch)
{
    setCount(batch.count);
    int first = m_lamps.size();
    int last = -1;
    for (const LampRecord &lamp : batch.lamps) {
        const int row = lamp.number - 1;
        if (row < m_lamps.size()) { // the number of lamps may have shrunk
            m_lamps[row] = lamp;
            first = std::min(first, row);
            last = std::max(last, row);
        }
    }
    if (first <= last) {
        emit dataChanged(index(first, 0), index(last, ColumnCount - 1));
    }
    emit batchApplied();
    QTimer::singleShot(100ms, this, &LampModel::readyForNext);
}

void LampModel::setCount(int count)
{
    const int old = m_lamps.size();
    if (count > old) {
        beginInsertRows({}, old, count - 1);
        m_lamps.resize(count);
        for (int row = old; row < count; ++row) {
            m_lamps[row].number = row + 1;
        }
        endInsertRows();
    } else if (count < old) {
        beginRemoveRows({}, count, old - 1);
        m_lamps.resize(count);
        endRemoveRows();
    }
}
