#include "ui/statepage.h"

#include "history/history.h"
#include "plot/plotlibrary.h"
#include "settings/devicepool.h"
#include "settings/settingsstore.h"
#include "ui/devicelistmodel.h"
#include "ui/devicepane.h"
#include "ui/devicetable.h"
#include "ui/devicewindows.h"
#include "ui/pagestyle.h"
#include "ui/thingsstatetablemodel.h"
#include "ui/widgets/qmaterialicon.h"

#include <QAction>
#include <QCheckBox>
#include <QClipboard>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QSet>
#include <QShortcut>
#include <QSplitter>
#include <QToolButton>
#include <QVBoxLayout>

#include <chrono>

using namespace std::chrono_literals;

namespace {

constexpr int wideEnough = 760; // pixels, for table and pane side by side
constexpr int usualPaneWidth = 290;
constexpr int minPaneSize = 160;
constexpr int maxPaneSize = 2000;

} // namespace

StatePage::StatePage(History &history, DeviceWindows &windows, QWidget *parent)
    : QWidget(parent)
    , m_history(history)
    , m_windows(windows)
    , m_plots(QCoreApplication::applicationDirPath())
    , m_model(new ThingsStateTableModel(this))
    , m_absent(new ThingsStateTableModel(this))
    , m_list(new DeviceListModel(*m_model, *m_absent, m_words, this))
    , m_filter(new QLineEdit(this))
    , m_showAbsent(new QCheckBox(tr("Show &absent devices"), this))
    , m_showPane(new QToolButton(this))
    , m_hint(pagestyle::hint(QString(), this))
{
    m_filter->setObjectName("deviceFilter");
    m_filter->setPlaceholderText(tr("Filter (Ctrl+F)"));
    m_filter->setAccessibleName(tr("Filter"));
    m_filter->setMaxLength(200);
    m_filter->setMaximumWidth(m_filter->fontMetrics().averageCharWidth() * 40);
    m_showAbsent->setObjectName("showAbsent");
    m_showAbsent->setToolTip(tr("Also list known devices that are not attached now"));
    m_showPane->setObjectName("showDevicePane");
    m_showPane->setIcon(QMaterialIcon::instance().icon(QStringLiteral("info")));
    m_showPane->setCheckable(true);
    m_showPane->setAutoRaise(true);
    m_showPane->setToolTip(tr("Details of the selected device"));
    m_showPane->setAccessibleName(m_showPane->toolTip());
    makeNotice();

    m_splitter = new QSplitter(this);
    m_splitter->setChildrenCollapsible(false);
    m_table = new DeviceTable(*m_list, m_splitter);
    m_pane = new DevicePane(m_words, history, m_splitter);
    m_splitter->setStretchFactor(0, 1);
    m_splitter->setStretchFactor(1, 0);

    auto *const tools = new QHBoxLayout;
    tools->addWidget(m_filter, 1);
    tools->addStretch();
    tools->addWidget(m_showAbsent);
    tools->addWidget(m_showPane);
    auto *const layout = new QVBoxLayout(this);
    layout->addWidget(m_notice);
    layout->addLayout(tools);
    layout->addWidget(m_splitter, 1);
    layout->addWidget(m_hint);

    const SettingsStore store;
    m_showAbsent->setChecked(store.value(keys::ShowAbsent));
    setPaneShown(store.value(keys::DevicePane));
    applySettings();
    connectModels();
    setFocusProxy(m_table);
    updateSoon();
}

StatePage::~StatePage()
{
    m_table->storeColumns();
    if (m_pane->isVisibleTo(m_splitter)) {
        SettingsStore().set(keys::DevicePaneSize, m_splitter->sizes().value(1));
    }
    delete m_splitter; // before the models that its children show
}

