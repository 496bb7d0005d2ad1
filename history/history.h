#pragma once

#include "history/historyfile.h"
#include "history/historypoints.h"
#include "history/historysource.h"

#include <QDateTime>
#include <QJsonObject>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QThreadPool>
#include <QTimer>

#include <algorithm>
#include <atomic>
#include <bitset>
#include <functional>
#include <memory>
#include <unordered_map>

// What the numbers and booleans of the devices' states were: the last hour in memory, at most one
// value a second of each member; before that minimum, maximum and last value of each minute in a
// file. Only changes are kept: a value holds until the next. Interface thread, which never waits
// for the disk: the file is used on a worker. While it cannot be used, only the log tells, and the
// minutes are lost.
//
// Nothing is known of a device from leave() until its next state, while the history is off, while
// the program does not run, and while the computer sleeps.
class History : public QObject, public HistorySource
{
    Q_OBJECT

public:
    using Clock = qint64 (*)(); // milliseconds since 1970; it may jump

    // `file`: its path; it is made when there is something to write.
    explicit History(const QString &file, const HistoryLimits &limits = {},
                     Clock clock = &QDateTime::currentMSecsSinceEpoch);
    // Writes what is due and waits for that. An export that is under way fails.
    ~History() override;

    // In the folder of the program's data.
    static QString defaultFile();

    // On at first. Off: records nothing and drops what is in memory; what is stored stays until it
    // is too old. After it is on again, nothing is known of a device until its next state.
    void setEnabled(bool enabled);

    // The whole state of a device: of a member that is missing, or neither a number nor a boolean,
    // nothing is known any more. At most 64 members are kept, of objects up to four levels deep.
    void record(const QString &device, const QJsonObject &state);
    void leave(const QString &device);
    // In memory and in the file, which does not hold their names afterwards.
    void forget(const QStringList &devices);

    // At most the last hour, from memory, as fetch() gives it. The user looks at the device, so
    // both keep its last hour in memory rather than those of others.
    HistoryPoints recent(const QString &device, const QString &member) const;

    void members(const QString &device, QObject *context,
                 const std::function<void(const QVector<QString> &)> &ready) override;
    void fetch(const QVector<HistoryMember> &members, qint64 from, qint64 to, int maxPoints,
               QObject *context,
               const std::function<void(const QVector<HistoryPoints> &)> &ready) override;
    // Named members: as fetch(). Everything: by the minute. What cannot be read is missing.
    void exportCsv(const QString &file, const QVector<HistoryMember> &members, qint64 from,
                   qint64 to, QObject *context,
                   const std::function<void(const QString &)> &done) override;

private:
    struct Series
    {
        QString member;
        HistorySamples samples; // at least the newest, once there was one
        double value = HistoryEntry::unknown;
        bool hasChanged = false; // since the last minute was written
        HistoryEntry entry;      // the changes since then
    };
    // The keys of an object in a state, and the series of each.
    struct Shape
    {
        struct Field
        {
            QString key;
            int series; // or one of those below
            std::unique_ptr<Shape> object;
        };
        static constexpr int noNumber = -1; // at present
        static constexpr int ignored = -2;

        std::vector<Field> fields;
    };
    struct Device
    {
        std::vector<Series> series;
        Shape shape;
        mutable quint64 lookedAt = 0; // ascending
    };

    using Used = std::bitset<64>; // by the index of a series

    template <typename Call>
    void forEachSeries(const Call &call)
    {
        for (auto &device : m_devices) {
            std::for_each(device.second.series.begin(), device.second.series.end(), call);
        }
    }

    void advance();
    void stepBack(qint64 now);
    void skipTo(qint64 now);
    void closeMinute();
    bool apply(Device &device, const Shape &shape, const QJsonObject &state);
    void reshape(Device &device, Shape &shape, const QJsonObject &state, const QString &prefix,
                 int depth, Used &used);
    void take(Series &series, double value);
    void appendSample(Series &series, double value);
    void dropSamples(Series &series, qint64 before);
    void keepWithinMemory();
    void rewriteAll();
    const Series *find(const HistoryMember &member) const;
    std::vector<HistorySamples> samplesOf(const QVector<HistoryMember> &members) const;

    void runOnWorker(const std::function<void()> &job);
    void answer(const QPointer<QObject> &context, const std::function<void()> &call);

    const Clock m_clock;
    const HistoryLimits m_limits;
    bool m_enabled = true;
    std::unordered_map<QString, Device> m_devices;
    mutable quint64 m_looks = 0;
    qint64 m_begin = 0; // of the program: milliseconds since 1970
    bool m_isFileUsed = false;
    qint64 m_now = 0;    // the last time that is certain: milliseconds since 1970
    qint64 m_memory = 0; // bytes of all samples
    qint64 m_memoryThreshold;
    QTimer m_timer;

    HistoryFile m_file; // worker
    std::atomic<bool> m_ending{false};
    QThreadPool m_worker;
};
