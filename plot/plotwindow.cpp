#include "plot/plotwindow.h"

#include "plot/historyplot.h"

#include <QDateTime>
#include <QDir>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QRegularExpression>
#include <QSaveFile>
#include <QShortcut>
#include <QSplitter>
#include <QTreeWidget>

#include <algorithm>
#include <utility>

namespace {

constexpr int listWidth = 240; // pixels
constexpr int maxShown = 8;
constexpr int maxMembers = 1000; // a device may have had others each day
constexpr int maxTitle = 60;     // characters
constexpr int maxUnit = 12;
constexpr qint64 second = 1000; // milliseconds
constexpr qint64 hour = 3600 * second;
constexpr qint64 day = 24 * hour;
constexpr qint64 minSpan = 10 * second;
constexpr qint64 maxSpan = 7305 * day; // twenty years

// Distinct to most colour-blind eyes, and of enough contrast with the canvas of each theme.
const char *const inksOnLight[maxShown] = {"#0072b2", "#c44e00", "#00805a", "#8e44ad",
                                           "#8a6500", "#d6246e", "#4a4a4a", "#0f8b9d"};
const char *const inksOnDark[maxShown] = {"#56b4e9", "#ff9f40", "#2fd19b", "#c79bff",
                                          "#e8d44d", "#ff79b0", "#d0d0d0", "#5ee0e0"};

QColor ink(const QPalette &palette, int index)
{
    const bool dark = palette.color(QPalette::Base).lightness() < 128;
    return QLatin1String(dark ? inksOnDark[index] : inksOnLight[index]);
}

qint64 now()
{
    return QDateTime::currentMSecsSinceEpoch();
}

QString cut(const QString &text, int length)
{
    return text.simplified().left(length);
}

} // namespace

PlotWindow::PlotWindow(HistorySource &history, const PlotSubject &subject, QWidget *parent)
    : QWidget(parent, Qt::Window)
    , m_history(history)
    , m_subject(subject)
    , m_list(new QTreeWidget(this))
    , m_notice(new QLabel(this))
    , m_plot(new HistoryPlot(this))
{
    const QString title = cut(subject.title, maxTitle);
    setObjectName("plotWindow");
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(tr("History of %1").arg(title));
    resize(960, 540);
    m_list->setObjectName("plotMembers");
    m_list->setAccessibleName(tr("Values to show"));
    m_list->setRootIsDecorated(false);
    m_list->setUniformRowHeights(true);
    m_list->setColumnCount(2); // title, unit
    m_list->setHeaderHidden(true);
    m_list->header()->setStretchLastSection(false);
    m_list->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    m_list->header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    m_plot->setObjectName("plot");
    m_plot->setAccessibleName(tr("Plot of %1").arg(title));
    m_notice->setTextFormat(Qt::PlainText);
    m_notice->setWordWrap(true);

    const auto button = [this](const QString &text, const char *name) {
        auto *const made = new QPushButton(text, this);
        made->setObjectName(QLatin1String(name));
        made->setAccessibleName(QString(text).remove('&'));
        return made;
    };
    auto *const buttons = new QHBoxLayout;
    const struct
    {
        qint64 length;
        QString text;
        const char *name;
    } spans[] = {{hour, tr("&Hour"), "plotHour"},
                 {day, tr("&Day"), "plotDay"},
                 {7 * day, tr("&Week"), "plotWeek"},
                 {30 * day, tr("&Month"), "plotMonth"}};
    for (const auto &span : spans) {
        QPushButton *const made = button(span.text, span.name);
        made->setCheckable(true);
        made->setProperty("span", span.length);
        connect(made, &QPushButton::clicked, this, [this, span] { showSpan(span.length); });
        buttons->addWidget(made);
        m_spanButtons.append(made);
    }
    m_back = button(tr("&Back"), "plotBack");
    QPushButton *const save = button(tr("&Save Picture..."), "plotSave");
    m_export = button(tr("&Export..."), "plotExport");
    buttons->addWidget(m_back);
    buttons->addStretch();
    buttons->addWidget(save);
    buttons->addWidget(m_export);
    auto *const side = new QWidget(this);
    auto *const sideLayout = new QVBoxLayout(side);
    sideLayout->setContentsMargins({});
    sideLayout->addWidget(m_list);
    sideLayout->addWidget(m_notice);
    auto *const splitter = new QSplitter(this);
    splitter->addWidget(side);
    splitter->addWidget(m_plot);
    splitter->setStretchFactor(1, 1);
    auto *const layout = new QVBoxLayout(this);
    layout->addLayout(buttons);
    layout->addWidget(splitter, 1);
    layout->activate(); // the splitter scales its sizes to the width that it has by now
    splitter->setSizes({listWidth, width() - listWidth});

    auto *const menu = new QMenu(this);
    QAction *const shown = menu->addAction(tr("What &Is Shown"));
    QAction *const device = menu->addAction(tr("This De&vice"));
    QAction *const everything = menu->addAction(tr("Every&thing"));
    m_export->setMenu(menu);
    connect(menu, &QMenu::aboutToShow, this, [this, shown, device] {
        shown->setEnabled(!members(true).isEmpty());
        device->setEnabled(!m_rows.isEmpty());
    });
    connect(shown, &QAction::triggered, this,
            [this] { exportCsv(members(true), m_range, m_subject.title); });
    connect(device, &QAction::triggered, this, [this] {
        exportCsv(members(false), {0, now(), true}, m_subject.title);
    });
    connect(everything, &QAction::triggered, this, [this] {
        exportCsv({}, {0, now(), true}, QStringLiteral("KVG-Gate"));
    });
    connect(save, &QPushButton::clicked, this, &PlotWindow::savePicture);
    connect(m_back, &QPushButton::clicked, this, &PlotWindow::goBack);
    connect(new QShortcut(Qt::Key_Escape, this), &QShortcut::activated, this, &PlotWindow::goBack);
    connect(m_list, &QTreeWidget::itemChanged, this, [this](QTreeWidgetItem *item) {
        check(m_list->indexOfTopLevelItem(item), item->checkState(0) == Qt::Checked);
    });
    connect(m_plot, &HistoryPlot::rangeRequested, this, &PlotWindow::requestRange);
    connect(&m_clock, &QTimer::timeout, this, [this] {
        if (m_range.live && !m_plot->isDragged()) {
            setRange(m_range);
        }
    });

    for (const PlotMember &member : subject.members) {
        addMember(member);
    }
    m_history.members(subject.device, this, [this](const QVector<QString> &names) {
        for (const QString &name : names) {
            const auto known = [&name](const Row &row) { return row.member.member == name; };
            if (m_rows.size() < maxMembers && std::none_of(m_rows.cbegin(), m_rows.cend(), known)) {
                addMember({name, name, {}});
            }
        }
        if (!m_rows.isEmpty() && members(true).isEmpty()) {
            check(0, true);
        }
        redraw();
    });
    setRange({now() - hour, now(), true});
    redraw();
}

