#include "ui/devicetable.h"

#include "settings/settingsstore.h"
#include "ui/devicelistmodel.h"
#include "ui/pagestyle.h"
#include "ui/thingsstatetablemodel.h"
#include "ui/widgets/contrast.h"

#include <QClipboard>
#include <QContextMenuEvent>
#include <QGuiApplication>
#include <QHeaderView>
#include <QStyledItemDelegate>

#include <algorithm>
#include <vector>

using Column = ThingsStateTableModel::ColumnNames;

namespace {

constexpr int measuredRows = 200; // measuring ten thousand would block the interface
constexpr int minWidth = 40;      // pixels, of a stored column
constexpr int maxWidth = 4000;

// Shows where a name is missing that a double click gives one, and the registration's colour as a
// dot that stands out from any ground.
class CellDelegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

protected:
    void initStyleOption(QStyleOptionViewItem *option, const QModelIndex &index) const override
    {
        QStyledItemDelegate::initStyleOption(option, index);
        const QVariant decoration = index.data(Qt::DecorationRole);
        if (decoration.userType() == QMetaType::QColor) {
            const QPixmap dot =
                statusDot(decoration.value<QColor>(), option->decorationSize.height(),
                          option->widget->devicePixelRatioF(), option->palette);
            option->icon = QIcon(dot);
            option->icon.addPixmap(dot, QIcon::Selected); // without a tint
        }
        if (option->text.isEmpty() && (index.flags() & Qt::ItemIsEditable)) {
            option->text = DeviceTable::tr("name it…");
            option->features |= QStyleOptionViewItem::HasDisplay;
            option->font.setItalic(true);
            option->palette.setBrush(QPalette::Text,
                                     option->palette.brush(QPalette::Disabled, QPalette::Text));
        }
    }
};

} // namespace

DeviceTable::DeviceTable(DeviceListModel &model, QWidget *parent)
    : QTableView(parent)
    , m_model(model)
{
    setObjectName("things");
    setAccessibleName(tr("Devices"));
    setModel(&model);
    setItemDelegate(new CellDelegate(this));
    setSelectionMode(ExtendedSelection);
    setEditTriggers(DoubleClicked | EditKeyPressed | SelectedClicked);
    pagestyle::styleTable(this);
    QHeaderView *const header = horizontalHeader();
    header->setMaximumSectionSize(-1);
    header->setMinimumSectionSize(minWidth);
    header->setSectionResizeMode(QHeaderView::Interactive);
    header->setSectionResizeMode(Column::ColState, QHeaderView::Stretch);
    header->setSectionsMovable(true);
    header->setSectionsClickable(true);
    header->setSortIndicatorShown(true);
    header->setSortIndicator(-1, Qt::AscendingOrder);
    connect(header, &QHeaderView::sectionClicked, this, &DeviceTable::sortBy);
    restoreColumns();
    connect(header, &QHeaderView::sectionMoved, this, [this] { m_isDragged = true; });
    connect(header, &QHeaderView::sectionResized, this, [this](int column) {
        // The states' column follows the width of the table.
        m_isDragged = m_isDragged || (!m_isFitting && column != Column::ColState);
    });
    connect(&model, &QAbstractItemModel::modelAboutToBeReset, this, [this] {
        m_selectedBeforeReset = selected();
        m_currentBeforeReset = current();
    });
    connect(&model, &QAbstractItemModel::modelReset, this,
            [this] { select(m_selectedBeforeReset, m_currentBeforeReset); });
}

void DeviceTable::storeColumns() const
{
    if (!m_isDragged) {
        return;
    }
    QStringList columns;
    for (int place = 0; place < model()->columnCount(); ++place) {
        const int column = horizontalHeader()->logicalIndex(place);
        columns += QStringLiteral("%1:%2").arg(column).arg(columnWidth(column));
    }
    SettingsStore().set(keys::StateColumns, columns.join(QLatin1Char(' ')));
}

// "column:width" of each, from left to right. Users can edit it.
void DeviceTable::restoreColumns()
{
    const QStringList stored =
        SettingsStore().value(keys::StateColumns).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    QVector<int> order;
    QVector<int> widths;
    for (const QString &column : stored.mid(0, Column::ColumnCount)) {
        const int number = column.section(QLatin1Char(':'), 0, 0).toInt();
        if (number >= 0 && number < Column::ColumnCount && !order.contains(number)) {
            order += number;
            widths += qBound(minWidth, column.section(QLatin1Char(':'), 1).toInt(), maxWidth);
        }
    }
    m_isDragged = order.size() == Column::ColumnCount;
    for (int place = 0; m_isDragged && place < order.size(); ++place) {
        QHeaderView *const header = horizontalHeader();
        header->moveSection(header->visualIndex(order[place]), place);
        if (order[place] != Column::ColState) {
            header->resizeSection(order[place], widths[place]);
        }
    }
}

