#include "ui/regthingseditor.h"

#include "settings/devicepool.h"
#include "settings/zusettings.h"
#include "ui/dialogs.h"
#include "ui/pagestyle.h"
#include "ui/thingsregtablemodel.h"

#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QShortcut>
#include <QTableView>
#include <QVBoxLayout>

namespace {

// The first names, and the number of the others.
QString listNames(const QStringList &names)
{
    constexpr int maxNames = 10;
    const QString text = names.mid(0, maxNames).join(QLatin1String(", "));
    return names.size() > maxNames ? RegThingsEditor::tr("%1 and %2 more")
                                         .arg(text, QString::number(names.size() - maxNames))
                                   : text;
}

} // namespace

RegThingsEditor::RegThingsEditor(QWidget *parent)
    : QWidget(parent)
    , m_model(new ThingsRegTableModel(this))
    , m_table(new QTableView(this))
    , m_hint(pagestyle::hint(tr("No devices are known yet. Devices that were named or registered "
                                "are remembered here."),
                             this))
    , m_forgetButton(pagestyle::button(tr("&Forget Selected"), "forgetButton", this))
{
    m_table->setObjectName("registeredThings");
    m_table->setAccessibleName(tr("Known devices"));
    m_table->setModel(m_model);
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    pagestyle::styleTable(m_table);
    QHeaderView *const header = m_table->horizontalHeader();

    const QKeySequence deleteKey(Qt::Key_Delete);
    auto *const shortcut = new QShortcut(deleteKey, m_table);
    shortcut->setContext(Qt::WidgetShortcut);
    connect(shortcut, &QShortcut::activated, m_forgetButton, &QPushButton::click);
    m_forgetButton->setToolTip(QStringLiteral("%1 (%2)").arg(
        m_forgetButton->accessibleName(), deleteKey.toString(QKeySequence::NativeText)));

    auto *const layout = new QVBoxLayout(this);
    layout->addWidget(m_table, 1);
    layout->addWidget(m_hint, 1);
    layout->addLayout(pagestyle::row({m_forgetButton}, Qt::AlignRight));

    sync();
    for (const int column : {ThingsRegTableModel::ColType, ThingsRegTableModel::ColVersion,
                             ThingsRegTableModel::ColSerial}) {
        header->setSectionResizeMode(column, QHeaderView::ResizeToContents);
    }
    header->setSectionResizeMode(ThingsRegTableModel::ColAlias, QHeaderView::Stretch);
    connect(m_table->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &RegThingsEditor::updateView);
    QMetaObject::connectSlotsByName(this);
}

void RegThingsEditor::sync()
{
    m_model->replaceAll(ZUSettings().pool()["devices"].toArray());
    updateView();
}

void RegThingsEditor::updateView()
{
    const bool empty = m_model->rowCount() == 0;
    m_table->setVisible(!empty);
    m_hint->setVisible(empty);
    m_forgetButton->setEnabled(m_table->selectionModel()->hasSelection());
}

void RegThingsEditor::on_forgetButton_clicked()
{
    QSet<QString> keys;
    QStringList registered;
    bool hasGateway = false;
    const QModelIndexList selected = m_table->selectionModel()->selectedRows();
    for (const QModelIndex &index : selected) {
        const PoolEntry entry = m_model->entry(index.row());
        keys.insert(entry.key());
        if (!entry.regid.isEmpty()) {
            registered.append(entry.alias.isEmpty() ? entry.key() : entry.alias);
            hasGateway = hasGateway || entry.type == QLatin1String("gateway");
        }
    }
    if (registered.isEmpty()) {
        forget(keys);
    } else if (hasGateway) {
        // Forgetting the gateway is the one action here that cannot be undone.
        dialogs::ask(this, tr("Gateway Registration"),
                     tr("The gateway itself is selected. Forgetting it voids the registration of "
                        "all devices. Proceed?"),
                     [this, keys] { forget(keys); });
    } else {
        dialogs::ask(this, tr("Forget Devices"),
                     tr("Registered with the cloud: %1.\nA device that is forgotten loses its name "
                        "and its registration, and the cloud hears nothing of it until it is "
                        "registered again. Proceed?")
                         .arg(dialogs::shortened(listNames(registered))),
                     [this, keys] { forget(keys); });
    }
}

void RegThingsEditor::forget(const QSet<QString> &keys)
{
    if (keys.isEmpty()) {
        return;
    }
    DevicePool::update([&keys](DevicePool &pool) { pool.remove(keys); });
    for (int row = m_model->rowCount() - 1; row >= 0; --row) {
        if (keys.contains(m_model->entry(row).key())) {
            m_model->removeRow(row);
        }
    }
    updateView();
    emit modified();
    emit forgotten(keys.values());
}
