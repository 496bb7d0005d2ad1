#include "plugins/lamp/lampwindow.h"

#include "plugins/lamp/lampmodel.h"

#include <QHeaderView>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <QStyledItemDelegate>
#include <QTableView>
#include <QVBoxLayout>

#include <algorithm>

namespace {

// Toggles a check box by a click anywhere in its cell, and draws a visible frame round check boxes
// and colours: some styles draw an empty box in nearly the colour of the background.
class LampDelegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter *painter, const QStyleOptionViewItem &option,
               const QModelIndex &index) const override
    {
        QStyledItemDelegate::paint(painter, option, index);
        QStyleOptionViewItem cell = option;
        initStyleOption(&cell, index);
        painter->save();
        painter->setPen(cell.palette.color(QPalette::Text));
        const auto frame = [&](QStyleOptionViewItem::ViewItemFeature feature,
                               QStyle::SubElement element) {
            if (cell.features.testFlag(feature)) {
                const QStyle *const style = cell.widget->style();
                painter->drawRect(
                    style->subElementRect(element, &cell, cell.widget).adjusted(0, 0, -1, -1));
            }
        };
        frame(QStyleOptionViewItem::HasDecoration, QStyle::SE_ItemViewItemDecoration);
        frame(QStyleOptionViewItem::HasCheckIndicator, QStyle::SE_ItemViewItemCheckIndicator);
        painter->restore();
    }

protected:
    bool editorEvent(QEvent *event, QAbstractItemModel *model, const QStyleOptionViewItem &option,
                     const QModelIndex &index) override
    {
        if (event->type() == QEvent::KeyPress) {
            return QStyledItemDelegate::editorEvent(event, model, option, index);
        }
        if (event->type() != QEvent::MouseButtonRelease ||
            static_cast<QMouseEvent *>(event)->button() != Qt::LeftButton) {
            return false;
        }
        const bool checked = index.data(Qt::CheckStateRole).toInt() == Qt::Checked;
        return model->setData(index, checked ? Qt::Unchecked : Qt::Checked, Qt::CheckStateRole);
    }
};

} // namespace

LampWindow::LampWindow(LampModel *model, QWidget *parent)
    : QWidget(parent, Qt::Window)
    , m_model(model)
    , m_table(new QTableView(this))
    , m_summary(new QLabel(this))
{
    setObjectName("lampWindow");
    setWindowTitle(tr("Lamps"));

    model->setParent(this);
    m_table->setObjectName("lampTable");
    m_table->setAccessibleName(tr("Lamps"));
    m_table->setItemDelegate(new LampDelegate(m_table));
    m_table->setSelectionMode(QAbstractItemView::SingleSelection);
    m_table->setTabKeyNavigation(false);
    m_table->setShowGrid(false);
    m_table->setAlternatingRowColors(true);
    m_table->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    m_table->setModel(model);
    m_summary->setObjectName("lampSummary");
    m_summary->setTextFormat(Qt::PlainText);
    m_summary->setWordWrap(true);

    auto *const layout = new QVBoxLayout(this);
    layout->addWidget(m_table);
    layout->addWidget(m_summary);
    fitColumns();
    connect(model, &LampModel::batchApplied, this, &LampWindow::updateSummary);
    updateSummary();
}

// Once, for the widest texts: measuring the rows at every change would cost too much.
void LampWindow::fitColumns()
{
    QHeaderView *const header = m_table->horizontalHeader();
    header->setDefaultAlignment(Qt::AlignLeading | Qt::AlignVCenter);
    header->setHighlightSections(false);
    const QFontMetrics metrics = m_table->fontMetrics();
    const int icon = std::max(m_table->style()->pixelMetric(QStyle::PM_SmallIconSize),
                              m_table->style()->pixelMetric(QStyle::PM_IndicatorWidth));
    const int space = 2 * metrics.horizontalAdvance('x');
    int width = m_table->style()->pixelMetric(QStyle::PM_ScrollBarExtent) + 2 * space;
    for (int i = 0; i < LampModel::ColumnCount; ++i) {
        const auto column = static_cast<LampModel::Column>(i);
        const bool hasIcon = column != LampModel::Name && column != LampModel::Brightness;
        const int cell =
            metrics.horizontalAdvance(LampModel::widestText(column)) + space + (hasIcon ? icon : 0);
        const int minWidth = header->sectionSizeHint(i);
        // The last column gets the rest of the width: elided text is better than a scroll bar.
        header->resizeSection(i,
                              column == LampModel::Plugged ? minWidth : std::max(minWidth, cell));
        width += std::max(minWidth, cell);
    }
    header->setStretchLastSection(true);

    QHeaderView *const rows = m_table->verticalHeader();
    rows->hide();
    rows->setSectionResizeMode(QHeaderView::Fixed);
    rows->setDefaultSectionSize(std::max(metrics.height(), icon) + space / 2);
    const QSize wanted(width, 14 * rows->defaultSectionSize());
    resize(wanted.boundedTo(screen()->availableSize() * 9 / 10));
}

void LampWindow::updateSummary()
{
    const int count = m_model->rowCount();
    const int unplugged = m_model->unpluggedCount();
    if (count == 0) {
        m_summary->setText(tr("There are no lamps. Their number is under Device settings."));
    } else if (unplugged == count) {
        m_summary->setText(tr("All lamps are unplugged. Check \"Plugged in\" to bring one back."));
    } else {
        m_summary->setText(
            tr("On: %1 of %2. Unplugged: %3.").arg(m_model->litCount()).arg(count).arg(unplugged));
    }
}
