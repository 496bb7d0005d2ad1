#pragma once

#include <QHash>
#include <QStandardItemModel>

// The things without an alias, each with a proposal that the user can edit. The proposals differ
// from each other and pass cleanAlias(). Interface thread.
class UnnamedThings : public QStandardItemModel
{
    Q_OBJECT

public:
    enum ColumnNames { ColType, ColSerial, ColAlias };

    explicit UnnamedThings(QObject *parent = nullptr);

    // False for an alias that is empty or taken.
    bool setData(const QModelIndex &index, const QVariant &value, int role) override;

    // Replaces the list of short ids, of which maxRows are shown. A thing that stays keeps its row
    // and its proposal.
    void show(const QStringList &sids);
    // Short id to alias.
    QHash<QString, QString> proposals() const;

    static constexpr int maxRows = 10000;
};
