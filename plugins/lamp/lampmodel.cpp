#include "plugins/lamp/lampmodel.h"

#include "plugins/lamp/lampsettings.h"

#include <QColor>
#include <QTimer>

#include <algorithm>
#include <chrono>

LampModel::LampModel()
    : m_gatherTimer(new QTimer(this))
{
    using namespace std::chrono_literals;
    m_gatherTimer->setSingleShot(true);
    m_gatherTimer->setInterval(100ms);
    connect(m_gatherTimer, &QTimer::timeout, this, &LampModel::readyForNext);
}

std::weak_ptr<const bool> LampModel::lifeToken() const
{
    return m_lifeToken;
}

int LampModel::litCount() const
{
    return m_litCount;
}

int LampModel::unpluggedCount() const
{
    return m_unpluggedCount;
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
    switch (section) {
    case Name:
        return tr("Lamp");
    case On:
        return tr("On");
    case Brightness:
        return tr("Brightness");
    case Color:
        return tr("Colour");
    case Plugged:
        return tr("Plugged in");
    default:
        return {};
    }
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
            countRecord(m_lamps[row], -1);
            m_lamps[row] = lamp;
            countRecord(lamp, 1);
            first = std::min(first, row);
            last = std::max(last, row);
        }
    }
    if (first <= last) {
        emit dataChanged(index(first, 0), index(last, ColumnCount - 1));
    }
    emit batchApplied();
    m_gatherTimer->start();
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
        for (int row = count; row < old; ++row) {
            countRecord(m_lamps[row], -1);
        }
        m_lamps.resize(count);
        endRemoveRows();
    }
}

void LampModel::countRecord(const LampRecord &lamp, int step)
{
    m_litCount += lamp.on ? step : 0;
    m_unpluggedCount += lamp.presence == LampRecord::Unplugged ? step : 0;
}

QString LampModel::text(const LampRecord &lamp, int column)
{
    const bool attached = lamp.presence == LampRecord::Attached;
    switch (column) {
    case Name:
        return tr("Lamp %1").arg(lamp.number);
    case Brightness:
        return attached ? tr("%1 %", "brightness").arg(lamp.brightness) : QString();
    case Color:
        return attached ? QColor(QRgb(lamp.color)).name() : QString();
    case Plugged:
        return lamp.presence == LampRecord::AwaitsScan ? tr("from the next scan on") : QString();
    default:
        return {};
    }
}

// Without the state: assistive technology reads that from the check box.
QString LampModel::accessibleText(const LampRecord &lamp, int column)
{
    switch (column) {
    case On:
        return tr("Lamp %1 on").arg(lamp.number);
    case Plugged:
        return tr("Lamp %1 plugged in").arg(lamp.number);
    default:
        return text(lamp, column);
    }
}

QVariant LampModel::checkState(const LampRecord &lamp, int column)
{
    bool checked = false;
    if (column == On && lamp.presence == LampRecord::Attached) {
        checked = lamp.on;
    } else if (column == Plugged) {
        checked = lamp.presence != LampRecord::Unplugged;
    } else {
        return {};
    }
    return checked ? Qt::Checked : Qt::Unchecked;
}
