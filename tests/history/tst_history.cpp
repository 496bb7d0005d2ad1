#include "history/history.h"
#include "tests/support/fileaccess.h"
#include "tests/support/files.h"
#include "tests/support/testclock.h"
#include "tests/support/testmain.h"
#include "tests/support/writefault.h"

#include <QDirIterator>
#include <QJsonArray>
#include <QTemporaryDir>

#include <sqlite3.h>

#include <map>
#include <random>

using namespace std::chrono_literals;

namespace {

constexpr qint64 minute = 60'000;
constexpr qint64 hour = 60 * minute;
constexpr qint64 start = 1'600'000'000'000 / hour * hour;

qint64 now = start;

template <typename Result, typename Request>
Result waitFor(const Request &request)
{
    Result result;
    QEventLoop loop;
    request([&](const Result &answer) {
        result = answer;
        loop.quit();
    });
    loop.exec();
    return result;
}

HistoryPoints fetch(History &history, const HistoryMember &member, qint64 from = 0,
                    qint64 to = start * 2, int maxPoints = 0)
{
    return waitFor<QVector<HistoryPoints>>([&](const auto &ready) {
               history.fetch({member}, from, to, maxPoints, &history, ready);
           })
        .at(0);
}

// "second:value" of each point, or "second:min..max" where these differ.
QString text(const HistoryPoints &points)
{
    QStringList texts;
    for (const HistoryPoint &point : points) {
        texts.append(QStringLiteral("%1:%2").arg((point.time - start) / 1000).arg(point.last));
        if (point.min != point.max && !std::isnan(point.min)) {
            texts.last() += QStringLiteral("(%1..%2)").arg(point.min).arg(point.max);
        }
    }
    return texts.join(' ');
}

// Without the extremes of the first: stored values tell no more than the minute.
QString byMinute(const HistoryPoints &points)
{
    std::map<qint64, HistoryEntry> entries;
    for (const HistoryPoint &point : points) {
        entries[point.time / minute].add({point.min, point.max, point.last});
    }
    HistoryPoints merged;
    for (const auto &[time, entry] : entries) {
        merged.append({time * minute, entry.min, entry.max, entry.last});
    }
    if (!merged.isEmpty()) {
        merged.first().min = merged.first().max;
    }
    return text(merged);
}

} // namespace

