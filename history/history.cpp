#include "history/history.h"

#include "history/log.h"

#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

#include <algorithm>
#include <utility>

Q_LOGGING_CATEGORY(lcHistory, "kvg.history")

namespace {

constexpr qint64 second = 1000;
constexpr qint64 minute = 60 * second;
constexpr qint64 hour = 60 * minute;
constexpr qint64 maxTime = (1LL << 24) * hour - 1; // the file's limit; beyond the year 3800
constexpr qint64 maxStepBack = 2 * second;         // time stands still for so long
constexpr qint64 maxSkip = 3 * minute;             // the timer fires each minute
constexpr int firstUse = 5 * second;               // of the file, after the start
constexpr int maxDepth = 4;                        // of objects, the state itself included
constexpr int maxNameLength = 128;

qint64 bytesOf(const HistorySamples &samples)
{
    return qint64(samples.capacity()) * qint64(sizeof(HistorySample));
}

bool isLater(qint64 time, const HistorySample &sample)
{
    return time < sample.time;
}

// A field of text for CSV. Spreadsheets would run what begins like a formula.
QByteArray csvText(QString text)
{
    if (!text.isEmpty() && QLatin1String("=+-@\t\r").contains(text.at(0))) {
        text.prepend('\'');
    }
    return '"' + text.replace('"', QLatin1String("\"\"")).toUtf8() + '"';
}

QByteArray csvNumber(double value)
{
    return std::isnan(value)
               ? QByteArray()
               : QString::number(value, 'g', QLocale::FloatingPointShortest).toLatin1();
}

// The local time as text. Asks for its offset once for each quarter of an hour: that takes longest.
class CsvTime
{
public:
    QByteArray operator()(qint64 time)
    {
        if (time / quarter != m_quarter) {
            m_quarter = time / quarter;
            m_offset = QDateTime::fromMSecsSinceEpoch(time).offsetFromUtc();
        }
        return QDateTime::fromMSecsSinceEpoch(time, Qt::OffsetFromUTC, m_offset)
            .toString(Qt::ISODateWithMs)
            .toLatin1();
    }

private:
    static constexpr qint64 quarter = 15 * minute;
    qint64 m_quarter = -1;
    int m_offset = 0; // seconds
};

} // namespace

History::History(const QString &file, const HistoryLimits &limits, Clock clock)
    : m_clock(clock)
    , m_limits(limits)
    , m_memoryThreshold(m_limits.memory)
    , m_timer(this)
    , m_file(file)
{
    m_worker.setMaxThreadCount(1);
    m_now = m_begin = qBound(qint64(0), m_clock(), maxTime);
    m_timer.setTimerType(Qt::VeryCoarseTimer);
    m_timer.start(int(minute));
    connect(&m_timer, &QTimer::timeout, this, &History::advance);
    // Not at once: the start of the program would wait for the disk.
    QTimer::singleShot(firstUse, Qt::VeryCoarseTimer, this, [this] { runOnWorker([] {}); });
}

History::~History()
{
    setEnabled(false);
    runOnWorker([this] { m_file.setEnded(); });
    m_ending = true;
    m_worker.waitForDone();
}

// The first job is preceded by what must come before all.
void History::runOnWorker(const std::function<void()> &job)
{
    const bool isFirst = !std::exchange(m_isFileUsed, true);
    m_worker.start([this, job, isFirst, begin = m_begin] {
        if (isFirst) {
            m_file.endOpenSeries(begin / minute);
            m_file.prune(begin / hour, m_limits);
        }
        job();
    });
}

QString History::defaultFile()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) +
           QLatin1String("/history.db");
}

void History::setEnabled(bool enabled)
{
    advance();
    if (m_enabled && !enabled) {
        forEachSeries([this](Series &series) { take(series, HistoryEntry::unknown); });
        closeMinute();
        m_devices.clear();
        m_memory = 0;
    }
    m_enabled = enabled;
}

void History::record(const QString &device, const QJsonObject &state)
{
    if (!m_enabled) {
        return;
    }
    advance();
    Device &known = m_devices[device];
    if (!apply(known, known.shape, state)) {
        known.shape = Shape();
        Used used;
        reshape(known, known.shape, state, QString(), 1, used);
        for (std::size_t i = 0; i < known.series.size(); ++i) {
            if (!used.test(i)) {
                take(known.series[i], HistoryEntry::unknown);
            }
        }
        apply(known, known.shape, state);
    }
    keepWithinMemory();
}

void History::leave(const QString &device)
{
    advance();
    const auto known = m_devices.find(device);
    if (known != m_devices.end()) {
        for (Series &series : known->second.series) {
            take(series, HistoryEntry::unknown);
        }
    }
}

