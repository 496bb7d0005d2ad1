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
    // By what is on the screen: measuring ten thousand rows would hold up the interface.
    header->setResizeContentsPrecision(0);
    header->setSectionResizeMode(QHeaderView::ResizeToContents);
    header->setSectionResizeMode(ThingsStateTableModel::ColState, QHeaderView::Stretch);

    auto *const layout = new QVBoxLayout(this);
    layout->addWidget(m_table, 1);
    layout->addWidget(m_hint);

    connect(m_model, &ThingsStateTableModel::renameRequested, this, &StatePage::renameRequested);
    connect(m_model, &ThingsStateTableModel::rowsInserted, this, &StatePage::showHint);
    connect(m_model, &ThingsStateTableModel::rowsRemoved, this, &StatePage::showHint);
    showHint();
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

void StatePage::showScanning(bool on)
{
    m_scanning = on;
    showHint();
}

// The gateway itself is always there.
void StatePage::showHint()
{
    const bool none = m_model->rowCount() <= 1;
    m_hint->setVisible(none);
    if (none) {
        m_hint->setText(m_scanning
                            ? tr("Looking for devices…")
                            : tr("No devices found yet. Attach a device and press Rescan, or "
                                 "switch on its type under Device settings."));
    }
}
