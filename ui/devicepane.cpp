#include "ui/devicepane.h"

#include "history/history.h"
#include "ui/dialogs.h"
#include "ui/pagestyle.h"
#include "ui/widgets/qmaterialicon.h"

#include <QDateTime>
#include <QFormLayout>
#include <QHeaderView>
#include <QJsonArray>
#include <QLabel>
#include <QLocale>
#include <QPainter>
#include <QPushButton>
#include <QStyledItemDelegate>
#include <QToolButton>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <functional>
#include <limits>

using namespace std::chrono_literals;

namespace {

enum TreeColumn { Name, Value, Curve };
constexpr int PathRole = Qt::UserRole; // of a member that has a curve
constexpr int maxMembers = 500;        // a device may report a state of any size
constexpr int maxPathLength = 200;
constexpr int maxShownLength = 200; // of a value; the tool tip has more of it
constexpr qint64 markTime = 2000;   // milliseconds
constexpr qint64 minSpan = 120000;  // milliseconds, of a curve
constexpr qint64 maxSpan = 3600000;

// Draws what the item's member was lately, up to an hour.
class CurveDelegate : public QStyledItemDelegate
{
public:
    using Points = std::function<HistoryPoints(const QString &path)>;

    CurveDelegate(const Points &points, QObject *parent)
        : QStyledItemDelegate(parent)
        , m_points(points)
    {
    }

