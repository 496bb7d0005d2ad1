#include "ui/thingsstatetablemodel.h"

#include "ui/aliasrule.h"
#include "ui/pagestyle.h"
#include "ui/statetext.h"
#include "ui/widgets/qmaterialicon.h"

#include <QColor>
#include <QDateTime>
#include <QVector>

#include <array>
#include <chrono>

using namespace std::chrono_literals;

namespace {

QString idPart(const ThingState &thing, int part)
{
    return thing.shortid.section(QLatin1Char('_'), part, part);
}

QColor registrationColor(const ThingState &thing)
{
    const QMaterialIcon &icons = QMaterialIcon::instance();
    if (thing.gone) {
        return icons.color(QMaterialIcon::Color::Error);
    }
    return icons.color(thing.regid.isEmpty() ? QMaterialIcon::Color::Warning
                                             : QMaterialIcon::Color::Success);
}

} // namespace

ThingsStateTableModel::ThingsStateTableModel(QObject *parent)
    : QAbstractTableModel(parent)
{
    m_emitTimer.setSingleShot(true);
    m_emitTimer.setInterval(100ms);
    connect(&m_emitTimer, &QTimer::timeout, this, &ThingsStateTableModel::emitChanges);
}

int ThingsStateTableModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

int ThingsStateTableModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(ColumnCount);
}

QVariant ThingsStateTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) {
        return {};
    }
    const QVariantList headers{tr("Type"), tr("Serial"), tr("Alias"), tr("State"), tr("Reg. ID")};
    return headers.value(section);
}

Qt::ItemFlags ThingsStateTableModel::flags(const QModelIndex &index) const
{
    if (!index.isValid()) {
        return Qt::NoItemFlags;
    }
    const Qt::ItemFlags flags = Qt::ItemIsSelectable | Qt::ItemIsEnabled;
    return index.column() == ColAlias ? flags | Qt::ItemIsEditable : flags;
}

QVariant ThingsStateTableModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) {
        return {};
    }
    const ThingState &thing = m_rows[static_cast<size_t>(index.row())]->thing;
    const bool display = role == Qt::DisplayRole;
    switch (index.column()) {
    case ColType:
        if (role == Qt::ToolTipRole) {
            return pagestyle::toolTip(thing.shortid);
        }
        return display ? idPart(thing, 0) : QVariant();
    case ColSerial:
        return display ? idPart(thing, 2) : QVariant();
    case ColAlias:
        return display || role == Qt::EditRole ? thing.alias : QVariant();
    case ColState:
        return display ? stateText(thing.state) : QVariant();
    case ColCloud:
        if (role == Qt::DecorationRole) {
            return registrationColor(thing);
        }
        return display ? (thing.regid.isEmpty() ? tr("No") : tr("Yes")) : QVariant();
    default:
        return {};
    }
}

bool ThingsStateTableModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid) || index.column() != ColAlias ||
        role != Qt::EditRole) {
        return false;
    }
    const ThingState &thing = m_rows[static_cast<size_t>(index.row())]->thing;
    const QString alias = cleanAlias(value.toString());
    if (alias.isEmpty() || alias == thing.alias) {
        return false;
    }
    emit renameRequested(thing.shortid, alias);
    emit dataChanged(index, index);
    return true;
}

int ThingsStateTableModel::rowOf(const QString &shortid) const
{
    const Row *const row = m_byShortid.value(shortid);
    return row == nullptr ? -1 : row->index;
}

void ThingsStateTableModel::append(const ThingState &thing)
{
    const qint64 changed = thing.gone ? 0 : QDateTime::currentMSecsSinceEpoch();
    m_rows.push_back(std::make_unique<Row>(Row{thing, int(m_rows.size()), changed}));
    m_byShortid.insert(thing.shortid, m_rows.back().get());
}

void ThingsStateTableModel::update(const ThingState &state)
{
    Row *const row = m_byShortid.value(state.shortid);
    if (row == nullptr) {
        const int end = rowCount();
        beginInsertRows({}, end, end);
        append(state);
        endInsertRows();
        return;
    }
    // Only what differs: dataChanged() resets an editor that is open in the column.
    ColumnSet columns;
    columns[ColAlias] = row->thing.alias != state.alias;
    columns[ColState] = row->thing.state != state.state;
    if (columns[ColState]) {
        row->changed = QDateTime::currentMSecsSinceEpoch();
    }
    columns[ColCloud] = row->thing.regid != state.regid || row->thing.gone != state.gone;
    row->thing = state;
    if (columns.any()) {
        m_changes[row] |= columns;
        if (!m_emitTimer.isActive()) {
            m_emitTimer.start();
        }
    }
}

// Emits one range for each column: unchanged rows in between cost a view nothing. Aliases go row
// by row, because an editor that is open in a row between would be reset.
void ThingsStateTableModel::emitChanges()
{
    struct Range
    {
        int first = -1;
        int last = -1;
    };
    std::array<Range, ColumnCount> ranges;
    QVector<int> aliases;
    for (auto change = m_changes.cbegin(); change != m_changes.cend(); ++change) {
        const int row = change.key()->index;
        for (const int column : {ColState, ColCloud}) {
            if (change.value()[size_t(column)]) {
                Range &range = ranges[size_t(column)];
                range.first = range.first < 0 ? row : qMin(range.first, row);
                range.last = qMax(range.last, row);
            }
        }
        if (change.value()[ColAlias]) {
            aliases.append(row);
        }
    }
    m_changes.clear();
    for (const int column : {ColState, ColCloud}) {
        const Range range = ranges[size_t(column)];
        if (range.first >= 0) {
            emit dataChanged(index(range.first, column), index(range.last, column));
        }
    }
    for (const int row : qAsConst(aliases)) {
        emit dataChanged(index(row, ColAlias), index(row, ColAlias));
    }
}

void ThingsStateTableModel::remove(const QString &shortid)
{
    Row *const row = m_byShortid.value(shortid);
    if (row == nullptr) {
        return;
    }
    const int removed = row->index;
    beginRemoveRows({}, removed, removed);
    m_byShortid.remove(shortid);
    m_changes.remove(row);
    m_rows.erase(m_rows.begin() + removed);
    for (size_t i = static_cast<size_t>(removed); i < m_rows.size(); ++i) {
        m_rows[i]->index = int(i);
    }
    endRemoveRows();
}

void ThingsStateTableModel::replaceAll(const ThingStateList &list)
{
    if (!m_rows.empty()) {
        beginRemoveRows({}, 0, rowCount() - 1);
        m_changes.clear();
        m_byShortid.clear();
        m_rows.clear();
        endRemoveRows();
    }
    QHash<QString, int> last;
    for (int i = 0; i < list.size(); ++i) {
        last.insert(list.at(i).shortid, i);
    }
    if (last.isEmpty()) {
        return;
    }
    beginInsertRows({}, 0, last.size() - 1);
    for (int i = 0; i < list.size(); ++i) {
        if (last.value(list.at(i).shortid) == i) {
            append(list.at(i));
        }
    }
    endInsertRows();
}