void DeviceTable::fitColumns()
{
    if (m_isDragged || !isVisible()) { // measuring takes long
        return;
    }
    m_isFitting = true;
    QHeaderView *const header = horizontalHeader();
    header->setResizeContentsPrecision(measuredRows);
    const int widest = fontMetrics().averageCharWidth() * 18;
    for (const int column :
         {Column::ColType, Column::ColSerial, Column::ColAlias, Column::ColCloud}) {
        const int content = sizeHintForColumn(column) + fontMetrics().averageCharWidth();
        const int fitting = qMax(qMin(widest, content), header->sectionSizeHint(column));
        if (columnWidth(column) < fitting || !m_isFitted) {
            setColumnWidth(column, fitting);
        }
    }
    m_isFitted = true;
    m_isFitting = false;
}

int DeviceTable::usefulWidth() const
{
    const int others = horizontalHeader()->length() - columnWidth(Column::ColState);
    return m_isDragged ? 0 : others + fontMetrics().averageCharWidth() * 14;
}

QStringList DeviceTable::selected() const
{
    QModelIndexList rows = selectionModel()->selectedRows();
    std::sort(rows.begin(), rows.end());
    QStringList shortids;
    for (const QModelIndex &row : qAsConst(rows)) {
        shortids += m_model.thing(row.row()).shortid;
    }
    return shortids;
}

QString DeviceTable::current() const
{
    return currentIndex().isValid() ? m_model.thing(currentIndex().row()).shortid : QString();
}

void DeviceTable::select(const QStringList &shortids, const QString &current)
{
    std::vector<int> rows;
    for (const QString &shortid : shortids) {
        const int row = m_model.rowOf(shortid);
        if (row >= 0) {
            rows.push_back(row);
        }
    }
    std::sort(rows.begin(), rows.end());
    QItemSelection selection; // of few ranges: its costs grow with their square
    for (size_t first = 0, end = 0; first < rows.size(); first = end) {
        while (end < rows.size() && rows[end] - rows[first] == int(end - first)) {
            ++end;
        }
        selection.select(m_model.index(rows[first], 0),
                         m_model.index(rows[end - 1], Column::ColumnCount - 1));
    }
    selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
    const int row = m_model.rowOf(current);
    if (row >= 0) {
        selectionModel()->setCurrentIndex(m_model.index(row, Column::ColAlias),
                                          QItemSelectionModel::NoUpdate);
    }
    emit currentChangedTo(this->current());
}

// QHeaderView has turned the indicator already.
void DeviceTable::sortBy(int column)
{
    QHeaderView *const header = horizontalHeader();
    if (column == m_sortedColumn && m_wasDescending) {
        header->setSortIndicator(-1, Qt::AscendingOrder);
    }
    m_sortedColumn = header->sortIndicatorSection();
    m_wasDescending = header->sortIndicatorOrder() == Qt::DescendingOrder;
    m_model.sort(m_sortedColumn, header->sortIndicatorOrder());
}

// F2 renames from any column.
bool DeviceTable::edit(const QModelIndex &index, EditTrigger trigger, QEvent *event)
{
    const bool byKey = trigger == EditKeyPressed && index.isValid();
    return QTableView::edit(byKey ? index.siblingAtColumn(Column::ColAlias) : index, trigger,
                            event);
}

// Home and End lead to the first and the last row, as in a list.
QModelIndex DeviceTable::moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers)
{
    const bool isEdge = action == MoveHome || action == MoveEnd;
    return QTableView::moveCursor(action, isEdge ? modifiers | Qt::ControlModifier : modifiers);
}

void DeviceTable::keyPressEvent(QKeyEvent *event)
{
    if (event->matches(QKeySequence::Copy)) {
        copySelected(); // QTableView would copy the current cell alone
        event->accept();
        return;
    }
    QTableView::keyPressEvent(event);
}

void DeviceTable::copySelected() const
{
    QModelIndexList rows = selectionModel()->selectedRows();
    std::sort(rows.begin(), rows.end());
    QStringList lines;
    for (const QModelIndex &row : qAsConst(rows)) {
        QStringList cells;
        for (int column = 0; column < Column::ColumnCount; ++column) {
            cells += row.siblingAtColumn(column).data().toString().simplified();
        }
        lines += cells.join(QLatin1Char('\t'));
    }
    if (!lines.isEmpty()) {
        QGuiApplication::clipboard()->setText(lines.join(QLatin1Char('\n')));
    }
}

void DeviceTable::contextMenuEvent(QContextMenuEvent *event)
{
    const bool byKey = event->reason() == QContextMenuEvent::Keyboard;
    if (currentIndex().isValid() && (byKey || indexAt(event->pos()).isValid())) {
        emit menuRequested(byKey ? viewport()->mapToGlobal(visualRect(currentIndex()).center())
                                 : event->globalPos());
    }
}

void DeviceTable::currentChanged(const QModelIndex &current, const QModelIndex &previous)
{
    QTableView::currentChanged(current, previous);
    emit currentChangedTo(this->current());
}

// QTableView would make the row after it the current one, and select it.
void DeviceTable::rowsAboutToBeRemoved(const QModelIndex &parent, int start, int end)
{
    const int row = currentIndex().row();
    if (row >= start && row <= end) {
        selectionModel()->setCurrentIndex({}, QItemSelectionModel::NoUpdate);
    }
    QTableView::rowsAboutToBeRemoved(parent, start, end);
}
