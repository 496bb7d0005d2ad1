#pragma once

#include "things/thingstate.h"
#include "ui/devicewords.h"
#include "ui/plotwindows.h"

#include <QTimer>
#include <QWidget>

class DeviceListModel;
class DevicePane;
class DeviceWindows;
class DeviceTable;
class History;
class QCheckBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QSplitter;
class QToolButton;
class ThingsStateTableModel;

// The dashboard: the devices with their states, which can be sorted, filtered, renamed and looked
// at, and what a new user should do next. Interface thread.
class StatePage : public QWidget
{
    Q_OBJECT

public:
    // Records the states in `history`. Both are borrowed for life.
    StatePage(History &history, DeviceWindows &windows, QWidget *parent = nullptr);
    // Stores the columns and the size of the pane.
    ~StatePage() override;

    // Applies what is stored: whether a history is kept.
    void applySettings();
    // The descriptions of the device types by their names.
    void showPlugins(const QJsonObject &plugins);
    // Replaces all rows.
    void showThings(const ThingStateList &things);
    // Adds or updates the thing's row; removes that of a thing that is gone.
    void showThing(const ThingState &thing);
    void showScanning(bool scanning);

signals:
    void renameRequested(const QString &sid, const QString &alias);
    void registrationRequested();
    // The things without a name, the gateway first: some were named, found, or are gone.
    void unnamedChanged(const QStringList &shortids);

protected:
    void showEvent(QShowEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void makeNotice();
    void connectModels();
    void showMenu(const QPoint &global);
    void showPlot(const QString &device, const QString &member);
    void showCurrent();
    void setPaneShown(bool shown);
    void arrangePane();
    void scheduleUpdate();
    void updateSoon();
    void updateNotice();
    void updateUnnamed();
    void updateAbsent();
    void updateHint();

    DeviceWords m_words;
    History &m_history;
    DeviceWindows &m_windows;
    PlotWindows m_plots;
    ThingsStateTableModel *m_model;
    ThingsStateTableModel *m_absent;
    DeviceListModel *m_list;
    DeviceTable *m_table;
    QSplitter *m_splitter;
    DevicePane *m_pane;
    QWidget *m_notice;
    QLabel *m_noticeText;
    QLineEdit *m_filter;
    QCheckBox *m_showAbsent;
    QToolButton *m_showPane;
    QLabel *m_hint;
    QTimer m_updateTimer;
    QStringList m_unnamed;
    bool m_scanning = false;
};
