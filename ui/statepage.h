#pragma once

#include "things/thingstate.h"

#include <QWidget>

class QLabel;
class QTableView;
class ThingsStateTableModel;

// The dashboard: every live thing with its state, and the place where things are renamed.
// Interface thread.
class StatePage : public QWidget
{
    Q_OBJECT

public:
    explicit StatePage(QWidget *parent = nullptr);

    // In place of all that was shown.
    void showThings(const ThingStateList &things);
    // A new or changed thing; one that is gone is taken out.
    void showThing(const ThingState &thing);
    // A search for devices is under way.
    void showScanning(bool on);

signals:
    void renameRequested(const QString &sid, const QString &alias);

private:
    void showHint();

    ThingsStateTableModel *m_model;
    QTableView *m_table;
    QLabel *m_hint;
    bool m_scanning = false;
};
