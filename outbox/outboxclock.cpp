#include "outbox/outboxclock.h"

#include "outbox/uptime.h"
#include "settings/defaults.h"

#include <QDateTime>

namespace {

constexpr std::chrono::hours maxAgeOfProgram(20 * 365 * 24);

} // namespace

OutboxClock::OutboxClock()
    : m_started(uptime())
{
}

void OutboxClock::resume(Milliseconds reading, Milliseconds date)
{
    // A date before this program was released is wrong, and one long after it, too.
    const Milliseconds released(QDate::fromString(QLatin1String(defaults::ReleaseDate), Qt::ISODate)
                                    .startOfDay(Qt::UTC)
                                    .toMSecsSinceEpoch());
    const Milliseconds now = this->date();
    m_base = qMax(m_base, reading);
    if (date >= released && now > date && now < released + maxAgeOfProgram) {
        m_base += now - date;
    }
}

OutboxClock::Milliseconds OutboxClock::reading() const
{
    return m_base + uptime() - m_started;
}

OutboxClock::Milliseconds OutboxClock::date()
{
    return Milliseconds(QDateTime::currentMSecsSinceEpoch());
}