void History::forget(const QStringList &devices)
{
    for (const QString &device : devices) {
        const auto known = m_devices.find(device);
        if (known != m_devices.end()) {
            for (const Series &series : known->second.series) {
                m_memory -= bytesOf(series.samples);
            }
            m_devices.erase(known);
        }
    }
    runOnWorker([this, devices] { m_file.forget(devices); });
}

HistoryPoints History::recent(const QString &device, const QString &member) const
{
    const qint64 now = qMax(m_now, m_clock());
    const Series *const series = find({device, member});
    return series ? clipPoints(joinPoints({}, series->samples), now - hour, now) : HistoryPoints();
}

void History::members(const QString &device, QObject *context,
                      const std::function<void(const QVector<QString> &)> &ready)
{
    QVector<QString> names;
    const auto known = m_devices.find(device);
    if (known != m_devices.end()) {
        for (const Series &series : known->second.series) {
            names.append(series.member);
        }
    }
    runOnWorker([this, device, names, context = QPointer<QObject>(context), ready] {
        QVector<QString> all = names;
        for (const HistoryMember &stored : m_file.members(device)) {
            all.append(stored.member);
        }
        std::sort(all.begin(), all.end());
        all.erase(std::unique(all.begin(), all.end()), all.end());
        answer(context, [ready, all] { ready(all); });
    });
}

void History::fetch(const QVector<HistoryMember> &members, qint64 from, qint64 to, int maxPoints,
                    QObject *context,
                    const std::function<void(const QVector<HistoryPoints> &)> &ready)
{
    advance();
    from = qMax(qint64(0), from);
    to = qMin(to, m_now);
    runOnWorker([this, members, samples = samplesOf(members), from, to, maxPoints,
                 context = QPointer<QObject>(context), ready] {
        QVector<HistoryMember> stored; // of which the samples do not tell everything
        for (int i = 0; i < members.size(); ++i) {
            if (samples[i].empty() || samples[i].front().time > from) {
                stored.append(members.at(i));
            }
        }
        QVector<HistoryPoints> points;
        if (!m_ending) {
            points = m_file.points(stored, from, to);
        }
        QVector<HistoryPoints> result;
        for (int i = 0; i < members.size(); ++i) {
            const int at = stored.indexOf(members.at(i));
            const HistoryPoints all =
                joinPoints(at < 0 ? HistoryPoints() : points.value(at), samples[i]);
            result.append(mergePoints(clipPoints(all, from, to), maxPoints));
        }
        answer(context, [ready, result] { ready(result); });
    });
}

void History::exportCsv(const QString &file, const QVector<HistoryMember> &members, qint64 from,
                        qint64 to, QObject *context,
                        const std::function<void(const QString &)> &done)
{
    advance();
    closeMinute(); // what changes in the rest of this minute is added to it
    from = qMax(qint64(0), from);
    to = qMin(to, m_now);
    runOnWorker([this, file, members, samples = samplesOf(members), from, to,
                 context = QPointer<QObject>(context), done] {
        QSaveFile out(file);
        bool isWritten = out.open(QIODevice::WriteOnly) &&
                         out.write("time,device,member,minimum,maximum,last\n") > 0;
        CsvTime csvTime;
        const bool isEverything = members.isEmpty();
        if (isEverything) {
            m_file.fold(); // otherwise the rows of minutes would be searched for each member
        }
        const QVector<HistoryMember> all = isEverything ? m_file.members() : members;
        for (int i = 0; i < all.size() && isWritten && !m_ending; ++i) {
            HistoryPoints points = m_file.points({all.at(i)}, from, to).value(0);
            points = joinPoints(points, isEverything ? HistorySamples() : samples[i]);
            const QByteArray names =
                ',' + csvText(all.at(i).device) + ',' + csvText(all.at(i).member) + ',';
            for (const HistoryPoint &point : clipPoints(points, from, to)) {
                isWritten =
                    isWritten &&
                    out.write(csvTime(point.time) + names + csvNumber(point.min) + ',' +
                              csvNumber(point.max) + ',' + csvNumber(point.last) + '\n') > 0;
            }
        }
        isWritten = isWritten && !m_ending && out.commit();
        answer(context,
               [done, error = isWritten
                                  ? QString()
                                  : tr("Cannot write to %1").arg(QFileInfo(file).fileName())] {
                   done(error);
               });
    });
}