void StatePage::makeNotice()
{
    m_notice = new QWidget(this);
    auto *const icon = new QLabel(m_notice);
    icon->setPixmap(QMaterialIcon::instance().icon(QStringLiteral("info")).pixmap(20, 20));
    m_noticeText = new QLabel(m_notice);
    m_noticeText->setObjectName("registrationNotice");
    QPushButton *const button =
        pagestyle::button(tr("&Register…"), "registrationNoticeButton", m_notice);
    connect(button, &QPushButton::clicked, this, &StatePage::registrationRequested);
    auto *const row = new QHBoxLayout(m_notice);
    row->setContentsMargins(8, 4, 4, 4);
    row->addWidget(icon);
    row->addWidget(m_noticeText, 1);
    row->addWidget(button);
    m_notice->setAutoFillBackground(true);
    m_notice->setBackgroundRole(QPalette::AlternateBase);
}

void StatePage::connectModels()
{
    m_updateTimer.setSingleShot(true);
    m_updateTimer.setInterval(100ms);
    connect(&m_updateTimer, &QTimer::timeout, this, &StatePage::updateSoon);
    connect(m_model, &ThingsStateTableModel::renameRequested, this, &StatePage::renameRequested);
    connect(m_model, &QAbstractItemModel::rowsInserted, this, &StatePage::scheduleUpdate);
    connect(m_model, &QAbstractItemModel::rowsRemoved, this, &StatePage::scheduleUpdate);
    connect(m_model, &QAbstractItemModel::dataChanged, this, [this](const QModelIndex &first) {
        if (first.column() != ThingsStateTableModel::ColState) {
            scheduleUpdate();
        }
        showCurrent();
    });
    connect(m_table, &DeviceTable::currentChangedTo, this, &StatePage::showCurrent);
    connect(m_table, &DeviceTable::menuRequested, this, &StatePage::showMenu);
    // QLineEdit's own button would search the desktop's icon themes, 15 ms of the start.
    QAction *const clearButton = m_filter->addAction(
        QMaterialIcon::instance().icon(QStringLiteral("close")), QLineEdit::TrailingPosition);
    clearButton->setToolTip(tr("Clear"));
    clearButton->setVisible(false);
    connect(clearButton, &QAction::triggered, m_filter, &QLineEdit::clear);
    connect(m_filter, &QLineEdit::textChanged, this, [this, clearButton](const QString &text) {
        clearButton->setVisible(!text.isEmpty());
        m_list->setFilter(text);
        updateHint();
    });
    // The list follows its filter later than the devices.
    connect(m_list, &QAbstractItemModel::rowsInserted, this, &StatePage::updateHint);
    connect(m_list, &QAbstractItemModel::rowsRemoved, this, &StatePage::updateHint);
    connect(m_list, &QAbstractItemModel::modelReset, this, &StatePage::updateHint);
    connect(new QShortcut(QKeySequence::Find, this), &QShortcut::activated, this, [this] {
        m_filter->setFocus(Qt::ShortcutFocusReason);
        m_filter->selectAll();
    });
    auto *const clear = new QShortcut(Qt::Key_Escape, m_filter);
    clear->setContext(Qt::WidgetShortcut);
    connect(clear, &QShortcut::activated, m_filter, &QLineEdit::clear);
    connect(m_showAbsent, &QCheckBox::toggled, this, [this](bool on) {
        SettingsStore().set(keys::ShowAbsent, on);
        updateAbsent();
    });
    connect(m_showPane, &QToolButton::toggled, this, [this](bool on) {
        SettingsStore().set(keys::DevicePane, on);
        setPaneShown(on);
    });
    connect(m_pane, &DevicePane::closeRequested, m_showPane, &QToolButton::toggle);
    connect(m_pane, &DevicePane::plotRequested, this, &StatePage::showPlot);
}

void StatePage::applySettings()
{
    m_history.setEnabled(SettingsStore().value(keys::KeepHistory));
    for (int row = 0; row < m_model->rowCount(); ++row) { // it may have been off before
        m_history.record(m_model->thing(row).shortid, m_model->thing(row).state);
    }
}

