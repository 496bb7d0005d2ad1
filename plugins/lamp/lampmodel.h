#pragma once

#include "plugins/lamp/lampbatch.h"

#include <QAbstractTableModel>
#include <QTimer>

#include <memory>

// The lamps as the window lists them, one row for each number. Needs no display. Made on the
// lamps' thread, then moved to the interface thread with its parent. It changes only by what the
// lamps tell: what the user does is a signal to them.
class LampModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column { Name, On, Brightness, Color, Plugged, ColumnCount };

    LampModel();

    // Expires with the model; the one thing here that any thread may ask.
    std::weak_ptr<const bool> life() const;
    // How many lamps are on and how many are unplugged.
    int lit() const;
    int unplugged() const;
    // As long as any that the column may hold.
    static QString widestText(Column column);

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role) override;

public slots:
    // Answered by taken() after a pause, in which changes are gathered.
    void take(const LampBatch &batch);

signals:
    void taken();
    // After each batch.
    void updated();
    void switchPressed(int number);
    void plugMoved(int number, bool plugged);

private:
    void setCount(int count);
    void count(const LampRecord &lamp, int step);
    static QString text(const LampRecord &lamp, int column);
    static QString accessibleText(const LampRecord &lamp, int column);
    static QVariant checkState(const LampRecord &lamp, int column);

    const std::shared_ptr<const bool> m_life = std::make_shared<const bool>(true);
    QVector<LampRecord> m_lamps; // the lamp with number n at n - 1
    int m_lit = 0;
    int m_unplugged = 0;
    QTimer m_pause;
};
