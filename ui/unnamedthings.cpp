#include "ui/unnamedthings.h"

#include "ui/aliasrule.h"

#include <QSet>

namespace {

constexpr int sidRole = Qt::UserRole; // of the first column

QStandardItem *readOnly(const QString &text)
{
    auto *const item = new QStandardItem(text);
    item->setEditable(false);
    return item;
}

} // namespace

UnnamedThings::UnnamedThings(QObject *parent)
    : QStandardItemModel(parent)
{
    setHorizontalHeaderLabels({tr("Type"), tr("Serial"), tr("Proposed name")});
}

bool UnnamedThings::setData(const QModelIndex &index, const QVariant &value, int role)
{
    const QString alias = cleanAlias(value.toString());
    return !alias.isEmpty() && findItems(alias, Qt::MatchExactly, ColAlias).isEmpty() &&
           QStandardItemModel::setData(index, alias, role);
}

void UnnamedThings::show(const QStringList &sids)
{
    const QStringList wanted = sids.mid(0, maxRows);
    const QSet<QString> staying(wanted.cbegin(), wanted.cend());
    // Row by row instead of a reset, which would close an open editor.
    for (int row = rowCount() - 1; row >= 0; --row) {
        if (!staying.contains(item(row)->data(sidRole).toString())) {
            removeRow(row);
        }
    }
    QHash<QString, QString> known = proposals();
    QSet<QString> used(known.cbegin(), known.cend());
    for (const QString &sid : wanted) {
        if (known.contains(sid)) {
            continue;
        }
        const QString type = typeOfShortId(sid);
        QString alias = randomAlias(type);
        while (used.contains(alias)) {
            alias = randomAlias(type);
        }
        used.insert(alias);
        known.insert(sid, alias);
        QStandardItem *const first = readOnly(type);
        first->setData(sid, sidRole);
        appendRow({first, readOnly(serialOfShortId(sid)), new QStandardItem(alias)});
    }
}

QHash<QString, QString> UnnamedThings::proposals() const
{
    QHash<QString, QString> proposals;
    for (int row = 0; row < rowCount(); ++row) {
        proposals.insert(item(row)->data(sidRole).toString(), item(row, ColAlias)->text());
    }
    return proposals;
}
