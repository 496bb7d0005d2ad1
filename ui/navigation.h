#pragma once

#include <QList>
#include <QObject>

class DeviceWindows;
class QAction;
class QLabel;
class QMainWindow;
class QMenu;
class QWidget;

// The dock at the side, whose actions lead to the pages, and the tool bar with the page's title.
// Interface thread.
class Navigation : public QObject
{
    Q_OBJECT

public:
    // Makes `pages` part of the window's central widget. `menu` and `deviceWindows` are borrowed
    // for life.
    Navigation(QMainWindow &window, QWidget *pages, QMenu &menu, DeviceWindows &deviceWindows);

    // The actions of the dock; the data of each is its index.
    const QList<QAction *> &actions() const { return m_actions; }
    static constexpr int scanData = 2; // of the action that scans instead of showing a page
    // The page for an action's data; P_STATE for unknown data.
    static int pageOf(int data);

    // Checks the page's action and shows its title.
    void setPage(int page);
    // Disables the scan action while a scan is running.
    void setScanning(bool on);

private:
    void alignTitle(int extent);
    void makeDock(QMainWindow &window, QWidget *pages);
    void makeToolBar(QMainWindow &window, QMenu &menu, DeviceWindows &deviceWindows);

    QList<QAction *> m_actions;
    QLabel *m_title;
};
