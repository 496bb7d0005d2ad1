#pragma once

#include <QList>
#include <QObject>

class DeviceWindows;
class QAction;
class QLabel;
class QMainWindow;
class QMenu;
class QWidget;

// What stands round the pages and leads to them: the dock at the side, whose actions are the
// window's, and the tool bar with the page's title. Interface thread.
class Navigation : public QObject
{
    Q_OBJECT

public:
    // Makes `pages` the centre of the window. `menu` and `deviceWindows` are borrowed for life.
    Navigation(QMainWindow &window, QWidget *pages, QMenu &menu, DeviceWindows &deviceWindows);

    // Each with its integer data, from 0.
    const QList<QAction *> &actions() const { return m_actions; }
    static constexpr int scanData = 2; // the action that leads to no page
    // Page of an action's data; the first page for any other number.
    static int pageOf(int data);

    // The page that is shown now.
    void setPage(int page);
    // No search can be asked for while one is under way.
    void setScanning(bool on);

private:
    void makeDock(QMainWindow &window, QWidget *pages);
    void makeToolBar(QMainWindow &window, QMenu &menu, DeviceWindows &deviceWindows);

    QList<QAction *> m_actions;
    QLabel *m_title;
};