    void paint(QPainter *painter, const QStyleOptionViewItem &option,
               const QModelIndex &index) const override
    {
        QStyledItemDelegate::paint(painter, option, index);
        const QString path = index.data(PathRole).toString();
        const HistoryPoints points = path.isEmpty() ? HistoryPoints() : m_points(path);
        double min = std::numeric_limits<double>::infinity();
        double max = -min;
        for (const HistoryPoint &point : points) {
            if (!std::isnan(point.last)) {
                min = std::min(min, point.min);
                max = std::max(max, point.max);
            }
        }
        if (min > max) {
            return;
        }
        const QRectF area = QRectF(option.rect).adjusted(4, 4, -4, -4);
        const qint64 end = QDateTime::currentMSecsSinceEpoch();
        const qint64 span = qBound(minSpan, end - points.first().time, maxSpan);
        const auto x = [&](qint64 time) {
            return area.right() - area.width() * double(end - time) / double(span);
        };
        const auto y = [&](double value) {
            return max > min ? area.bottom() - area.height() * (value - min) / (max - min)
                             : area.center().y();
        };
        painter->save();
        painter->setClipRect(area);
        painter->setRenderHint(QPainter::Antialiasing);
        const bool selected = option.state & QStyle::State_Selected;
        painter->setPen(
            QPen(option.palette.color(selected ? QPalette::HighlightedText : QPalette::Link), 1.2));
        QPolygonF line;
        for (int i = 0; i < points.size(); ++i) {
            const HistoryPoint &point = points[i];
            if (std::isnan(point.last)) {
                painter->drawPolyline(line);
                line.clear();
                continue;
            }
            const qint64 until = i + 1 < points.size() ? points[i + 1].time : end;
            line << QPointF(x(point.time), y(point.last)) << QPointF(x(until), y(point.last));
        }
        painter->drawPolyline(line);
        painter->restore();
    }

private:
    Points m_points;
};

QLabel *valueLabel(const char *name, QWidget *parent)
{
    auto *const label = new QLabel(parent);
    label->setObjectName(QLatin1String(name));
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setMinimumWidth(1); // or a long word would widen the window
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

bool hasCurve(const QJsonValue &value)
{
    return value.isDouble() || value.isBool();
}

} // namespace

DevicePane::DevicePane(const DeviceWords &words, const History &history, QWidget *parent)
    : QWidget(parent)
    , m_words(words)
    , m_history(history)
    , m_hint(pagestyle::hint(tr("Select a device to see what it reports."), this))
    , m_content(new QWidget(this))
    , m_name(valueLabel("deviceName", m_content))
    , m_kind(valueLabel("deviceKind", m_content))
    , m_id(valueLabel("deviceId", m_content))
    , m_registration(valueLabel("deviceRegistration", m_content))
    , m_age(valueLabel("deviceAge", m_content))
    , m_tree(new QTreeWidget(m_content))
    , m_plotButton(pagestyle::button(tr("&History…"), "devicePlotButton", m_content))
{
    QFont large = m_name->font();
    large.setPointSizeF(large.pointSizeF() * 1.3);
    large.setBold(true);
    m_name->setFont(large);

    auto *const closeButton = new QToolButton(this);
    closeButton->setObjectName("devicePaneClose");
    closeButton->setIcon(QMaterialIcon::instance().icon(QStringLiteral("close")));
    closeButton->setAutoRaise(true);
    closeButton->setToolTip(tr("Close"));
    closeButton->setAccessibleName(tr("Close the details"));

    m_tree->setObjectName("deviceState");
    m_tree->setAccessibleName(tr("State"));
    m_tree->setHeaderLabels({tr("Member"), tr("Value"), tr("Recent")});
    m_tree->setUniformRowHeights(true);
    m_tree->setAlternatingRowColors(true);
    m_tree->setTabKeyNavigation(false);
    m_tree->setItemDelegateForColumn(
        Curve,
        new CurveDelegate(
            [this](const QString &path) { return m_history.recent(m_thing.shortid, path); }, this));
    QHeaderView *const header = m_tree->header();
    header->setStretchLastSection(false);
    header->setSectionResizeMode(Name, QHeaderView::Interactive);
    header->setSectionResizeMode(Value, QHeaderView::Stretch);
    header->resizeSection(Name, fontMetrics().averageCharWidth() * 16);
    header->resizeSection(Curve, fontMetrics().averageCharWidth() * 11);

    auto *const form = new QFormLayout;
    form->setLabelAlignment(Qt::AlignRight);
    form->addRow(tr("Kind:"), m_kind);
    form->addRow(tr("Identifier:"), m_id);
    form->addRow(tr("Cloud:"), m_registration);
    form->addRow(tr("Last change:"), m_age);
    auto *const content = new QVBoxLayout(m_content);
    content->setContentsMargins(0, 0, 0, 0);
    content->addWidget(m_name);
    content->addLayout(form);
    content->addWidget(m_tree, 1);
    content->addLayout(pagestyle::row({m_plotButton}, Qt::AlignRight));
    auto *const layout = new QVBoxLayout(this);
    layout->setContentsMargins(6, 0, 0, 0);
    layout->addLayout(pagestyle::row({closeButton}, Qt::AlignRight));
    layout->addWidget(m_hint, 1);
    layout->addWidget(m_content, 1);

    connect(closeButton, &QToolButton::clicked, this, &DevicePane::closeRequested);
    connect(m_plotButton, &QPushButton::clicked, this,
            [this] { emit plotRequested(m_thing.shortid, QString()); });
    connect(m_tree, &QTreeWidget::itemActivated, this, [this](const QTreeWidgetItem *item) {
        const QString path = item->data(Curve, PathRole).toString();
        if (!path.isEmpty()) {
            emit plotRequested(m_thing.shortid, path);
        }
    });
    m_clock.setInterval(1s);
    connect(&m_clock, &QTimer::timeout, this, [this] {
        fadeMarks();
        m_tree->viewport()->update(); // the curves move on
    });
    showNothing();
}

void DevicePane::showNothing()
{
    m_thing = ThingState();
    m_content->hide();
    m_hint->show();
}

void DevicePane::showThing(const ThingState &thing, qint64 changed)
{
    m_isFirst = m_thing.shortid != thing.shortid;
    // Another device may have changed.
    if (!m_isFirst && changed == m_changed && thing.alias == m_thing.alias &&
        thing.regid == m_thing.regid && thing.state == m_thing.state) {
        return;
    }
    if (m_isFirst) {
        m_tree->clear();
        m_items.clear();
        m_marks.clear();
    }
    m_thing = thing;
    m_changed = changed;
    const QString type = DeviceWords::typeOf(thing.shortid);
    m_name->setText(thing.alias.isEmpty() ? tr("(no name)") : dialogs::shortened(thing.alias));
    const QString description = m_words.typeDescription(type);
    m_kind->setText(m_words.typeTitle(type));
    m_kind->setToolTip(pagestyle::toolTip(description));
    m_id->setText(thing.shortid);
    m_id->setToolTip(pagestyle::toolTip(thing.shortid));
    m_registration->setText(thing.regid.isEmpty() ? tr("not registered") : tr("registered"));
    showAge();

    QHash<Place, QTreeWidgetItem *> gone = m_items;
    showState(m_tree->invisibleRootItem(), QString(), thing.state, gone);
    QVector<QTreeWidgetItem *> roots; // of what is gone: deleting one deletes its children
    for (auto it = gone.cbegin(); it != gone.cend(); ++it) {
        m_items.remove(it.key());
        m_marks.remove(it.value());
        const bool isInner =
            std::find(gone.cbegin(), gone.cend(), it.value()->parent()) != gone.cend();
        if (!isInner) {
            roots += it.value();
        }
    }
    qDeleteAll(roots);
    m_isFirst = false;
    m_tree->setRootIsDecorated(m_items.size() > m_tree->topLevelItemCount());
    m_plotButton->setEnabled(!thing.state.isEmpty());
    m_hint->hide();
    m_content->show();
}

void DevicePane::updateWords()
{
    if (!m_thing.shortid.isEmpty()) {
        const ThingState thing = m_thing;
        m_thing = ThingState();
        showThing(thing, m_changed);
    }
}

void DevicePane::showState(QTreeWidgetItem *parent, const QString &path, const QJsonObject &state,
                           QHash<Place, QTreeWidgetItem *> &gone)
{
    QTreeWidgetItem *previous = nullptr;
    for (auto it = state.begin(); it != state.end(); ++it) {
        const QString inner = path + it.key();
        const Place place(parent, it.key());
        QTreeWidgetItem *item = m_items.value(place);
        if (item == nullptr) {
            if (m_items.size() - gone.size() >= maxMembers || inner.size() > maxPathLength) {
                continue;
            }
            item = new QTreeWidgetItem;
            parent->insertChild(parent->indexOfChild(previous) + 1, item);
            m_items.insert(place, item);
        }
        gone.remove(place);
        previous = item;
        QString title = m_words.member(DeviceWords::typeOf(m_thing.shortid), inner).title;
        const QString outer = parent->text(Name) + QLatin1Char(' ');
        if (title.startsWith(outer)) { // "Memory used" below "Memory"
            title.remove(0, outer.size());
        }
        item->setText(Name, title);
        item->setToolTip(Name, pagestyle::toolTip(inner));
        if (it.value().isObject()) {
            item->setText(Value, QString());
            item->setData(Curve, PathRole, {});
            const bool wasEmpty = item->childCount() == 0;
            showState(item, inner + QLatin1Char('.'), it.value().toObject(), gone);
            if (wasEmpty) {
                item->setExpanded(true);
            }
        } else {
            showValue(item, inner, it.value());
        }
    }
}

void DevicePane::showValue(QTreeWidgetItem *item, const QString &path, const QJsonValue &value)
{
    const QString unit = m_words.member(DeviceWords::typeOf(m_thing.shortid), path).unit;
    const QString text = m_words.valueText(value, unit);
    const QString shown =
        text.size() > maxShownLength ? text.left(maxShownLength) + QChar(0x2026) : text;
    if (item->text(Value) != shown) {
        item->setText(Value, shown);
        item->setToolTip(Value, pagestyle::toolTip(text));
        if (!m_isFirst) {
            QColor mark = palette().color(QPalette::Highlight);
            mark.setAlpha(70);
            item->setBackground(Value, mark);
            m_marks[item] = QDateTime::currentMSecsSinceEpoch() + markTime;
        }
    }
    item->setData(Curve, PathRole, hasCurve(value) ? path : QString());
}

void DevicePane::showAge()
{
    const QDateTime then = QDateTime::fromMSecsSinceEpoch(m_changed);
    const bool isToday = then.date() == QDate::currentDate();
    const QString time = then.time().toString(QStringLiteral("HH:mm:ss"));
    m_age->setText(m_changed == 0 ? tr("unknown")
                   : isToday      ? time
                                  : QLocale().toString(then.date(), QLocale::ShortFormat) +
                                   QLatin1Char(' ') + time);
}

void DevicePane::fadeMarks()
{
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    for (auto it = m_marks.begin(); it != m_marks.end();) {
        if (it.value() <= now) {
            it.key()->setBackground(Value, QBrush());
            it = m_marks.erase(it);
        } else {
            ++it;
        }
    }
}

void DevicePane::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    m_clock.start();
}

void DevicePane::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    m_clock.stop();
}