void StatePage::showPlugins(const QJsonObject &plugins)
{
    m_words.setDescriptions(plugins);
    m_list->updateWords();
    m_pane->updateWords();
}

void StatePage::showThings(const ThingStateList &things)
{
    const QStringList selected = m_table->selected();
    const QString current = m_table->current();
    m_model->replaceAll(things);
    for (const ThingState &thing : things) {
        m_history.record(thing.shortid, thing.state);
    }
    m_table->fitColumns();
    m_table->select(selected, current);
}

void StatePage::showThing(const ThingState &thing)
{
    if (thing.gone) {
        m_model->remove(thing.shortid);
        m_history.leave(thing.shortid);
    } else {
        m_model->update(thing);
        m_history.record(thing.shortid, thing.state);
    }
}

void StatePage::showScanning(bool scanning)
{
    m_scanning = scanning;
    updateHint();
}

void StatePage::updateUnnamed()
{
    QStringList unnamed;
    for (int row = 0; row < m_model->rowCount(); ++row) {
        if (m_model->thing(row).alias.isEmpty()) {
            unnamed += m_model->thing(row).shortid;
        }
    }
    if (unnamed != m_unnamed) {
        m_unnamed = unnamed;
        emit unnamedChanged(unnamed);
    }
}

// Ten thousand devices come one by one.
void StatePage::scheduleUpdate()
{
    if (!m_updateTimer.isActive()) {
        m_updateTimer.start();
    }
}

void StatePage::updateSoon()
{
    m_table->fitColumns();
    arrangePane();
    updateNotice();
    updateAbsent();
    updateHint();
    updateUnnamed();
}

void StatePage::updateNotice()
{
    bool hasGateway = false;
    bool isGatewayRegistered = false;
    int unregistered = 0;
    for (int row = 0; row < m_model->rowCount(); ++row) {
        const ThingState &thing = m_model->thing(row);
        if (DeviceWords::typeOf(thing.shortid) == QLatin1String("gateway")) {
            hasGateway = true;
            isGatewayRegistered = !thing.regid.isEmpty();
        } else if (thing.regid.isEmpty()) {
            ++unregistered;
        }
    }
    if (!isGatewayRegistered) {
        m_noticeText->setText(tr("This gateway is not registered yet"));
    } else {
        m_noticeText->setText(unregistered == 1
                                  ? tr("1 device is not registered yet")
                                  : tr("%n devices are not registered yet", nullptr, unregistered));
    }
    m_notice->setVisible(hasGateway && (!isGatewayRegistered || unregistered > 0));
}

void StatePage::updateAbsent()
{
    ThingStateList absent;
    if (m_showAbsent->isChecked()) {
        const DevicePool pool = DevicePool::read();
        for (int i = 0; i < pool.size(); ++i) {
            const PoolEntry entry = pool.at(i);
            if (m_model->rowOf(entry.key()) < 0 && entry.type != QLatin1String("gateway")) {
                ThingState thing;
                thing.shortid = entry.key();
                thing.alias = entry.alias;
                thing.regid = entry.regid;
                thing.gone = true;
                absent += thing;
            }
        }
    }
    if (m_absent->rowCount() == 0) {
        if (absent.isEmpty()) {
            return; // while ten thousand devices come
        }
        m_absent->replaceAll(absent);
    }
    const QStringList selected = m_table->selected();
    const QString current = m_table->current();
    // Row by row: selection, position and an open editor stay.
    QSet<QString> staying;
    for (const ThingState &thing : qAsConst(absent)) {
        staying.insert(thing.shortid);
        m_absent->update(thing);
    }
    for (int row = m_absent->rowCount() - 1; row >= 0; --row) {
        const QString shortid = m_absent->thing(row).shortid;
        if (!staying.contains(shortid)) {
            m_absent->remove(shortid);
        }
    }
    if (m_table->current() != current || m_table->selected().size() != selected.size()) {
        m_table->select(selected, current); // one that is back has another row
    }
}

