#include "ui/devicelistmodel.h"

#include "ui/devicewords.h"
#include "ui/pagestyle.h"
#include "ui/thingsstatetablemodel.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QPalette>

#include <algorithm>
#include <chrono>
#include <numeric>

using namespace std::chrono_literals;
using Column = ThingsStateTableModel::ColumnNames;

namespace {

constexpr auto refreshPeriod = 1000ms;
constexpr auto newRowDelay = 50ms;
constexpr auto pause = 20ms;      // between two slices of the work
constexpr qint64 slice = 4000000; // nanoseconds
constexpr int maxRuns = 50;       // of inserted and removed rows: past them a reset is cheaper
constexpr int maxToolTipLength = 4000;

QString indented(const QJsonObject &state)
{
    const QString text = QString::fromUtf8(QJsonDocument(state).toJson()).trimmed();
    const QString cut =
        text.size() > maxToolTipLength ? text.left(maxToolTipLength) + QChar(0x2026) : text;
    return QLatin1String("<p style='white-space:pre'>") + cut.toHtmlEscaped() +
           QLatin1String("</p>");
}

bool isDigit(QChar character)
{
    return character >= QLatin1Char('0') && character <= QLatin1Char('9');
}

// Keys compare as their texts do, whatever the case, but for runs of digits, which compare as
// numbers. QCollator's sort keys differ for equal texts on Windows (Qt 5.15 leaves half of their
// bytes uninitialised), and comparing with QCollator itself takes too long for ten thousand rows.
QString naturalKey(const QString &text)
{
    const QString folded = text.toCaseFolded();
    QString key;
    for (int i = 0; i < folded.size();) {
        if (!isDigit(folded.at(i))) {
            key += folded.at(i++);
            continue;
        }
        while (i + 1 < folded.size() && folded.at(i) == QLatin1Char('0') &&
               isDigit(folded.at(i + 1))) {
            ++i;
        }
        int end = i;
        while (end < folded.size() && isDigit(folded.at(end))) {
            ++end;
        }
        // The longer number is the greater one; the zero puts numbers where digits are.
        key += QLatin1Char('0') + QChar(ushort(end - i)) + folded.midRef(i, end - i);
        i = end;
    }
    return key;
}

} // namespace

DeviceListModel::DeviceListModel(ThingsStateTableModel &live, ThingsStateTableModel &absent,
                                 const DeviceWords &words, QObject *parent)
    : QAbstractProxyModel(parent)
    , m_live(live)
    , m_absent(absent)
    , m_words(words)
{
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &DeviceListModel::refreshDirty);
    m_all.addSourceModel(&live);
    m_all.addSourceModel(&absent);
    setSourceModel(&m_all);
    using Source = QAbstractItemModel;
    connect(&m_all, &Source::rowsInserted, this,
            [this](const QModelIndex &, int first, int last) { sourceInserted(first, last); });
    connect(
        &m_all, &Source::rowsAboutToBeRemoved, this,
        [this](const QModelIndex &, int first, int last) { sourceAboutToBeRemoved(first, last); });
    connect(&m_all, &Source::rowsRemoved, this,
            [this](const QModelIndex &, int first, int last) { sourceRemoved(first, last); });
    connect(&m_all, &Source::dataChanged, this, &DeviceListModel::sourceChanged);
    sourceInserted(0, m_all.rowCount() - 1);
}

QModelIndex DeviceListModel::index(int row, int column, const QModelIndex &parent) const
{
    return hasIndex(row, column, parent) ? createIndex(row, column) : QModelIndex();
}

QModelIndex DeviceListModel::parent(const QModelIndex & /*child*/) const
{
    return {};
}

int DeviceListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

int DeviceListModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(Column::ColumnCount);
}

QModelIndex DeviceListModel::mapToSource(const QModelIndex &index) const
{
    return index.isValid() ? m_all.index(m_rows[size_t(index.row())], index.column())
                           : QModelIndex();
}

