#include "plugins/lamp/lampboard.h"

#include "plugins/lamp/lampfeed.h"
#include "plugins/lamp/lampmodel.h"
#include "plugins/lamp/lamppanel.h"
#include "plugins/lamp/lampthing.h"

#include <QThread>
#include <QTimer>

#include <chrono>

LampBoard::LampBoard() = default;
LampBoard::~LampBoard() = default;

void LampBoard::add(LampThing *lamp)
{
    m_lamps.insert(lamp->number(), lamp);
    note(lamp->number());
    arm();
}

void LampBoard::remove(LampThing *lamp)
{
    if (m_lamps.remove(lamp->number(), lamp) > 0) {
        note(lamp->number());
        arm();
    }
}

void LampBoard::setBlink(int seconds)
{
    if (seconds != m_blink) {
        m_blink = seconds;
        if (m_timer) {
            m_timer->stop();
        }
        arm();
    }
}

void LampBoard::setCount(int count)
{
    if (count == m_count) {
        return;
    }
    m_count = count;
    const QSet<int> unplugged = m_unplugged;
    for (const int number : unplugged) {
        if (number > count) {
            m_unplugged.remove(number);
        }
    }
    if (m_feed) {
        m_feed->noteCount();
    }
    forEach([count](LampThing *lamp) {
        if (lamp->number() > count) {
            lamp->end();
        }
    });
}

int LampBoard::count() const
{
    return m_count;
}

QObject *LampBoard::openPanel()
{
    if (!m_window.expired()) {
        return nullptr;
    }
    // The first lamp after a time without may be one of another thread.
    if (!m_feed || m_feed->thread() != QThread::currentThread()) {
        m_feed = std::make_unique<LampFeed>(*this);
    }
    auto model = std::make_unique<LampModel>();
    m_window = model->life();
    // Always queued: what goes to the window must not come back before the board is done.
    QObject::connect(m_feed.get(), &LampFeed::changed, model.get(), &LampModel::take,
                     Qt::QueuedConnection);
    QObject::connect(model.get(), &LampModel::taken, m_feed.get(), &LampFeed::resume,
                     Qt::QueuedConnection);
    QObject::connect(model.get(), &LampModel::switchPressed, m_feed.get(), &LampFeed::toggle,
                     Qt::QueuedConnection);
    QObject::connect(model.get(), &LampModel::plugMoved, m_feed.get(), &LampFeed::setPlugged,
                     Qt::QueuedConnection);
    m_feed->start();
    return new LampPanel(std::move(model));
}

void LampBoard::note(int number)
{
    if (m_feed) {
        m_feed->note(number);
    }
}

LampRecord LampBoard::record(int number) const
{
    if (const LampThing *const lamp = m_lamps.value(number)) {
        return lamp->record();
    }
    LampRecord record;
    record.number = number;
    record.presence = isUnplugged(number) ? LampRecord::Unplugged : LampRecord::Awaited;
    return record;
}

QSet<int> LampBoard::numbers() const
{
    QSet<int> numbers = m_unplugged;
    for (auto lamp = m_lamps.keyBegin(); lamp != m_lamps.keyEnd(); ++lamp) {
        numbers.insert(*lamp);
    }
    return numbers;
}

bool LampBoard::isUnplugged(int number) const
{
    return m_unplugged.contains(number);
}

void LampBoard::setPlugged(int number, bool plugged)
{
    if (number < 1 || number > m_count || plugged != isUnplugged(number)) {
        return;
    }
    if (plugged) {
        m_unplugged.remove(number);
    } else {
        m_unplugged.insert(number);
    }
    note(number);
    LampThing *const lamp = m_lamps.value(number);
    if (lamp != nullptr && !plugged) {
        lamp->end();
    }
}

void LampBoard::toggle(int number)
{
    if (LampThing *const lamp = m_lamps.value(number)) {
        lamp->toggle();
    }
}

template <typename Action>
void LampBoard::forEach(Action action)
{
    // Who hears of a lamp may delete this one or any other.
    const QMultiHash<int, LampThing *> lamps = m_lamps;
    for (auto lamp = lamps.begin(); lamp != lamps.end(); ++lamp) {
        if (m_lamps.contains(lamp.key(), lamp.value())) {
            action(lamp.value());
        }
    }
}

void LampBoard::arm()
{
    if (m_blink == 0 || m_lamps.isEmpty()) {
        if (m_timer) {
            m_timer->stop();
        }
        return;
    }
    // The first lamp after a time without may be one of another thread.
    if (!m_timer || m_timer->thread() != QThread::currentThread()) {
        m_timer = std::make_unique<QTimer>();
        QObject::connect(m_timer.get(), &QTimer::timeout, m_timer.get(),
                         [this] { forEach([](LampThing *lamp) { lamp->toggle(); }); });
    }
    if (!m_timer->isActive()) {
        m_timer->start(std::chrono::seconds(m_blink));
    }
}