// Follows the clock. What happens next, happens at m_now.
void History::advance()
{
    const qint64 now = qBound(qint64(0), m_clock(), maxTime);
    const qint64 before = m_now;
    if (now > m_now + maxSkip) {
        skipTo(now);
    } else if (now < m_now - maxStepBack) {
        stepBack(now);
    } else if (now > m_now) {
        if (now / minute != m_now / minute) {
            closeMinute();
        }
        m_now = now;
    }
    if (m_now / hour != before / hour) {
        runOnWorker([this, hours = m_now / hour] { m_file.prune(hours, m_limits); });
    }
}

// The computer slept, or its clock was put forward.
void History::skipTo(qint64 now)
{
    const qint64 gap = (m_now / second + 1) * second; // keeps the samples of this second
    if (gap / minute != m_now / minute) {
        closeMinute();
    }
    m_now = gap;
    std::vector<std::pair<Series *, double>> known;
    forEachSeries([&](Series &series) {
        if (!std::isnan(series.value)) {
            known.emplace_back(&series, series.value);
            take(series, HistoryEntry::unknown);
        }
    });
    closeMinute(); // leaves these series in place
    m_now = now;
    for (const auto &[series, value] : known) {
        take(*series, value);
    }
}

// The clock was put back: what is in memory of the time that comes again is dropped.
void History::stepBack(qint64 now)
{
    closeMinute();
    m_now = now;
    forEachSeries([&](Series &series) {
        HistorySamples &samples = series.samples;
        const qint64 before = bytesOf(samples);
        samples.erase(std::upper_bound(samples.begin(), samples.end(), now, isLater),
                      samples.end());
        m_memory += bytesOf(samples) - before;
        appendSample(series, series.value);
    });
    rewriteAll();
}

// Hands the changes of the minute to the file, and drops the samples that are too old.
void History::closeMinute()
{
    QVector<HistoryFile::Change> changes;
    for (auto device = m_devices.begin(); device != m_devices.end();) {
        bool isPast = true; // it left, and more than an hour ago
        for (Series &series : device->second.series) {
            if (series.hasChanged) {
                changes.append({device->first, series.member, series.entry});
                series.hasChanged = false;
            }
            dropSamples(series, m_now - hour);
            isPast = isPast && std::isnan(series.value) &&
                     (series.samples.empty() || series.samples.back().time < m_now - hour);
        }
        if (isPast) {
            for (const Series &series : device->second.series) {
                m_memory -= bytesOf(series.samples);
            }
        }
        device = isPast ? m_devices.erase(device) : std::next(device);
    }
    if (!changes.isEmpty()) {
        runOnWorker([this, minutes = m_now / minute, changes] {
            if (!m_file.write(minutes, changes)) {
                QMetaObject::invokeMethod(this, &History::rewriteAll, Qt::QueuedConnection);
            }
        });
    }
}

// Lets the next minute tell all values: the file misses some.
void History::rewriteAll()
{
    forEachSeries([](Series &series) {
        if (!series.hasChanged) {
            series.entry = {series.value, series.value, series.value};
            series.hasChanged = true;
        }
    });
}

// False, with a part of the state applied, if its keys are not those of the shape.
bool History::apply(Device &device, const Shape &shape, const QJsonObject &state)
{
    if (std::size_t(state.size()) != shape.fields.size()) {
        return false;
    }
    for (const Shape::Field &field : shape.fields) {
        const auto found = state.constFind(QStringView(field.key));
        if (found == state.constEnd()) {
            return false;
        }
        if (field.series == Shape::ignored) {
            continue;
        }
        const QJsonValue value = found.value();
        if (value.isObject() != (field.object != nullptr)) {
            return false;
        }
        if (field.object) {
            if (!apply(device, *field.object, value.toObject())) {
                return false;
            }
            continue;
        }
        double number =
            value.isBool() ? double(value.toBool()) : value.toDouble(HistoryEntry::unknown);
        if (!std::isfinite(number)) {
            number = HistoryEntry::unknown;
        }
        if (field.series != Shape::noNumber) {
            take(device.series[std::size_t(field.series)], number);
        } else if (!std::isnan(number)) {
            return false;
        }
    }
    return true;
}

