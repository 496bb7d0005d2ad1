#include "ui/statepage.h"

#include "ui/pagestyle.h"
#include "ui/thingsstatetablemodel.h"

#include <QHeaderView>
#include <QLabel>
#include <QTableView>
#include <QVBoxLayout>

StatePage::StatePage(QWidget *parent)
    : QWidget(parent)
    , m_model(new ThingsStateTableModel(this))
    , m_table(new QTableView(this))
    , m_hint(pagestyle::hint(QString(), this))
{
    m_table->setObjectName("things");
    m_table->setAccessibleName(tr("Devices"));
    m_table->setModel(m_model);
    m_table->setSelectionMode(QAbstractItemView::SingleSelection);
    m_table->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed |
                             QAbstractItemView::SelectedClicked);
    pagestyle::styleTable(m_table);
    QHeaderView *const header = m_table->horizontalHeader();
    // By the visible rows only: measuring ten thousand would block the interface.
    header->setResizeContentsPrecision(0);
    header->setSectionResizeMode(QHeaderView::ResizeToContents);
    header->setSectionResizeMode(ThingsStateTableModel::ColState, QHeaderView::Stretch);

    auto *const layout = new QVBoxLayout(this);
    layout->addWidget(m_table, 1);
    layout->addWidget(m_hint);

    connect(m_model, &ThingsStateTableModel::renameRequested, this, &StatePage::renameRequested);
    connect(m_model, &ThingsStateTableModel::rowsInserted, this, &StatePage::updateHint);
    connect(m_model, &ThingsStateTableModel::rowsRemoved, this, &StatePage::updateHint);
    updateHint();
}

void StatePage::showThings(const ThingStateList &things)
{
    m_model->replaceAll(things);
}

void StatePage::showThing(const ThingState &thing)
{
    if (thing.gone) {
        m_model->remove(thing.shortid);
    } else {
        m_model->update(thing);
    }
}

void StatePage::showScanning(bool scanning)
{
    m_scanning = scanning;
    updateHint();
}

// The gateway itself always has a row.
void StatePage::updateHint()
{
    const bool isEmpty = m_model->rowCount() <= 1;
    m_hint->setVisible(isEmpty);
    if (isEmpty) {
        m_hint->setText(m_scanning
                            ? tr("Looking for devices…")
                            : tr("No devices found yet. Attach a device and press Rescan, or "
                                 "switch on its type under Device settings."));
    }
}
