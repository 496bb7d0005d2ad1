#pragma once

#include <QSet>
#include <QWidget>

class QLabel;
class QPushButton;
class QTableView;
class ThingsRegTableModel;

// The page of known devices: shows the stored pool and forgets what the user selects. Interface
// thread.
class RegThingsEditor : public QWidget
{
    Q_OBJECT

public:
    explicit RegThingsEditor(QWidget *parent = nullptr);

public slots:
    // Shows the pool as it is stored now.
    void sync();
    // Removes the selected devices from the stored pool. What the runner has stored meanwhile
    // about the others stays.
    void on_forgetButton_clicked();

signals:
    // The stored pool has changed.
    void modified();
    // Follows modified(), with the short ids of the devices that were removed.
    void forgotten(const QStringList &shortids);

private:
    void updateView();
    void forget(const QSet<QString> &keys);

    ThingsRegTableModel *m_model;
    QTableView *m_table;
    QLabel *m_hint;
    QPushButton *m_forgetButton;
};
