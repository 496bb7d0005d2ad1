#include "history/history.h"
#include "tests/support/testmain.h"

#include <QTemporaryDir>

namespace {

constexpr qint64 minute = 60'000;
constexpr qint64 hour = 60 * minute;
constexpr qint64 start = 1'600'000'000'000 / hour * hour;

qint64 now = start;

QVector<HistoryPoints> fetch(History &history, const QVector<HistoryMember> &members, qint64 from,
                             qint64 to, int maxPoints = 0)
{
    QVector<HistoryPoints> result;
    bool isReady = false;
    history.fetch(members, from, to, maxPoints, &history, [&](const QVector<HistoryPoints> &points) {
        result = points;
        isReady = true;
    });
    [&] { QTRY_VERIFY_WITH_TIMEOUT(isReady, 30000); }();
    return result;
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
    }

    void valuesHoldUntilTheNextAndSurviveARestart()
    {
        auto history = std::make_unique<History>(m_path, nullptr, [] { return now; });
        for (int i = 0; i < 10; ++i, now += minute) {
            history->record("lamp", {{"on", i % 4 < 2}, {"brightness", i}, {"color", "#fff"}});
        }
        QCOMPARE(history->recent("lamp", "brightness").size(), 11);
        history = nullptr;
        now += hour;
        history = std::make_unique<History>(m_path, nullptr, [] { return now; });
        const auto points = fetch(*history, {{"lamp", "on"}, {"lamp", "color"}}, start, now);
        for (const auto &p : points.at(0)) qDebug() << (p.time - start) / 1000 << p.min << p.max << p.last;
        QVERIFY(points.at(1).isEmpty());
    }

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_path;
};

KVG_TEST_MAIN(TestHistory)
#include "tst_history.moc"
