#include "outbox/outbox.h"
#include "tests/support/fileaccess.h"
#include "tests/support/files.h"
#include "tests/support/testclock.h"
#include "tests/support/testmain.h"
#include "tests/support/writefault.h"

#include <random>

using namespace std::chrono_literals;

namespace {

QStringList takeAll(Outbox &outbox)
{
    QStringList taken;
    Outbox::Message message;
    while (outbox.take(message)) {
        taken.append(message.id + ' ' + QString::fromUtf8(message.payload));
    }
    return taken;
}

void add(Outbox &outbox, int count, int size = 100)
{
    for (int i = 0; i < count; ++i) {
        outbox.append("id", QByteArray(size, 'x'));
    }
}

} // namespace

class TestOutbox : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        m_path = m_dir->filePath(QString::fromUtf8("\u0434/outbox.db"));
    }

    // Against a list in memory: any order of calls, restarts and kills among them.
    void nothingIsLostOrOvertaken_data()
    {
        QTest::addColumn<int>("seed");
        const int last = testclock::canAdvance() ? 12 : 1; // it takes half a minute there
        for (int seed = 1; seed <= last; ++seed) {
            QTest::addRow("%d", seed) << seed;
        }
    }
    void nothingIsLostOrOvertaken()
    {
        QFETCH(int, seed);
        std::mt19937 random(seed);
        std::deque<QString> expected; // not confirmed
        std::size_t taken = 0;
        int next = 0;
        auto outbox = std::make_unique<Outbox>(m_path);
        for (int step = 0; step < 600; ++step) {
            switch (random() % 8) {
            case 0:
            case 1:
            case 2:
                for (int i = random() % 40; i >= 0; --i, ++next) {
                    const QString id = "thing_" + QString::number(next % 3);
                    const QByteArray payload =
                        QByteArray::number(next) + QByteArray(random() % 9000, 'p');
                    outbox->append(id, payload);
                    expected.push_back(id + ' ' + QString::fromUtf8(payload));
                }
                break;
            case 3:
            case 4: {
                Outbox::Message message;
                for (int i = random() % 60; i > 0 && outbox->take(message); --i, ++taken) {
                    QCOMPARE(message.id + ' ' + QString::fromUtf8(message.payload),
                             expected.at(taken));
                }
                break;
            }
            case 5: {
                const std::size_t count = taken == 0 ? 0 : random() % (taken + 1);
                outbox->confirm(qint64(count));
                expected.erase(expected.begin(), expected.begin() + std::ptrdiff_t(count));
                taken -= count;
                break;
            }
            case 6:
                outbox->putBack();
                taken = 0;
                break;
            default:
                if (random() % 3 != 0) {
                    testclock::advance(600ms); // the interval of writing
                    QTest::qWait(1);
                } else if (random() % 2 == 0) {
                    outbox->flush();
                } else {
                    outbox = nullptr; // a restart
                    outbox = std::make_unique<Outbox>(m_path);
                    taken = 0;
                }
            }
            QCOMPARE(outbox->waiting(), qint64(expected.size()));
            QCOMPARE(outbox->taken(), qint64(taken));
        }
        outbox->putBack();
        QCOMPARE(takeAll(*outbox), QStringList(expected.begin(), expected.end()));
        outbox->confirm(outbox->taken());
        QCOMPARE(outbox->ledger().delivered, qint64(next));
        outbox = nullptr;
        QVERIFY(Outbox(m_path).isEmpty());
    }

    // The files as they are at some moment are what a kill leaves.
    void aKillLosesTheLastSecondAtMostAndRepeatsNothingConfirmed()
    {
        const QString killed = m_dir->filePath("killed.db");
        const auto kill = [&] {
            for (const char *const suffix : {"", "-wal"}) {
                QFile::remove(killed + suffix);
                QFile::copy(m_path + suffix, killed + suffix);
            }
        };
        Outbox outbox(m_path);
        for (int i = 0; i < 3000; ++i) {
            outbox.append("id", QByteArray::number(i) + QByteArray(1000, 'x'));
        }
        testclock::advance(600ms);
        QTest::qWait(testclock::canAdvance() ? 1 : 1200);
        outbox.append("id", "young");
        kill();
        QCOMPARE(Outbox(killed).waiting(), 3000LL);
        Outbox::Message message;
        for (int i = 0; i < 2000; ++i) {
            QVERIFY(outbox.take(message));
            outbox.confirm(i % 2 == 0 ? 0 : 2);
        }
        kill();
        Outbox restarted(killed);
        QVERIFY(restarted.take(message));
        QVERIFY(message.payload.startsWith("2000x"));
        QCOMPARE(restarted.waiting(), 1000LL);
    }

    void nothingIsWrittenWhileItGoesOutAtOnce()
    {
        auto outbox = std::make_unique<Outbox>(m_path);
        for (int i = 0; i < 50; ++i) {
            add(*outbox, 1);
            QCOMPARE(takeAll(*outbox).size(), 1);
            outbox->confirm(1);
            testclock::advance(600ms);
            QTest::qWait(1);
        }
        outbox->countDelivered();
        QVERIFY(!QFile::exists(m_path));
        outbox = nullptr;
        QVERIFY(isPrivate(m_path));
        QCOMPARE(Outbox(m_path).ledger().delivered, 51LL);
    }

    void theOldestGoWhenTheyAreTooManyOrTooOld()
    {
        Outbox outbox(m_path);
        outbox.setLimits({200LL * 1024, 10h});
        outbox.append("first", "x");
        add(outbox, 1000, 1024);
        outbox.flush(); // writes, and drops with the next write
        outbox.append("last", "x");
        outbox.flush();
        QVERIFY2(outbox.waiting() > 100 && outbox.waiting() < 260,
                 qPrintable(QString::number(outbox.waiting())));
        QCOMPARE(outbox.ledger().droppedFull, 1002 - outbox.waiting());
        QCOMPARE(takeAll(outbox).last(), QString("last x"));
        outbox.putBack();
        if (!testclock::canAdvance()) {
            QSKIP("needs hours");
        }
        testclock::advance(6h);
        outbox.append("young", "x");
        outbox.flush();
        QVERIFY(outbox.waitingFor() >= 6h);
        testclock::advance(5h);
        outbox.append("younger", "x");
        outbox.flush();
        QCOMPARE(takeAll(outbox), (QStringList{"young x", "younger x"}));
        QCOMPARE(outbox.ledger().droppedFull + outbox.ledger().droppedOld, 1002LL);
        outbox.putBack();
        testclock::advance(9h);
        outbox.setLimits({200LL * 1024, 10h}); // as at a start
        QCOMPARE(takeAll(outbox), QStringList{"younger x"});
    }

    void agesCountTimeAndNotDates()
    {
        using std::chrono::hours;
        const auto date = OutboxClock::date();
        OutboxClock clock;
        clock.resume(100h, date - 7h); // the last run ended seven hours ago
        QCOMPARE(std::chrono::duration_cast<hours>(clock.reading()).count(), 107);
        clock = OutboxClock();
        clock.resume(100h, date + 7h); // the date was set back
        QCOMPARE(std::chrono::duration_cast<hours>(clock.reading()).count(), 100);
        clock = OutboxClock();
        clock.resume(100h, 24h * 365 * 31); // the last run ended in 2000, before the date was set
        QCOMPARE(std::chrono::duration_cast<hours>(clock.reading()).count(), 100);
    }

    void discardedMessagesDoNotComeBack()
    {
        for (const bool isStored : {false, true}) {
            {
                Outbox outbox(m_path);
                outbox.append("a", "1");
                outbox.append("b", "2");
                outbox.append("a", "3");
                if (isStored) {
                    outbox.flush();
                }
                outbox.append("b", "4");
                Outbox::Message message;
                QVERIFY(outbox.take(message)); // on its way to the cloud
                outbox.discard({"a"});
                QCOMPARE(outbox.waiting(), 1LL);
                QCOMPARE(outbox.ledger().droppedVoid, isStored ? 7 : 2);
                outbox.append("a", "5");
            }
            Outbox outbox(m_path);
            QCOMPARE(takeAll(outbox), (QStringList{"a 3", "a 5"}));
            outbox.putBack();
            outbox.discard({});
            QVERIFY(outbox.isEmpty());
            QCOMPARE(outbox.ledger().delivered, isStored ? 2 : 1);
            outbox.append("new", "6");
            outbox.flush();
            QVERIFY(outbox.fault().isEmpty());
            QCOMPARE(outbox.waiting(), 1LL);
            outbox.discard({});
        }
        QVERIFY(Outbox(m_path).isEmpty());
        QVERIFY(!QFile::exists(m_path + ".damaged"));
    }

    void numbersOfTheFileAreNotBelieved()
    {
        for (const auto &[bytes, count] :
             {std::pair(3LL, 1LL), {3'000'000'000, 1}, {0, 1'000'000}}) {
            {
                Outbox outbox(m_path);
                add(outbox, 300);
            }
            {
                OutboxFile file(m_path);
                QVERIFY(file.open() && file.begin(true));
                OutboxFile::State state = file.state().value();
                state.goneBytes = bytes;
                state.goneCount = count;
                QVERIFY(file.commit(state));
            }
            Outbox outbox(m_path);
            outbox.append("new", "1");
            QCOMPARE(takeAll(outbox), QStringList{"new 1"});
            outbox.confirm(1);
            QVERIFY(outbox.isEmpty());
            QVERIFY(outbox.ledger().droppedLost > 0);
        }
    }

    void whileWaitingStatesGoOutNewOnesAreWritten()
    {
        Outbox outbox(m_path);
        add(outbox, 100);
        outbox.flush();
        Outbox::Message message;
        for (int i = 0; i < 8; ++i) {
            outbox.append("new", "1");
            QVERIFY(outbox.take(message));
            outbox.confirm(1);
            testclock::advance(200ms);
            QTest::qWait(1);
        }
        QFile::copy(m_path, m_path + "2"); // as a kill leaves it
        QFile::copy(m_path + "-wal", m_path + "2-wal");
        QVERIFY(Outbox(m_path + "2").waiting() > 92);
    }

    void aDamagedFileIsSetAside_data()
    {
        QTest::addColumn<int>("kind");
        QTest::newRow("text") << 0;
        QTest::newRow("cut") << 1;
        QTest::newRow("overwritten within") << 2;
        QTest::newRow("overwritten everywhere") << 3;
        QTest::newRow("marked as not to be written") << 4;
        QTest::newRow("another column") << 5;
        QTest::newRow("another format") << 6;
    }
    void aDamagedFileIsSetAside()
    {
        QFETCH(int, kind);
        {
            Outbox outbox(m_path);
            add(outbox, 5000, 1000);
        }
        QByteArray bytes = readFile(m_path);
        const int from = kind == 2 ? bytes.size() / 3 : 0;
        switch (kind) {
        case 0:
            bytes = "This is no outbox.";
            break;
        case 1:
            bytes.truncate(bytes.size() / 2);
            break;
        case 4:
            bytes[18] = 0x7f;
            break;
        case 6:
            bytes[47] = 0x7f;
            break;
        case 5:
            bytes.replace("number INT", "numbor INT");
            break;
        default:
            for (int i = from; i < bytes.size(); i += 97) {
                bytes[i] = char(bytes[i] ^ 0x5a);
            }
        }
        QVERIFY(writeFile(m_path, bytes));
        Outbox outbox(m_path);
        outbox.append("new", "1");
        const QStringList taken = takeAll(outbox);
        QCOMPARE(taken.last(), QString("new 1"));
        outbox.confirm(outbox.taken());
        QVERIFY(outbox.isEmpty());
        QVERIFY(outbox.fault().isEmpty());
        QVERIFY(QFile::exists(m_path + ".damaged"));
        if (kind == 2) {
            QCOMPARE(outbox.ledger().droppedLost + taken.size(), 5001LL);
        }
    }

    void aFullDiskLeavesTheMemory()
    {
        QVERIFY(QDir().mkpath(QFileInfo(m_path).path()));
        Outbox outbox(m_path);
        {
            const auto full = fileFault(m_path, 0);
            add(outbox, 10);
            outbox.flush();
            QVERIFY(!outbox.fault().isEmpty());
        }
        outbox.flush();
        QVERIFY(outbox.fault().isEmpty());
#ifdef Q_OS_WIN
        QSKIP("An open file cannot be locked here.");
#endif
        {
            const auto full = fileFault(m_path, 0);
            for (int i = 0; i < 700; ++i) {
                outbox.append("id", QByteArray(100 * 1024, 'm'));
            }
            QVERIFY(!outbox.fault().isEmpty());
            QVERIFY(outbox.ledger().droppedFull > 0);
            QVERIFY(outbox.waiting() > 500);
            Outbox::Message message;
            while (outbox.taken() < 20 && outbox.take(message)) {
            }
            outbox.flush();
            outbox.putBack(); // what is not in the file stays in memory
        }
        outbox.flush();
        QVERIFY(outbox.fault().isEmpty());
        QCOMPARE(takeAll(outbox).size(), 710 - int(outbox.ledger().droppedFull));
        {
            const auto full = fileFault(m_path, 0);
            outbox.confirm(outbox.taken());
            QVERIFY(!outbox.fault().isEmpty());
        }
        testclock::advance(11s);
        QTRY_VERIFY(outbox.fault().isEmpty()); // although nothing waits any more
    }

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_path;
};

KVG_TEST_MAIN(TestOutbox)
#include "tst_outbox.moc"
