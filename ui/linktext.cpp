#include "ui/linktext.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QLocale>

namespace {

struct LinkText
{
    Q_DECLARE_TR_FUNCTIONS(LinkText)
};

constexpr qint64 day = 24LL * 60 * 60 * 1000;
constexpr qint64 warningTime = 30 * day;

QString date(qint64 milliseconds)
{
    return QLocale().toString(QDateTime::fromMSecsSinceEpoch(milliseconds).date(),
                              QLocale::ShortFormat);
}

// The date only when it is not today's.
QString moment(qint64 milliseconds, qint64 now)
{
    const QDateTime then = QDateTime::fromMSecsSinceEpoch(milliseconds);
    const QString time = QLocale().toString(then.time(), QLocale::ShortFormat);
    return then.date() == QDateTime::fromMSecsSinceEpoch(now).date()
               ? time
               : date(milliseconds) + QLatin1Char(' ') + time;
}

QString number(qint64 count)
{
    return QLocale().toString(count);
}

QString sentences(const ConnectionFailure &failure)
{
    if (failure.isNull()) {
        return {};
    }
    const QString cause = failure.detail.isEmpty()
                              ? failure.cause
                              : QStringLiteral("%1: %2").arg(failure.cause, failure.detail);
    return QStringLiteral("%1. %2.").arg(cause, failure.cure);
}

// Delivered, dropped and why.
QString counts(const OutboxLedger &ledger)
{
    QStringList reasons;
    const auto add = [&reasons](qint64 count, const QString &format) {
        if (count > 0) {
            reasons += format.arg(number(count));
        }
    };
    add(ledger.droppedFull, LinkText::tr("%1 for want of room"));
    add(ledger.droppedOld, LinkText::tr("%1 too old"));
    add(ledger.droppedVoid, LinkText::tr("%1 of a void registration"));
    add(ledger.droppedLost, LinkText::tr("%1 damaged"));
    const QString text = LinkText::tr("%1 delivered, %2 dropped")
                             .arg(number(ledger.delivered), number(ledger.dropped()));
    return reasons.isEmpty() ? text : text + QStringLiteral(" (%1)").arg(reasons.join(", "));
}

} // namespace

QString linktext::headline(const LinkState &state, qint64 now)
{
    switch (state.kind) {
    case LinkState::NotRegistered:
        return LinkText::tr("Register this gateway to connect it to the cloud.");
    case LinkState::Connected:
        return LinkText::tr("Connected since %1.").arg(moment(state.since, now));
    default:
        return sentences(state.failure.translated());
    }
}

QString linktext::summary(const LinkState &state, qint64 now)
{
    QString next;
    if (state.kind == LinkState::Connecting) {
        next = LinkText::tr("Connecting...");
    } else if (state.kind == LinkState::Waiting) {
        next = LinkText::tr("No further attempt is made.");
    }
    if (state.nextAttempt > 0) { // then a further one is under way
        next = state.nextAttempt > now
                   ? LinkText::tr("Next attempt in %1 s.").arg((state.nextAttempt - now) / 1000 + 1)
                   : LinkText::tr("Connecting...");
    }
    QStringList lines{headline(state, now), next};
    lines.removeAll(QString());
    return lines.join(QLatin1Char('\n'));
}

QString linktext::ledger(const LinkState &state)
{
    QStringList lines;
    if (state.ledger.waiting > 0) {
        lines += LinkText::tr("Waiting: %1 since %2")
                     .arg(number(state.ledger.waiting),
                          moment(state.waitingSince, QDateTime::currentMSecsSinceEpoch()));
    }
    if (state.ledger.delivered + state.ledger.dropped() + state.ledger.waiting > 0) {
        lines += LinkText::tr("In this run: %1").arg(counts(state.thisRun));
        lines += LinkText::tr("Since %1: %2").arg(date(state.ledger.since), counts(state.ledger));
    }
    if (!state.outboxFault.isEmpty()) {
        lines += state.outboxFault;
    }
    return lines.join(QLatin1Char('\n'));
}

QString linktext::validity(const LinkState &state, qint64 now)
{
    if (state.certificateUntil == 0) {
        return {};
    }
    if (now < state.certificateFrom) {
        return LinkText::tr("Not valid before %1").arg(date(state.certificateFrom));
    }
    return now > state.certificateUntil
               ? LinkText::tr("Expired on %1").arg(date(state.certificateUntil))
               : LinkText::tr("Until %1").arg(date(state.certificateUntil));
}

bool linktext::isValidityWarning(const LinkState &state, qint64 now)
{
    return state.certificateUntil != 0 &&
           (now < state.certificateFrom || now > state.certificateUntil - warningTime);
}
