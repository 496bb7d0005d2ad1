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
    markChanged(lamp->number());
    updateBlinkTimer();
}

void LampBoard::remove(LampThing *lamp)
{
    if (m_lamps.remove(lamp->number(), lamp) > 0) {
        markChanged(lamp->number());
        updateBlinkTimer();
    }
}

void LampBoard::setBlink(int seconds)
{
    if (seconds != m_blink) {
        m_blink = seconds;
        if (m_timer) {
            m_timer->stop();
        }
        updateBlinkTimer();
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
        m_feed->markCountChanged();
    }
    forEachLamp([count](LampThing *lamp) {
        if (lamp->number() > count) {
            lamp->detach();
        }
    });
}

int LampBoard::count() const
{
    return m_count;
}

QObject *LampBoard::createPanel()
{
    if (m_model) {
        return nullptr;
    }
    // A lamp that follows after all were gone may live on another thread.
    if (!m_feed || m_feed->thread() != QThread::currentThread()) {
        m_feed = std::make_unique<LampFeed>(*this);
    }
    auto model = std::make_unique<LampModel>();
    m_model = model.get();
    // Queued even on one thread: the model's answer must not call the board in the middle of a
    // change.
    QObject::connect(m_feed.get(), &LampFeed::batchReady, model.get(), &LampModel::applyBatch,
                     Qt::QueuedConnection);
    QObject::connect(model.get(), &LampModel::readyForNext, m_feed.get(), &LampFeed::sendNext,
                     Qt::QueuedConnection);
    const auto toggle = [this](int number) {
        if (LampThing *const lamp = m_lamps.value(number)) {
            lamp->toggle();
        }
    };
    QObject::connect(model.get(), &LampModel::switchPressed, m_feed.get(), toggle,
                     Qt::QueuedConnection);
    const auto setLampPlugged = [this](int number, bool plugged) { setPlugged(number, plugged); };
    QObject::connect(model.get(), &LampModel::plugToggled, m_feed.get(), setLampPlugged,
                     Qt::QueuedConnection);
    m_feed->sendAll();
    return new LampPanel(std::move(model));
}

void LampBoard::markChanged(int number)
{
    if (m_feed) {
        m_feed->markChanged(number);
    }
}

LampRecord LampBoard::record(int number) const
{
    if (const LampThing *const lamp = m_lamps.value(number)) {
        return lamp->record();
    }
    LampRecord record;
    record.number = number;
    record.presence = isUnplugged(number) ? LampRecord::Unplugged : LampRecord::AwaitsScan;
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
    markChanged(number);
    LampThing *const lamp = m_lamps.value(number);
    if (lamp != nullptr && !plugged) {
        lamp->detach();
    }
}

template <typename Action>
void LampBoard::forEachLamp(Action action)
{
    // A receiver of the lamp's signals may delete this lamp or others.
    const QMultiHash<int, LampThing *> lamps = m_lamps;
    for (auto lamp = lamps.begin(); lamp != lamps.end(); ++lamp) {
        if (m_lamps.contains(lamp.key(), lamp.value())) {
            action(lamp.value());
        }
    }
}

void LampBoard::updateBlinkTimer()
{
    if (m_blink == 0 || m_lamps.isEmpty()) {
        if (m_timer) {
            m_timer->stop();
        }
        return;
    }
    // As in createPanel().
    if (!m_timer || m_timer->thread() != QThread::currentThread()) {
        m_timer = std::make_unique<QTimer>();
        QObject::connect(m_timer.get(), &QTimer::timeout, m_timer.get(),
                         [this] { forEachLamp([](LampThing *lamp) { lamp->toggle(); }); });
    }
    if (!m_timer->isActive()) {
        m_timer->start(std::chrono::seconds(m_blink));
    }
}
