#include "ui/navigation.h"

#include "ui/devicewindows.h"
#include "ui/mainwindow.h"
#include "ui/widgets/qmaterialicon.h"
#include "ui/widgets/qtooldock.h"

#include <QAction>
#include <QActionGroup>
#include <QHBoxLayout>
#include <QLabel>
#include <QStyle>
#include <QToolBar>
#include <QToolButton>

#include <iterator>

namespace {

// The actions of the dock. The index is the action's data, which is not the index of its page.
struct Entry
{
    const char *icon;
    const char *text;
    MainWindow::Pages page;
};
constexpr Entry entries[] = {
    {"dashboard", QT_TRANSLATE_NOOP("Navigation", "Devices"), MainWindow::P_STATE},
    {"cloud", QT_TRANSLATE_NOOP("Navigation", "Cloud"), MainWindow::P_CLOUD},
    {"sync", QT_TRANSLATE_NOOP("Navigation", "Rescan"), MainWindow::P_STATE},
    {"device_hub", QT_TRANSLATE_NOOP("Navigation", "Device settings"), MainWindow::P_DEVICES},
    {"settings", QT_TRANSLATE_NOOP("Navigation", "Settings"), MainWindow::P_SETTINGS},
    {"inventory", QT_TRANSLATE_NOOP("Navigation", "Known devices"), MainWindow::P_REGISTRY},
};

} // namespace

Navigation::Navigation(QMainWindow &window, QWidget *pages, QMenu &menu,
                       DeviceWindows &deviceWindows)
    : QObject(&window)
    , m_title(new QLabel)
{
    makeToolBar(window, menu, deviceWindows);
    makeDock(window, pages);
}

void Navigation::makeDock(QMainWindow &window, QWidget *pages)
{
    auto *const centre = new QWidget(&window);
    auto *const layout = new QHBoxLayout(centre);
    layout->addWidget(pages);
    window.setCentralWidget(centre);
    auto *const dock = new QToolDock(centre, QToolDock::Left);
    const auto leaveRoom = [this, layout](int extent) {
        layout->setContentsMargins(extent, 0, 0, 0);
        alignTitle(extent);
    };

    const QMaterialIcon &icons = QMaterialIcon::instance();
    auto *const group = new QActionGroup(this);
    for (const Entry &entry : entries) {
        auto *const action =
            new QAction(icons.icon(QLatin1String(entry.icon), QMaterialIcon::Color::Base,
                                   QMaterialIcon::Color::Checked),
                        tr(entry.text), &window);
        const int data = m_actions.size();
        action->setData(data);
        if (data == scanData) {
            action->setShortcut(QKeySequence::Refresh);
        } else {
            action->setCheckable(true);
            action->setShortcut(QKeySequence(QStringLiteral("Ctrl+%1").arg(data + 1)));
            group->addAction(action);
        }
        action->setToolTip(QStringLiteral("%1 (%2)").arg(
            action->text(), action->shortcut().toString(QKeySequence::NativeText)));
        window.addAction(action); // for its shortcut
        dock->addAction(action);
        m_actions.append(action);
    }
    leaveRoom(dock->extent());
    connect(dock, &QToolDock::extentChanged, layout, leaveRoom);
}

void Navigation::makeToolBar(QMainWindow &window, QMenu &menu, DeviceWindows &deviceWindows)
{
    // QMainWindow::saveState() needs a tool bar with an object name.
    QToolBar *const bar = window.addToolBar(tr("Tool bar"));
    bar->setObjectName("toolBar");
    bar->setStyleSheet(QStringLiteral("QToolBar{border:0px;}"));
    bar->setMovable(false);
    bar->toggleViewAction()->setVisible(false);
    window.setContextMenuPolicy(Qt::NoContextMenu);

    QFont font = m_title->font();
    font.setPointSizeF(font.pointSizeF() * 1.4);
    m_title->setFont(font);
    bar->addWidget(m_title);
    auto *const gap = new QWidget(bar);
    gap->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    bar->addWidget(gap);

    const QMaterialIcon &icons = QMaterialIcon::instance();
    QAction *const windows =
        bar->addAction(icons.icon(QStringLiteral("web_asset")), tr("Device windows"),
                       &deviceWindows, &DeviceWindows::showAll);
    windows->setToolTip(tr("Show the windows that devices bring along"));
    windows->setVisible(false);
    connect(&deviceWindows, &DeviceWindows::windowAdded, windows,
            [windows] { windows->setVisible(true); });
    auto *const more = new QToolButton(bar);
    more->setIcon(icons.icon(QStringLiteral("more_vert")));
    more->setToolTip(tr("More"));
    more->setAccessibleName(tr("More"));
    more->setMenu(&menu);
    more->setPopupMode(QToolButton::InstantPopup);
    more->setStyleSheet(QStringLiteral("QToolButton::menu-indicator{image:none;}"));
    bar->addWidget(more);
    const auto buttons = bar->findChildren<QToolButton *>();
    for (QToolButton *const button : buttons) {
        button->setFocusPolicy(Qt::TabFocus);
    }
}

// The title begins where the page's content does.
void Navigation::alignTitle(int extent)
{
    const QWidget *const bar = m_title->parentWidget();
    const int margin = bar->style()->pixelMetric(QStyle::PM_LayoutLeftMargin);
    m_title->setContentsMargins(qMax(0, extent + margin - bar->layout()->contentsMargins().left()),
                                6, 6, 6);
}

int Navigation::pageOf(int data)
{
    return data >= 0 && data < int(std::size(entries)) ? entries[data].page : MainWindow::P_STATE;
}

void Navigation::setPage(int page)
{
    for (QAction *const action : qAsConst(m_actions)) {
        if (action->isCheckable() && pageOf(action->data().toInt()) == page) {
            action->setChecked(true);
            m_title->setText(action->text());
        }
    }
}

void Navigation::setScanning(bool on)
{
    m_actions.at(scanData)->setDisabled(on);
}