QModelIndex DeviceListModel::mapFromSource(const QModelIndex &index) const
{
    return index.isValid() ? this->index(m_entries[size_t(index.row())].row, index.column())
                           : QModelIndex();
}

QVariant DeviceListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    return m_live.headerData(section, orientation, role);
}

QVariant DeviceListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) {
        return {};
    }
    const ThingState &thing = this->thing(index.row());
    const int column = index.column();
    switch (role) {
    case Qt::DisplayRole:
        return text(m_rows[size_t(index.row())], column);
    case Qt::ToolTipRole:
        if (column == Column::ColState) {
            return indented(thing.state);
        }
        if (column == Column::ColAlias) {
            return thing.alias.isEmpty() ? tr("Double-click or press F2 to give it a name")
                                         : pagestyle::toolTip(thing.alias);
        }
        break;
    case Qt::ForegroundRole:
        if (thing.gone) {
            return QGuiApplication::palette().brush(QPalette::Disabled, QPalette::Text);
        }
        break;
    case Qt::DecorationRole:
        if (thing.gone) {
            return {};
        }
        break;
    default:
        break;
    }
    return mapToSource(index).data(role);
}

Qt::ItemFlags DeviceListModel::flags(const QModelIndex &index) const
{
    const Qt::ItemFlags flags = mapToSource(index).flags();
    return index.isValid() && thing(index.row()).gone ? flags & ~Qt::ItemIsEditable : flags;
}

void DeviceListModel::sort(int column, Qt::SortOrder order)
{
    m_sortColumn = column;
    m_order = order;
    refreshAll();
}

void DeviceListModel::setFilter(const QString &text)
{
    m_filter = text.simplified();
    refreshAll();
}

void DeviceListModel::updateWords()
{
    refreshAll();
    for (const int column : {Column::ColType, Column::ColState}) {
        if (rowCount() > 0) {
            emit dataChanged(index(0, column), index(rowCount() - 1, column));
        }
    }
}

const ThingState &DeviceListModel::thing(int row) const
{
    const auto &[model, modelRow] = origin(m_rows[size_t(row)]);
    return model.thing(modelRow);
}

qint64 DeviceListModel::lastChange(int row) const
{
    const auto &[model, modelRow] = origin(m_rows[size_t(row)]);
    return model.lastChange(modelRow);
}

int DeviceListModel::rowOf(const QString &shortid) const
{
    int source = m_live.rowOf(shortid);
    if (source < 0) {
        const int row = m_absent.rowOf(shortid);
        source = row < 0 ? -1 : m_live.rowCount() + row;
    }
    return source < 0 ? -1 : m_entries[size_t(source)].row;
}

std::pair<const ThingsStateTableModel &, int> DeviceListModel::origin(int source) const
{
    const int live = m_live.rowCount();
    if (source < live) {
        return {m_live, source};
    }
    return {m_absent, source - live};
}

QString DeviceListModel::text(int source, int column) const
{
    const auto &[model, row] = origin(source);
    const ThingState &thing = model.thing(row);
    switch (column) {
    case Column::ColType:
        return m_words.typeTitle(DeviceWords::typeOf(thing.shortid));
    case Column::ColState:
        return thing.gone ? tr("not here")
                          : m_words.stateLine(DeviceWords::typeOf(thing.shortid), thing.state);
    default:
        return model.index(row, column).data().toString();
    }
}

bool DeviceListModel::isAccepted(int source) const
{
    for (int column = 0; column < Column::ColumnCount; ++column) {
        if (text(source, column).contains(m_filter, Qt::CaseInsensitive)) {
            return true;
        }
    }
    return false;
}

void DeviceListModel::refresh(int source)
{
    Entry &entry = m_entries[size_t(source)];
    const bool accepted = m_filter.isEmpty() || isAccepted(source);
    m_isOutdated = m_isOutdated || accepted != (entry.row >= 0);
    entry.isAccepted = accepted;
    if (m_sortColumn < 0) {
        entry.key.reset();
        return;
    }
    QString key = naturalKey(text(source, m_sortColumn));
    m_isOutdated = m_isOutdated || entry.key != key;
    entry.key = std::move(key);
}

