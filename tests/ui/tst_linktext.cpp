#include "tests/support/testclock.h"
#include "tests/support/testmain.h"
#include "ui/linknotices.h"
#include "ui/linktext.h"

using namespace std::chrono_literals;

constexpr qint64 day = 24LL * 60 * 60 * 1000;

class TestLinkText : public QObject
{
    Q_OBJECT

private slots:
    void theStateIsToldInWords()
    {
        const qint64 now = QDateTime(QDate(2026, 5, 20), QTime(12, 0)).toMSecsSinceEpoch();
        LinkState state;
        QCOMPARE(linktext::ledger(state), QString());
        state.kind = LinkState::Waiting;
        state.failure = {"host name lookup failed", {}, "check the network"};
        state.nextAttempt = now + 4200;
        QCOMPARE(linktext::summary(state, now),
                 QString("Host name lookup failed. Check the network.\nNext attempt in 5 s."));
        state.nextAttempt = 0;
        QVERIFY(linktext::summary(state, now).endsWith("\nNo further attempt is made."));
        state.kind = LinkState::Connecting;
        state.failure = {};
        QCOMPARE(linktext::summary(state, now), QString("Connecting..."));
        state.ledger.waiting = 1200;
        state.ledger.delivered = 7;
        state.ledger.droppedFull = 2;
        state.ledger.droppedOld = 1;
        state.thisRun.delivered = 3;
        state.outboxFault = "The disk is full";
        const QStringList lines = linktext::ledger(state).split('\n');
        QCOMPARE(lines.size(), 4);
        QVERIFY(lines[0].startsWith("Waiting: 1,200 since "));
        QCOMPARE(lines[1], QString("In this run: 3 delivered, 0 dropped"));
        QVERIFY(lines[2].endsWith(": 7 delivered, 3 dropped (2 for want of room, 1 too old)"));
        QCOMPARE(lines[3], QString("The disk is full"));
    }

    void theValidityWarnsForThirtyDays()
    {
        LinkState state;
        QVERIFY(!linktext::isValidityWarning(state, 0) && linktext::validity(state, 0).isEmpty());
        state.certificateFrom = 100 * day;
        state.certificateUntil = 200 * day;
        const std::tuple<qint64, bool, const char *> rows[] = {{99 * day, true, "Not valid before"},
                                                               {169 * day, false, "Until"},
                                                               {171 * day, true, "Until"},
                                                               {201 * day, true, "Expired"}};
        for (const auto &[now, warning, word] : rows) {
            QCOMPARE(linktext::isValidityWarning(state, now), warning);
            QVERIFY(linktext::validity(state, now).startsWith(word));
        }
    }

    void aLossIsToldOnceAfterFiveMinutesAndItsEndOnce()
    {
        if (!testclock::canAdvance()) {
            QSKIP("the clock cannot be advanced");
        }
        LinkNotices notices;
        QSignalSpy told(&notices, &LinkNotices::notice);
        LinkState connected;
        connected.kind = LinkState::Connected;
        LinkState waiting;
        waiting.kind = LinkState::Waiting;
        const auto pass = [](std::chrono::milliseconds time) {
            testclock::advance(time);
            QTest::qWait(20);
        };
        const auto show = [&](const LinkState &state) { notices.showState(state); };
        show(connected);
        show(waiting);
        pass(4min);
        show(connected); // in time
        show(waiting);
        show(waiting);
        pass(299s);
        QCOMPARE(told.size(), 0);
        show(waiting);
        pass(2s);
        QCOMPARE(told.size(), 1);
        pass(10min);
        show(waiting);
        pass(10min);
        show(connected);
        show(connected);
        QCOMPARE(told.size(), 2);

        connected.certificateUntil = QDateTime::currentMSecsSinceEpoch() + 20 * day;
        show(connected);
        show(connected);
        QCOMPARE(told.size(), 3); // not again today
    }
};

KVG_TEST_MAIN(TestLinkText)
#include "tst_linktext.moc"
