#include "plugins/lamp/lampboard.h"

#include "plugins/lamp/lampthing.h"

#include <QThread>
#include <QTimer>

#include <chrono>

LampBoard::LampBoard() = default;
LampBoard::~LampBoard() = default;

void LampBoard::add(LampThing *lamp)
{
    m_lamps.insert(lamp);
    arm();
}

void LampBoard::remove(LampThing *lamp)
{
    m_lamps.remove(lamp);
    arm();
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

void LampBoard::limitTo(int count)
{
    forEach([count](LampThing *lamp) { lamp->endIfAbove(count); });
}

template <typename Action>
void LampBoard::forEach(Action action)
{
    // Who hears of a lamp may delete this one or any other.
    const QSet<LampThing *> lamps = m_lamps;
    for (LampThing *lamp : lamps) {
        if (m_lamps.contains(lamp)) {
            action(lamp);
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