void PlotWindow::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    setRange(m_range);
}

void PlotWindow::hideEvent(QHideEvent *event)
{
    m_clock.stop();
    QWidget::hideEvent(event);
}

void PlotWindow::addMember(PlotMember member)
{
    member.title = cut(member.title, maxTitle);
    member.unit = cut(member.unit, maxUnit);
    m_rows.append(Row{member});
    const QSignalBlocker quiet(m_list);
    auto *const item = new QTreeWidgetItem(m_list);
    item->setText(0, member.title);
    item->setToolTip(0, member.title.toHtmlEscaped());
    item->setText(1, member.unit);
    check(m_rows.size() - 1, member.shown);
}

void PlotWindow::check(int row, bool shown)
{
    if (shown == (m_rows[row].color >= 0)) {
        return;
    }
    m_rows[row].points.clear();
    m_rows[row].color = -1;
    for (int color = 0; shown && m_rows[row].color < 0 && color < maxShown; ++color) {
        const auto used = [color](const Row &other) { return other.color == color; };
        if (std::none_of(m_rows.cbegin(), m_rows.cend(), used)) {
            m_rows[row].color = color;
        }
    }
    redraw();
    fetch();
}

// Shows what there is; fetch() brings the rest.
void PlotWindow::redraw()
{
    QVector<HistoryCurve *> curves;
    QVector<HistoryCurve *> curveOfRow;
    for (const Row &row : qAsConst(m_rows)) {
        curveOfRow.append(row.color < 0 ? nullptr
                                        : new HistoryCurve(row.member.title, row.member.unit,
                                                           ink(palette(), row.color), row.points));
        if (curveOfRow.last() != nullptr) {
            curves.append(curveOfRow.last());
        }
    }
    m_plot->showCurves(curves);

    const QSignalBlocker quiet(m_list);
    const bool full = curves.size() == maxShown;
    bool anyOwnScale = false;
    for (int i = 0; i < m_rows.size(); ++i) {
        const QString unit = m_rows[i].member.unit;
        const HistoryCurve *const curve = curveOfRow[i];
        const bool ownScale = curve != nullptr && curve->hasOwnScale() && !curve->isSwitch();
        QTreeWidgetItem *const item = m_list->topLevelItem(i);
        anyOwnScale = anyOwnScale || ownScale;
        item->setText(1, ownScale ? unit + QLatin1String(" *") : unit);
        item->setCheckState(0, curve != nullptr ? Qt::Checked : Qt::Unchecked);
        item->setDisabled(curve == nullptr && full);
        QPixmap patch(m_list->fontMetrics().height(), m_list->fontMetrics().height());
        patch.fill(curve != nullptr ? curve->color() : QColor(Qt::transparent));
        item->setIcon(0, patch);
    }
    QStringList notices;
    if (m_rows.isEmpty()) {
        notices += tr("Nothing was recorded yet.");
    }
    if (anyOwnScale) {
        notices += tr("* has a scale of its own");
    }
    if (full) {
        notices += tr("At most %1 at once.").arg(maxShown);
    }
    m_notice->setText(notices.join('\n'));
    m_notice->setHidden(notices.isEmpty());
}