void History::reshape(Device &device, Shape &shape, const QJsonObject &state, const QString &prefix,
                      int depth, Used &used)
{
    for (auto it = state.begin(); it != state.end(); ++it) {
        const QJsonValue value = it.value();
        const QString name = prefix + it.key();
        Shape::Field field{it.key(), Shape::noNumber, nullptr};
        if (name.size() > maxNameLength || (value.isObject() && depth == maxDepth)) {
            field.series = Shape::ignored;
        } else if (value.isObject()) {
            field.object = std::make_unique<Shape>();
            reshape(device, *field.object, value.toObject(), name + '.', depth + 1, used);
        } else if (value.isBool() || std::isfinite(value.toDouble(HistoryEntry::unknown))) {
            const auto series =
                std::find_if(device.series.begin(), device.series.end(),
                             [&](const Series &each) { return each.member == name; });
            const auto index = std::size_t(series - device.series.begin());
            // A key with a dot may have the name of a member of an object.
            field.series = index < used.size() && !used.test(index) ? int(index) : Shape::ignored;
            if (field.series != Shape::ignored) {
                used.set(index);
                if (series == device.series.end()) {
                    device.series.emplace_back().member = name;
                }
            }
        }
        shape.fields.push_back(std::move(field));
    }
}

void History::take(Series &series, double value)
{
    if (isSameValue(series.value, value)) {
        return;
    }
    series.value = value;
    appendSample(series, value);
    const HistoryEntry change{value, value, value};
    if (series.hasChanged) {
        series.entry.add(change);
    } else {
        series.entry = change;
        series.hasChanged = true;
    }
}

void History::appendSample(Series &series, double value)
{
    HistorySamples &samples = series.samples;
    if (!samples.empty() && samples.back().time / second == m_now / second) {
        samples.back() = {m_now, value};
        return;
    }
    const qint64 before = bytesOf(samples);
    samples.push_back({m_now, value});
    m_memory += bytesOf(samples) - before;
}

// Keeps the sample that held at this time.
void History::dropSamples(Series &series, qint64 before)
{
    HistorySamples &samples = series.samples;
    const qint64 bytes = bytesOf(samples);
    const auto first = std::upper_bound(samples.begin(), samples.end(), before, isLater);
    if (first - samples.begin() > 1) {
        samples.erase(samples.begin(), first - 1);
    }
    if (samples.capacity() > 2 * samples.size() + 8) {
        samples.shrink_to_fit();
    }
    m_memory += bytesOf(samples) - bytes;
}

// Past the limit, drops a quarter: first of the devices that the user looked at least recently, of
// these the oldest.
void History::keepWithinMemory()
{
    if (m_memory <= m_memoryThreshold) {
        return;
    }
    std::vector<Device *> devices;
    for (auto &device : m_devices) {
        devices.push_back(&device.second);
    }
    std::sort(devices.begin(), devices.end(),
              [](const Device *a, const Device *b) { return a->lookedAt < b->lookedAt; });
    const qint64 goal = m_limits.memory / 4 * 3;
    for (auto begin = devices.begin(); begin != devices.end() && m_memory > goal;) {
        const auto end = std::find_if(begin, devices.end(), [&](const Device *device) {
            return device->lookedAt != (*begin)->lookedAt;
        });
        std::array<qint64, 61> bytesByAge{}; // in minutes
        const auto forEachSeries = [&](const auto &call) {
            for (auto device = begin; device != end; ++device) {
                std::for_each((*device)->series.begin(), (*device)->series.end(), call);
            }
        };
        forEachSeries([&](const Series &series) {
            for (const HistorySample &sample : series.samples) {
                const qint64 age = (m_now - sample.time) / minute;
                bytesByAge[std::size_t(qBound(qint64(0), age, qint64(60)))] += sizeof sample;
            }
        });
        std::size_t age = bytesByAge.size();
        for (qint64 excess = m_memory - goal; age > 0 && excess > 0;) {
            excess -= bytesByAge[--age];
        }
        forEachSeries([&](Series &series) { dropSamples(series, m_now - qint64(age) * minute); });
        begin = end;
    }
    m_memoryThreshold = qMax(m_limits.memory, m_memory + m_limits.memory / 4);
}

const History::Series *History::find(const HistoryMember &member) const
{
    const auto device = m_devices.find(member.device);
    if (device == m_devices.end()) {
        return nullptr;
    }
    device->second.lookedAt = ++m_looks;
    const auto series =
        std::find_if(device->second.series.begin(), device->second.series.end(),
                     [&](const Series &each) { return each.member == member.member; });
    return series == device->second.series.end() ? nullptr : &*series;
}

std::vector<HistorySamples> History::samplesOf(const QVector<HistoryMember> &members) const
{
    std::vector<HistorySamples> samples;
    for (const HistoryMember &member : members) {
        const Series *const series = find(member);
        samples.push_back(series ? series->samples : HistorySamples());
    }
    return samples;
}

// From the worker.
void History::answer(const QPointer<QObject> &context, const std::function<void()> &call)
{
    QMetaObject::invokeMethod(
        this,
        [context, call] {
            if (context) {
                call();
            }
        },
        Qt::QueuedConnection);
}
