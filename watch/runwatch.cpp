#include "watch/runwatch.h"

#include "watch/crashhandler.h"
#include "watch/log.h"
#include "watch/runrecord.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QThread>

#include <atomic>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <exception>
#include <mutex>
#include <optional>

Q_LOGGING_CATEGORY(lcWatch, "kvg.watch")

namespace {

constexpr char magic[] = "KVGRUN1";         // fills the member together with its 0
constexpr qint64 day = 86400;               // seconds
constexpr qint64 maxTime = qint64(1) << 50; // beyond every date; differences do not overflow
constexpr int maxFailures = 2;
constexpr qint64 slowCall = 200; // milliseconds

RunRecord record;
// While the gateway starts, two threads write `record`. Without the lock, the crash handler does.
std::mutex recordLock;
std::atomic<bool> isStarting{false};

// For the crash handler: where the plugins lie, and which one runs on which thread.
struct LibraryRange
{
    std::atomic<quintptr> begin;
    std::atomic<quintptr> end; // set last
};
LibraryRange libraries[RunRecord::maxPlugins];
std::atomic<int> running{-1};
std::atomic<Qt::HANDLE> runningThread{nullptr};

// On the thread that runs plugins.
QHash<QString, int> indexOfType;
QHash<QString, qint64> slowestCall; // that was logged, milliseconds

void saveAll()
{
    writeRecordFile(&record, sizeof(record), 0);
}

void saveHead()
{
    writeRecordFile(&record, offsetof(RunRecord, plugins), 0);
}

// Whether every value is one that this code writes.
bool isValid(const RunRecord &read)
{
    const auto isIndex = [&](int index) { return index >= -1 && index < read.count; };
    const auto isTime = [](qint64 time) { return time >= 0 && time < maxTime; };
    const auto isText = [](const auto &text) { return std::memchr(text, 0, sizeof(text)); };
    bool valid = std::memcmp(read.magic, magic, sizeof(magic)) == 0 && read.failedStarts >= 0 &&
                 read.failedStarts <= maxFailures && read.count >= 0 &&
                 read.count <= RunRecord::maxPlugins && isIndex(read.running) &&
                 isIndex(read.crashPlugin) && isTime(read.crashTime) && isText(read.crashModule);
    for (int i = 0; valid && i < read.count; ++i) {
        const PluginRecord &plugin = read.plugins[i];
        valid = isText(plugin.path) && isTime(plugin.crashes[0]) && isTime(plugin.crashes[1]) &&
                plugin.leftOut >= 0 && plugin.leftOut <= qint64(runwatch::Reason::Starts);
    }
    return valid;
}

std::optional<RunRecord> readRecord(const QString &path)
{
    QFile file(path);
    RunRecord read;
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly) ||
        file.read(reinterpret_cast<char *>(&read), sizeof(read)) != qint64(sizeof(read)) ||
        !isValid(read)) {
        return {};
    }
    return read;
}

// Describes the file at the path. False if there is none, or the path is too long.
bool describe(PluginRecord &plugin, const QString &path)
{
    const QByteArray text = path.toUtf8();
    const QFileInfo file(path);
    if (text.size() >= int(sizeof(plugin.path)) || !file.isFile()) {
        return false;
    }
    plugin = PluginRecord();
    std::memcpy(plugin.path, text.constData(), std::size_t(text.size()));
    plugin.size = file.size();
    plugin.modified = file.lastModified().toMSecsSinceEpoch();
    return true;
}

// Not after an update of the plugin.
bool isSameFile(const PluginRecord &plugin)
{
    PluginRecord present;
    return describe(present, QString::fromUtf8(plugin.path)) && present.size == plugin.size &&
           present.modified == plugin.modified;
}

// Takes over what is still to be known of the last run and those before it.
void inherit(const RunRecord &last)
{
    const bool hasCrashed = last.crashCode != 0;
    const bool hasFailed = last.isStarting != 0;
    const int culprit = hasCrashed ? last.crashPlugin : hasFailed ? last.running : -1;
    if (hasCrashed || hasFailed) {
        const QString end = hasCrashed ? QStringLiteral("The last run crashed in \"%1\", code 0x%2")
                                             .arg(QString::fromUtf8(last.crashModule))
                                             .arg(quint32(last.crashCode), 0, 16)
                                       : QStringLiteral("The last start did not finish");
        qCWarning(lcWatch).noquote()
            << end << "- at work:" << (culprit < 0 ? "no device type" : last.plugins[culprit].path);
    }
    record.failedStarts = qMin(last.failedStarts + int(hasFailed), maxFailures);
    for (int i = 0; i < last.count; ++i) {
        PluginRecord plugin = last.plugins[i];
        if (i == culprit && hasCrashed) {
            plugin.crashes[1] = plugin.crashes[0];
            plugin.crashes[0] = last.crashTime;
        }
        if (!isSameFile(plugin)) {
            continue;
        }
        if (i == culprit) {
            const bool isRepeated =
                plugin.crashes[1] != 0 && qAbs(plugin.crashes[0] - plugin.crashes[1]) < day;
            if (isRepeated || record.failedStarts == maxFailures) {
                plugin.leftOut =
                    qint64(isRepeated ? runwatch::Reason::Crashes : runwatch::Reason::Starts);
                record.failedStarts = 0;
            }
        }
        if (plugin.leftOut != 0 || plugin.crashes[0] != 0) {
            record.plugins[record.count++] = plugin;
        }
    }
}

