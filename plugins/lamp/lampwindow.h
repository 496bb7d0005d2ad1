#pragma once

#include <QWidget>

class LampModel;
class QLabel;
class QTableView;

// The window of all lamps: lets the user press their switches, unplug them and plug them in again.
class LampWindow : public QWidget
{
    Q_OBJECT

public:
    // Owns `model`.
    LampWindow(LampModel *model, QWidget *parent);

private:
    void fitColumns();
    void updateSummary();

    LampModel *const m_model;
    QTableView *const m_table;
    QLabel *const m_summary;
};
