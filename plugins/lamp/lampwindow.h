#pragma once

#include <QWidget>

class LampModel;
class QLabel;
class QTableView;

// The window of all lamps: switches them as someone at the device would, unplugs them and plugs
// them in again.
class LampWindow : public QWidget
{
    Q_OBJECT

public:
    // Owns `model`.
    LampWindow(LampModel *model, QWidget *parent);

private:
    void fitTable();
    void summarise();

    LampModel *const m_model;
    QTableView *const m_table;
    QLabel *const m_summary;
};