int indexOfPath(const QString &path)
{
    const QByteArray text = path.toUtf8();
    for (int i = 0; i < record.count; ++i) {
        if (text == record.plugins[i].path) {
            return i;
        }
    }
    return -1;
}

void setRunning(int index)
{
    running = index;
    if (!isStarting) {
        return;
    }
    const std::lock_guard<std::mutex> lock(recordLock);
    if (record.running != index) {
        record.running = index;
        saveHead();
    }
}

} // namespace

runwatch::StartPlan runwatch::begin(const QString &file)
{
    const std::optional<RunRecord> last = readRecord(file);
    record = RunRecord();
    std::memcpy(record.magic, magic, sizeof(magic));
    record.isStarting = 1;
    record.running = -1;
    record.crashPlugin = -1;
    if (last) {
        inherit(*last);
    }
    StartPlan plan;
    plan.withoutLayout = record.failedStarts == maxFailures;
    for (int i = 0; i < record.count; ++i) {
        if (record.plugins[i].leftOut != 0) {
            plan.plugins.append(
                {QString::fromUtf8(record.plugins[i].path), Reason(record.plugins[i].leftOut)});
        }
    }
    if (!openRecordFile(file, &record, sizeof(record))) {
        qCWarning(lcWatch).noquote() << "Cannot write" << file << "- crashes will not be recorded";
    }
    isStarting = true;
    if (KVG_HANDLE_CRASHES) {
        installCrashHandler();
        guardStack();
    }
    return plan;
}

void runwatch::setReady()
{
    const std::lock_guard<std::mutex> lock(recordLock);
    isStarting = false;
    record.isStarting = 0;
    record.failedStarts = 0;
    saveHead();
}

void runwatch::end()
{
    const std::lock_guard<std::mutex> lock(recordLock);
    isStarting = false;
    record.isStarting = 0;
    saveHead();
    closeRecordFile();
}

void runwatch::keepBlame()
{
    const std::lock_guard<std::mutex> lock(recordLock);
    closeRecordFile();
}

void runwatch::forgetBlame()
{
    const std::lock_guard<std::mutex> lock(recordLock);
    for (PluginRecord &plugin : record.plugins) {
        plugin.leftOut = plugin.crashes[0] = plugin.crashes[1] = 0;
    }
    saveAll();
}

void runwatch::guardStack()
{
    if (KVG_HANDLE_CRASHES) {
        ::guardStack();
    }
}

bool runwatch::isLeftOut(const QString &path)
{
    const std::lock_guard<std::mutex> lock(recordLock);
    const int index = indexOfPath(path);
    return index >= 0 && record.plugins[index].leftOut != 0;
}

void runwatch::addPlugin(const QString &type, const QString &path)
{
    const std::lock_guard<std::mutex> lock(recordLock);
    int index = indexOfPath(path);
    if (index < 0) {
        if (record.count == RunRecord::maxPlugins ||
            !describe(record.plugins[record.count], path)) {
            qCWarning(lcWatch).noquote() << "Crashes of" << path << "will not be recorded";
            indexOfType.remove(type);
            return;
        }
        index = record.count++;
        saveAll();
    }
    indexOfType.insert(type, index);
}

void runwatch::setLibrary(const QString &type, const void *address)
{
    const int index = indexOfType.value(type, -1);
    if (index >= 0) {
        const AddressRange range = libraryAt(address);
        libraries[index].begin = range.begin;
        libraries[index].end = range.end;
    }
}

runwatch::PluginCall::PluginCall(const QString &type, const char *call)
    : m_type(type)
    , m_call(call)
    , m_outer(running)
{
    runningThread = QThread::currentThreadId();
    setRunning(indexOfType.value(type, -1));
    m_time.start();
}

runwatch::PluginCall::~PluginCall()
{
    if (std::uncaught_exceptions() > 0) {
        return; // nothing catches a plugin's exception: the process is about to abort
    }
    setRunning(m_outer);
    const qint64 taken = m_time.elapsed();
    if (m_call == nullptr || taken <= slowCall) {
        return;
    }
    qint64 &slowest = slowestCall[m_type + QLatin1String(m_call)];
    if (taken > 2 * slowest) {
        slowest = taken;
        qCWarning(lcWatch).noquote().nospace()
            << "The device type " << m_type << " took " << taken << " ms for " << m_call;
    }
}

void noteCrash(int code)
{
    record.crashCode = code;
    record.crashTime = std::time(nullptr);
    record.crashPlugin = QThread::currentThreadId() == runningThread.load() ? running.load() : -1;
    saveHead();
}

void noteCrashModule(const char *name)
{
    std::strncpy(record.crashModule, name, sizeof(record.crashModule) - 1);
    saveHead();
}

bool noteCrashFrame(quintptr address)
{
    for (int i = 0; i < RunRecord::maxPlugins; ++i) {
        if (address < libraries[i].end && address >= libraries[i].begin) {
            record.crashPlugin = i;
            saveHead();
            return true;
        }
    }
    return false;
}