// The gateway itself always has a row.
void StatePage::updateHint()
{
    const bool isEmpty = m_model->rowCount() <= 1;
    const bool isFiltered = m_list->rowCount() == 0 && !m_filter->text().isEmpty();
    m_hint->setVisible(isEmpty || isFiltered);
    if (isFiltered) {
        m_hint->setText(tr("No device matches the filter."));
    } else if (isEmpty) {
        m_hint->setText(m_scanning
                            ? tr("Looking for devices…")
                            : tr("No devices found yet. Attach a device and press Rescan, or "
                                 "switch on its type under Device settings."));
    }
}

void StatePage::showCurrent()
{
    if (!m_pane->isVisible()) {
        return;
    }
    const QModelIndex current = m_table->currentIndex();
    if (current.isValid()) {
        m_pane->showThing(m_list->thing(current.row()), m_list->lastChange(current.row()));
    } else {
        m_pane->showNothing();
    }
}

void StatePage::setPaneShown(bool shown)
{
    m_showPane->setChecked(shown);
    m_pane->setVisible(shown);
    if (shown) {
        const int size =
            qBound(minPaneSize, SettingsStore().value(keys::DevicePaneSize), maxPaneSize);
        m_splitter->setSizes({qMax(1, width() - size), size});
        showCurrent();
    }
}

void StatePage::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    m_table->fitColumns();
    updateAbsent(); // another page may have forgotten some
    showCurrent();
}

void StatePage::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    arrangePane();
}

// Beside the table, or below it where the states would have no room.
void StatePage::arrangePane()
{
    const int needed = qMax(wideEnough, m_table->usefulWidth() + usualPaneWidth);
    const Qt::Orientation orientation = width() < needed ? Qt::Vertical : Qt::Horizontal;
    if (m_splitter->orientation() != orientation) {
        m_splitter->setOrientation(orientation);
    }
}

void StatePage::showMenu(const QPoint &global)
{
    const QModelIndex current = m_table->currentIndex();
    const ThingState thing = m_list->thing(current.row());
    auto *const menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    const auto copy = [](const QString &text) { QGuiApplication::clipboard()->setText(text); };
    QAction *const rename = menu->addAction(tr("Re&name"), m_table, [this] {
        m_table->edit(m_table->currentIndex().siblingAtColumn(ThingsStateTableModel::ColAlias));
    });
    rename->setShortcut(Qt::Key_F2);
    rename->setEnabled(!thing.gone);
    menu->addAction(tr("Copy &State"), m_table, [copy, thing] {
        copy(QString::fromUtf8(QJsonDocument(thing.state).toJson()));
    });
    menu->addAction(tr("Copy &Identifier"), m_table, [copy, thing] { copy(thing.shortid); });
    if (m_windows.has(thing.shortid)) {
        menu->addAction(tr("Show &Window"), this, [this, thing] { m_windows.show(thing.shortid); });
    }
    QAction *const history = menu->addAction(tr("&History…"), this,
                                             [this, thing] { showPlot(thing.shortid, QString()); });
    history->setEnabled(!thing.state.isEmpty());
    menu->popup(global);
}

void StatePage::showPlot(const QString &device, const QString &member)
{
    const int row = m_list->rowOf(device);
    if (row < 0) {
        return;
    }
    const ThingState &thing = m_list->thing(row);
    const QString type = DeviceWords::typeOf(device);
    PlotSubject subject;
    subject.device = device;
    subject.title = thing.alias.isEmpty() ? m_words.typeTitle(type) : thing.alias;
    const QStringList paths = DeviceWords::numericMembers(thing.state);
    for (const QString &path : paths) {
        const DeviceWords::Member words = m_words.member(type, path);
        const bool isShown = member.isEmpty() ? subject.members.isEmpty() : path == member;
        subject.members.append({path, words.title, words.unit, isShown});
    }
    m_plots.open(m_history, subject, this);
}