void PlotWindow::fetch()
{
    const QVector<HistoryMember> shown = members(true);
    if (m_fetching || !isVisible()) {
        m_fetchAgain = m_fetching;
        return;
    }
    if (shown.isEmpty()) {
        return;
    }
    m_fetching = true;
    m_history.fetch(shown, m_range.from, m_range.to, m_plot->width(), this,
                    [this, shown](const QVector<HistoryPoints> &points) {
                        m_fetching = false;
                        for (Row &row : m_rows) {
                            const int at = shown.indexOf({m_subject.device, row.member.member});
                            if (row.color >= 0 && at >= 0 && at < points.size()) {
                                row.points = points[at];
                            }
                        }
                        redraw();
                        if (std::exchange(m_fetchAgain, false)) {
                            fetch();
                        }
                    });
}

QVector<HistoryMember> PlotWindow::members(bool onlyShown) const
{
    QVector<HistoryMember> members;
    for (const Row &row : m_rows) {
        if (!onlyShown || row.color >= 0) {
            members.append({m_subject.device, row.member.member});
        }
    }
    return members;
}

void PlotWindow::setRange(Range range)
{
    const qint64 present = now();
    const qint64 span = qBound(minSpan, range.to - range.from, maxSpan);
    // The right border is some seconds old when a user drags up to it.
    range.live = range.live || range.to >= present - qMax(5 * second, span / 200);
    range.to = range.live ? present : qMax(range.to, span);
    range.from = range.to - span;
    m_range = range;
    for (QPushButton *const button : qAsConst(m_spanButtons)) {
        button->setChecked(range.live && button->property("span").toLongLong() == span);
    }
    m_back->setEnabled(!m_formerRanges.isEmpty());
    m_plot->showRange(range.from, range.to);
    fetch();
    if (isVisible()) {
        m_clock.start(int(qBound(5 * second, span / 500, 60 * second)));
    }
}

void PlotWindow::requestRange(qint64 from, qint64 to)
{
    // Notches of the wheel that follow each other are one step back.
    if (!m_sinceRequest.isValid() || m_sinceRequest.hasExpired(second)) {
        m_formerRanges.append(m_range);
    }
    m_sinceRequest.start();
    setRange({from, to, false});
}

void PlotWindow::showSpan(qint64 span)
{
    m_formerRanges.append(m_range);
    m_sinceRequest.invalidate();
    setRange({now() - span, now(), true});
}

void PlotWindow::goBack()
{
    if (!m_formerRanges.isEmpty()) {
        m_sinceRequest.invalidate();
        setRange(m_formerRanges.takeLast());
    }
}

void PlotWindow::savePicture()
{
    const QImage picture = m_plot->picture(cut(m_subject.title, maxTitle));
    chooseFile(tr("Save Picture"), m_subject.title, QStringLiteral("png"), tr("Pictures (*.png)"),
               [this, picture](const QString &path) {
                   QSaveFile file(path);
                   if (!file.open(QIODevice::WriteOnly) || !picture.save(&file, "PNG") ||
                       !file.commit()) {
                       showError(tr("The picture could not be saved: %1").arg(file.errorString()));
                   }
               });
}

void PlotWindow::exportCsv(const QVector<HistoryMember> &members, const Range &range,
                           const QString &name)
{
    chooseFile(tr("Export"), name, QStringLiteral("csv"), tr("Tables (*.csv)"),
               [this, members, range](const QString &path) {
                   m_export->setEnabled(false);
                   m_history.exportCsv(path, members, range.from, range.to, this,
                                       [this](const QString &error) {
                                           m_export->setEnabled(true);
                                           if (!error.isEmpty()) {
                                               showError(error);
                                           }
                                       });
               });
}

void PlotWindow::chooseFile(const QString &title, const QString &name, const QString &suffix,
                            const QString &filter,
                            const std::function<void(const QString &)> &chosen)
{
    static const QRegularExpression unfit(QStringLiteral("[^\\w ()-]+"),
                                          QRegularExpression::UseUnicodePropertiesOption);
    auto *const dialog = new QFileDialog(this, title, QDir::homePath(), filter);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setDefaultSuffix(suffix);
    dialog->selectFile(QStringLiteral("%1 %2.%3")
                           .arg(cut(QString(name).replace(unfit, QStringLiteral("_")), maxTitle),
                                QDate::currentDate().toString(Qt::ISODate), suffix));
    connect(dialog, &QFileDialog::fileSelected, this, chosen);
    dialog->open();
}

void PlotWindow::showError(const QString &text)
{
    auto *const box =
        new QMessageBox(QMessageBox::Critical, windowTitle(), text, QMessageBox::Ok, this);
    box->setTextFormat(Qt::PlainText);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}