void DeviceListModel::refreshAll()
{
    for (size_t source = 0; source < m_entries.size(); ++source) {
        m_entries[source].isDirty = false;
        refresh(int(source));
    }
    m_dirty.clear();
    m_timer.stop();
    arrange();
}

void DeviceListModel::markDirty(int source)
{
    Entry &entry = m_entries[size_t(source)];
    if (!entry.isDirty) {
        entry.isDirty = true;
        m_dirty.push_back(source);
    }
}

void DeviceListModel::refreshDirty()
{
    QElapsedTimer clock;
    clock.start();
    while (!m_dirty.empty()) {
        if (clock.nsecsElapsed() > slice) {
            m_timer.start(pause);
            return;
        }
        const int source = m_dirty.back();
        m_dirty.pop_back();
        m_entries[size_t(source)].isDirty = false;
        refresh(source);
    }
    if (m_isOutdated) {
        arrange();
    }
}

void DeviceListModel::arrange()
{
    m_isOutdated = false;
    std::vector<int> rows;
    rows.reserve(m_entries.size());
    for (size_t source = 0; source < m_entries.size(); ++source) {
        // One that is new has no key before its first refresh().
        if (m_entries[source].isAccepted && (m_sortColumn < 0 || m_entries[source].key)) {
            rows.push_back(int(source));
        }
    }
    if (m_sortColumn >= 0) {
        const bool descending = m_order == Qt::DescendingOrder;
        std::stable_sort(rows.begin(), rows.end(), [&](int left, int right) {
            const QString &a = *m_entries[size_t(left)].key;
            const QString &b = *m_entries[size_t(right)].key;
            return descending ? b < a : a < b;
        });
    }
    setRows(rows);
}

// Tells the views as exactly as is cheap: selection and an open editor survive all but a reset.
void DeviceListModel::setRows(const std::vector<int> &rows)
{
    std::vector<bool> wanted(m_entries.size(), false);
    int runs = 0;
    for (size_t i = 0; i < rows.size(); ++i) {
        wanted[size_t(rows[i])] = true;
        const bool isNew = m_entries[size_t(rows[i])].row < 0;
        runs += isNew && (i == 0 || m_entries[size_t(rows[i - 1])].row >= 0) ? 1 : 0;
    }
    const auto isWanted = [&](int row) { return wanted[size_t(m_rows[size_t(row)])]; };
    const int size = rowCount();
    for (int row = 0; row < size; ++row) {
        runs += !isWanted(row) && (row == 0 || isWanted(row - 1)) ? 1 : 0;
    }
    if (runs > maxRuns) {
        beginResetModel();
        for (const int source : m_rows) {
            m_entries[size_t(source)].row = -1;
        }
        m_rows = rows;
        renumber(0);
        endResetModel();
        return;
    }
    for (int last = size - 1; last >= 0; --last) {
        if (isWanted(last)) {
            continue;
        }
        int first = last;
        while (first > 0 && !isWanted(first - 1)) {
            --first;
        }
        hideRows(first, last);
        last = first;
    }
    std::vector<int> kept;
    std::copy_if(rows.begin(), rows.end(), std::back_inserter(kept),
                 [this](int source) { return m_entries[size_t(source)].row >= 0; });
    if (kept != m_rows) {
        reorder(kept);
    }
    for (size_t first = 0; first < rows.size(); ++first) {
        size_t end = first;
        while (end < rows.size() && m_entries[size_t(rows[end])].row < 0) {
            ++end;
        }
        if (end > first) {
            beginInsertRows({}, int(first), int(end) - 1);
            m_rows.insert(m_rows.begin() + int(first), rows.begin() + int(first),
                          rows.begin() + int(end));
            renumber(first);
            endInsertRows();
            first = end - 1;
        }
    }
}

