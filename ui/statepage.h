#pragma once

#include "things/thingstate.h"

#include <QWidget>

class QLabel;
class QTableView;
class ThingsStateTableModel;

// The dashboard: a table of the live things with their states, in which the user can rename them.
// Interface thread.
class StatePage : public QWidget
{
    Q_OBJECT

public:
    explicit StatePage(QWidget *parent = nullptr);

    // Replaces all rows.
    void showThings(const ThingStateList &things);
    // Adds or updates the thing's row; removes that of a thing that is gone.
    void showThing(const ThingState &thing);
    void showScanning(bool scanning);

signals:
    void renameRequested(const QString &sid, const QString &alias);

private:
    void updateHint();

    ThingsStateTableModel *m_model;
    QTableView *m_table;
    QLabel *m_hint;
    bool m_scanning = false;
};