class TestHistory : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        now = start;
        m_dir = std::make_unique<QTemporaryDir>();
        m_path = m_dir->filePath(QString::fromUtf8("\u0434/history.db"));
        QDir().mkpath(QFileInfo(m_path).path());
        open();
    }

    // Against a list in memory.
    void whatWasRecordedCanBeFetched_data()
    {
        QTest::addColumn<int>("seed");
        for (int seed = 1; seed <= 8; ++seed) {
            QTest::addRow("%d", seed) << seed;
        }
    }
    void whatWasRecordedCanBeFetched()
    {
        QFETCH(int, seed);
        std::mt19937 random(seed);
        HistoryPoints expected;
        const auto expect = [&](qint64 time, double value) {
            const double last = expected.isEmpty() ? HistoryEntry::unknown : expected.last().last;
            if (!isSameValue(last, value)) {
                expected.append({time, value, value, value});
            }
        };
        for (int step = 0; step < 3000; ++step) {
            now += 1000 * qint64(1 + random() % (random() % 8 == 0 ? 170 : 20));
            const int what = int(random() % 300);
            if (what < 4) {
                expect(now, HistoryEntry::unknown);
                what < 2 ? m_history->leave("d") : open();
            } else if (what < 6 && !expected.isEmpty()) { // sleep, with the value still known
                m_history->record("other", {});
                const double value = expected.last().last;
                expect(now + 1000, HistoryEntry::unknown);
                now += qint64(1 + random() % 5) * hour;
                expect(now, value);
                m_history->record("other", {});
            } else {
                const double value =
                    random() % 3 == 0 ? int(random() % 3) : int(random() % 99) / 8.;
                m_history->record("d", {{"x", value}});
                expect(now, value);
            }
            if (what >= 295) {
                const qint64 from = start + qint64(random()) % (now - start) / minute * minute;
                const HistoryPoints points = fetch(*m_history, {"d", "x"}, from, now);
                QCOMPARE(byMinute(points), byMinute(clipPoints(expected, from, now)));
                const HistoryPoints few = fetch(*m_history, {"d", "x"}, from, now, 20);
                QVERIFY(few.size() <= 20);
                QCOMPARE(mergePoints(few, 1).value(0).max, mergePoints(points, 1).value(0).max);
            }
        }
        const QString recent = byMinute(m_history->recent("d", "x")); // since the last start
        QVERIFY(byMinute(expected).endsWith(recent.section(' ', 2)));
        QVERIFY(isPrivate(m_path));
    }

    // The files as they are at some moment are what a kill leaves.
    void aKilledProcessKnewNothingAfterItsLastMinute()
    {
        for (int i = 0; i < 5; ++i, now += 50'000) {
            m_history->record("d", {{"x", i}, {"constant", 7}});
        }
        if (testclock::canAdvance()) {
            testclock::advance(65s); // the timer closes the minute
            QCoreApplication::processEvents();
        } else {
            fetch(*m_history, {"d", "x"});
        }
        QCOMPARE(names().size(), 2); // after the worker's other jobs
        const QString killed = m_dir->filePath("killed.db");
        for (const char *const suffix : {"", "-wal"}) {
            QFile::copy(m_path + suffix, killed + suffix);
        }
        m_path = killed;
        now = start + 3 * minute + 59'000; // the minute that was written last
        open();
        m_history->record("d", {{"x", 9}});
        now += 2 * minute;
        QCOMPARE(text(fetch(*m_history, {"d", "x"})),
                 QString("0:1(0..1) 60:2 120:3 180:9(4..9) 239:9 359:9"));
        QCOMPARE(text(fetch(*m_history, {"d", "constant"})), QString("0:7 180:nan"));
    }

    void gapsAreWhereNothingWasKnown()
    {
        const auto record = [&](qint64 seconds, const QJsonObject &state) {
            now = start + seconds * 1000;
            m_history->record("d", state);
        };
        record(0, {{"a", 1}, {"b", true}, {"o", QJsonObject{{"i", 5}}}});
        record(10, {{"a", QJsonValue()}, {"b", "text"}, {"o", QJsonObject{{"i", 5}}}});
        record(20, {{"a", 2}, {"o", 3}});
        record(100, {{"a", 2}, {"b", false}, {"o", QJsonArray{1}}});
        QCOMPARE(text(fetch(*m_history, {"d", "a"})), QString("0:1 10:nan 20:2 100:2"));
        QCOMPARE(text(fetch(*m_history, {"d", "b"})), QString("0:1 10:nan 100:0"));
        QCOMPARE(text(fetch(*m_history, {"d", "o.i"})), QString("0:5 20:nan"));
        QCOMPARE(text(fetch(*m_history, {"d", "o"})), QString("0:3 20:3 100:nan"));
        record(150, {{"a", 3}});
        m_history->setEnabled(false);
        record(200, {{"a", 4}});
        m_history->setEnabled(true);
        QVERIFY(m_history->recent("d", "a").isEmpty());
        now += 100;
        QCOMPARE(text(fetch(*m_history, {"d", "a"})), QString("0:2(1..2) 120:nan"));
    }

    void theClockCanBePutBack()
    {
        for (int i = 0; i < 10; ++i, now += minute) {
            m_history->record("d", {{"x", i}});
        }
        now = start + 5 * minute + 30'000;
        m_history->record("d", {{"x", 9}});
        QCOMPARE(text(m_history->recent("d", "x")),
                 QString("0:0 60:1 120:2 180:3 240:4 300:5 330:9"));
        open();
        QCOMPARE(text(fetch(*m_history, {"d", "x"}, start + 4 * minute)),
                 QString("240:4 300:nan(5..9)"));
    }

    void membersAreBounded()
    {
        QJsonObject deep{{"x", 1}};
        QJsonObject state{{QString(500, 'n'), 1}, {"a.b", 1}, {"a", QJsonObject{{"b", 2}}}};
        for (int depth = 1; depth <= 5; ++depth, deep = {{"o", deep}, {"x", depth}}) {
            state.insert("deep", deep);
        }
        m_history->record("d", state);
        QCOMPARE(names(), QVector<QString>({"a.b", "deep.o.o.x", "deep.o.x", "deep.x"}));
        for (int i = 0; i < 200; ++i) {
            state.insert("z" + QString::number(i), i);
        }
        m_history->record("d", state);
        QCOMPARE(names().size(), 64);
    }

    void memoryIsBounded()
    {
        open({40'000});
        m_history->record("seen", {{"x", -1}});
        m_history->recent("seen", "x");
        for (int i = 0; i < 3000; ++i, now += 1000) {
            m_history->record("seen", {{"x", i / 10}});
            m_history->record("other", {{"x", i}, {"y", -i}});
        }
        QCOMPARE(m_history->recent("seen", "x").size(), 301);
        const int left = m_history->recent("other", "x").size();
        QVERIFY2(left > 200 && left < 1200, qPrintable(QString::number(left)));
        const HistoryPoints points = fetch(*m_history, {"other", "y"});
        QCOMPARE(points.last().last, -2999.);
        QCOMPARE(mergePoints(points, 1).at(0).max, 0.);
    }

    void whatIsForgottenLeavesNoTrace()
    {
        for (int i = 0; i < 200; ++i, now += minute) {
            for (const char *const device : {"kept", "secret-lamp"}) {
                m_history->record(device, {{"x", i}, {"y", i % 2}});
            }
        }
        m_history->forget({"secret-lamp", "unknown"});
        QVERIFY(fetch(*m_history, {"secret-lamp", "x"}).isEmpty());
        QCOMPARE(byMinute(fetch(*m_history, {"kept", "x"})).count(':'), 201);
        QDirIterator files(QFileInfo(m_path).path(), QDir::Files);
        while (files.hasNext()) {
            QVERIFY2(!readFile(files.next()).contains("secret"), qPrintable(files.fileName()));
        }
    }

    void theFileIsBoundedInTimeAndSize()
    {
        open({16'000'000, 1'000'000});
        for (int i = 0; i < 40 * 24; ++i, now += hour / 2) { // sleeps half an hour each time
            m_history->record("old", {{"x", i}});
            now += hour / 2;
            m_history->record("d", {{"x", i}});
        }
        open();
        QCOMPARE(fetch(*m_history, {"old", "x"}).first().time, now - 30 * (24 * hour));
        now += 100'000 * hour; // until the clock is corrected
        open();
        now -= 100'000 * hour;
        open();
        QVERIFY(fetch(*m_history, {"old", "x"}).first().time < now - 29 * (24 * hour));
        open({16'000'000, 300'000});
        for (int i = 0; i < 10'000; ++i, now += minute) {
            QJsonObject state;
            for (int member = 0; member < 20; ++member) {
                state.insert("m" + QString::number(member), i * 1.1 + member);
            }
            m_history->record("many", state);
        }
        open();
        QVERIFY(fetch(*m_history, {"old", "x"}).isEmpty());
        const HistoryPoints points = fetch(*m_history, {"many", "m7"});
        QVERIFY(points.size() > 500 && points.first().time > start + hour);
        m_history = nullptr;
        QVERIFY(QFileInfo(m_path).size() < 1'400'000);
    }

    // In the file as a whole, and in sound rows.
    void damagedBytesCostNoMoreThanTheHistory()
    {
        std::mt19937 random(1);
        for (int i = 0; i < 90; ++i, now += minute) {
            m_history->record("d", {{"x", i}, {"y", i / 3.}});
        }
        m_history = nullptr;
        const QByteArray sound = readFile(m_path);
        for (int round = 0; round < 40; ++round) {
            m_history = nullptr;
            QByteArray bytes = sound;
            for (int i = 1 << random() % 8; i > 0 && round % 2 == 0; --i) {
                bytes[int(random() % unsigned(bytes.size()))] = char(random());
            }
            if (round == 0) {
                bytes = QByteArray(sound).replace(36, 1, "\xff"); // the number of unused pages
            }
            QVERIFY(writeFile(m_path, bytes));
            if (round % 2 != 0) {
                const QByteArray sql =
                    "UPDATE hour SET data = randomblob(1 + abs(random()) % 99) WHERE key % 2;"
                    "UPDATE minute SET data = data || randomblob(50), minute = minute + random() % "
                    "3;"
                    "INSERT INTO minute SELECT 100 + number, random(), data FROM minute;"
                    "UPDATE state SET written = random()";
                sqlite3 *db = nullptr;
                sqlite3_open(m_path.toUtf8().constData(), &db);
                QCOMPARE(sqlite3_exec(db, sql.constData(), nullptr, nullptr, nullptr), SQLITE_OK);
                sqlite3_close(db);
            }
            open();
            for (int i = 0; i < 70; ++i, now += minute) {
                m_history->record("d", {{"x", i}});
                if (i % 30 == 0) {
                    fetch(*m_history, {"d", "x"});
                }
            }
            open();
            QVERIFY(text(fetch(*m_history, {"d", "x"}, now - minute)).contains(":69 "));
        }
    }

    void exportsCsv()
    {
        const QString file = m_dir->filePath("export.csv");
        const auto exportCsv = [&](const QVector<HistoryMember> &members) {
            const QString error = waitFor<QString>([&](const auto &done) {
                m_history->exportCsv(file, members, start, now, m_history.get(), done);
            });
            return error.isEmpty() ? QString::fromUtf8(readFile(file)) : "error: " + error;
        };
        qputenv("TZ", "UTC-02:30");
        m_history->record("=1+1", {{"a\"b", 0.1}});
        m_history->record("d", {{"x", -5}});
        now += 90'000;
        m_history->record("d", {{"x", 1e300}});
        m_history->leave("=1+1");
        const QString header = "time,device,member,minimum,maximum,last\n";
        QCOMPARE(exportCsv({}),
                 header + "2020-09-13T14:30:00.000+02:30,\"'=1+1\",\"a\"\"b\",0.1,0.1,0.1\n"
                          "2020-09-13T14:31:00.000+02:30,\"'=1+1\",\"a\"\"b\",,,\n"
                          "2020-09-13T14:30:00.000+02:30,\"d\",\"x\",-5,-5,-5\n"
                          "2020-09-13T14:31:00.000+02:30,\"d\",\"x\",1e+300,1e+300,1e+300\n"
                          "2020-09-13T14:31:30.000+02:30,\"d\",\"x\",1e+300,1e+300,1e+300\n");
        QVERIFY(exportCsv({{"d", "x"}}).startsWith(header + "2020-09-13T14:30:00.000+02:30,\"d\""));
        QVERIFY(QFile::remove(file) && QDir().mkdir(file));
        QCOMPARE(exportCsv({}), QString("error: Cannot write to export.csv"));
    }

    void aMinuteThatCouldNotBeWrittenIsMadeUpFor()
    {
        m_history->record("d", {{"x", 1}, {"constant", 5}});
        {
            const auto fault = fileFault(m_path, 0);
            now += minute;
            m_history->record("d", {{"x", 2}, {"constant", 5}});
            names();
            QCoreApplication::processEvents(); // takes the news of the failure
        }
        {
            QObject gone;
            m_history->members("d", &gone, [](const QVector<QString> &) { qFatal("called"); });
        }
        now += minute;
        open();
        QCOMPARE(text(fetch(*m_history, {"d", "constant"})), QString("60:5 120:nan"));
        QCOMPARE(text(fetch(*m_history, {"d", "x"})), QString("60:2 120:nan"));
        m_history = nullptr;
        HistoryFile file(m_path);
        QCOMPARE(file.members().size(), 2);
        QCOMPARE(QFileInfo(m_path + "-wal").size(), 0); // else a full disk could not be read
    }

private:
    QVector<QString> names()
    {
        return waitFor<QVector<QString>>(
            [&](const auto &ready) { m_history->members("d", m_history.get(), ready); });
    }

    void open(const HistoryLimits &limits = {})
    {
        m_history = nullptr;
        m_history = std::make_unique<History>(m_path, limits, [] { return now; });
    }

    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_path;
    std::unique_ptr<History> m_history;
};

KVG_TEST_MAIN(TestHistory)
#include "tst_history.moc"