void DeviceListModel::hideRows(int first, int last)
{
    beginRemoveRows({}, first, last);
    for (int row = first; row <= last; ++row) {
        m_entries[size_t(m_rows[size_t(row)])].row = -1;
    }
    m_rows.erase(m_rows.begin() + first, m_rows.begin() + last + 1);
    renumber(size_t(first));
    endRemoveRows();
}

void DeviceListModel::reorder(const std::vector<int> &rows)
{
    emit layoutAboutToBeChanged({}, VerticalSortHint);
    const QModelIndexList from = persistentIndexList();
    const std::vector<int> before = std::exchange(m_rows, rows);
    renumber(0);
    QModelIndexList to;
    for (const QModelIndex &index : from) {
        const int source = before[size_t(index.row())];
        to.append(createIndex(m_entries[size_t(source)].row, index.column()));
    }
    changePersistentIndexList(from, to);
    emit layoutChanged({}, VerticalSortHint);
}

void DeviceListModel::renumber(size_t from)
{
    for (size_t row = from; row < m_rows.size(); ++row) {
        m_entries[size_t(m_rows[row])].row = int(row);
    }
}

void DeviceListModel::sourceInserted(int first, int last)
{
    const int count = last - first + 1;
    if (count <= 0) {
        return;
    }
    const auto shift = [&](std::vector<int> &sources) {
        for (int &source : sources) {
            source += source >= first ? count : 0;
        }
    };
    shift(m_rows); // first: views may read the present rows when they are told of new ones
    shift(m_dirty);
    m_entries.insert(m_entries.begin() + first, size_t(count), Entry{});
    if (isPlain()) { // all rows are shown, in the order of the source
        beginInsertRows({}, first, last);
        std::vector<int> added(static_cast<size_t>(count));
        std::iota(added.begin(), added.end(), first);
        m_rows.insert(m_rows.begin() + first, added.begin(), added.end());
        renumber(size_t(first));
        endInsertRows();
        return;
    }
    if (count > 1) { // a new list, in which the caller may look for a device
        refreshAll();
        return;
    }
    m_entries[size_t(first)].isAccepted = false;
    markDirty(first);
    // Not later than that, even if devices never stop to come.
    if (!m_timer.isActive() || m_timer.remainingTimeAsDuration() > newRowDelay) {
        m_timer.start(newRowDelay);
    }
}

void DeviceListModel::sourceAboutToBeRemoved(int first, int last)
{
    if (first == last) { // ten thousand devices leave one by one
        const int row = m_entries[size_t(first)].row;
        if (row >= 0) {
            hideRows(row, row);
        }
        return;
    }
    std::vector<int> rows;
    rows.reserve(m_rows.size());
    std::copy_if(m_rows.begin(), m_rows.end(), std::back_inserter(rows),
                 [&](int source) { return source < first || source > last; });
    setRows(rows);
}

void DeviceListModel::sourceRemoved(int first, int last)
{
    const int count = last - first + 1;
    m_entries.erase(m_entries.begin() + first, m_entries.begin() + last + 1);
    m_dirty.erase(std::remove_if(m_dirty.begin(), m_dirty.end(),
                                 [&](int source) { return source >= first && source <= last; }),
                  m_dirty.end());
    for (std::vector<int> *const sources : {&m_rows, &m_dirty}) {
        for (int &source : *sources) {
            source -= source > last ? count : 0;
        }
    }
}

void DeviceListModel::sourceChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight)
{
    int first = rowCount();
    int last = -1;
    const bool isCompared = !m_filter.isEmpty() || (m_sortColumn >= topLeft.column() &&
                                                    m_sortColumn <= bottomRight.column());
    for (int source = topLeft.row(); source <= bottomRight.row(); ++source) {
        const int row = m_entries[size_t(source)].row;
        if (row >= 0) {
            first = std::min(first, row);
            last = std::max(last, row);
        }
        if (isCompared) {
            markDirty(source);
        }
    }
    if (last >= 0) {
        emit dataChanged(index(first, topLeft.column()), index(last, bottomRight.column()));
    }
    if (!m_dirty.empty() && !m_timer.isActive()) {
        m_timer.start(refreshPeriod);
    }
}
