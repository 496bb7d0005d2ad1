#include "outbox/outbox.h"

#include "outbox/log.h"

#include <QtEndian>

#include <algorithm>
#include <vector>

Q_LOGGING_CATEGORY(lcOutbox, "kvg.outbox")

using namespace std::chrono_literals;

namespace {

constexpr int maxBlockSize = 64 * 1024;           // bytes; a larger message has a block of its own
constexpr auto writeInterval = 500ms;             // so nothing is unwritten for longer than 1 s
constexpr auto retryInterval = 10s;               // while the file cannot be used
constexpr qint64 maxUnstored = 4LL * 1024 * 1024; // bytes; more is written at once, in such parts
constexpr qint64 maxMemory = 64LL * 1024 * 1024;  // bytes, while the file cannot be used

// A message in a block: the sizes of id and payload, and both.
constexpr int headerSize = 8;

void appendNumber(QByteArray &data, int number)
{
    const quint32 little = qToLittleEndian(quint32(number));
    data.append(reinterpret_cast<const char *>(&little), sizeof little);
}

// The size of the message at `offset`; 0 when the data are damaged.
int messageSize(const QByteArray &data, int offset)
{
    if (data.size() - offset < headerSize) {
        return 0;
    }
    const qint64 idSize = qFromLittleEndian<quint32>(data.constData() + offset);
    const qint64 payloadSize = qFromLittleEndian<quint32>(data.constData() + offset + 4);
    const qint64 size = headerSize + idSize + payloadSize;
    return size <= data.size() - offset ? int(size) : 0;
}

Outbox::Message messageAt(const QByteArray &data, int offset)
{
    const int idSize = int(qFromLittleEndian<quint32>(data.constData() + offset));
    const int size = messageSize(data, offset);
    const int id = offset + headerSize;
    return {QString::fromUtf8(data.constData() + id, idSize),
            data.mid(id + idSize, size - headerSize - idSize)};
}

// Whether the data hold as many whole messages as the block says.
bool isSound(const OutboxFile::Block &block)
{
    int offset = 0;
    for (int i = 0; i < block.count; ++i) {
        const int size = messageSize(block.data, offset);
        if (size == 0) {
            return false;
        }
        offset += size;
    }
    return offset == block.data.size();
}

// Whether the first `count` of its messages are `bytes` long, and more follow.
bool hasGone(const OutboxFile::Block &block, int bytes, int count)
{
    int offset = 0;
    for (int i = 0; i < qMin(count, block.count); ++i) {
        offset += messageSize(block.data, offset);
    }
    return offset == bytes && count >= 0 && count < block.count;
}

// Leaves the messages of these ids in the block; returns how many went.
int keepOnly(OutboxFile::Block &block, const QSet<QString> &ids)
{
    OutboxFile::Block kept;
    for (int offset = 0; offset < block.data.size();) {
        const int size = messageSize(block.data, offset);
        if (ids.contains(messageAt(block.data, offset).id)) {
            kept.data.append(block.data.constData() + offset, size);
            ++kept.count;
        }
        offset += size;
    }
    const int gone = block.count - kept.count;
    block.data = kept.data;
    block.count = kept.count;
    return gone;
}

} // namespace

Outbox::Outbox(const QString &path, QObject *parent)
    : QObject(parent)
    , m_file(path)
    , m_begun(OutboxClock::date().count())
    , m_timer(this)
{
    m_books.ledger.since = m_begun;
    m_timer.setInterval(writeInterval);
    connect(&m_timer, &QTimer::timeout, this, &Outbox::write);
    if (m_file.exists()) {
        load();
    }
}

Outbox::~Outbox()
{
    putBack();
    flush();
}

void Outbox::setLimits(const Limits &limits)
{
    m_limits = limits;
    if (!m_file.isOpen() || !m_open.empty() || m_books.lastOpened == m_books.lastNumber) {
        return; // the next write applies them
    }
    const Books before = m_books;
    if (!m_file.begin(false) || !dropExcess() || !m_file.commit(state())) {
        fail(before);
    }
}

// Opens the file; a damaged one is replaced by a new one.
void Outbox::load()
{
    bool good = m_file.open();
    if (!good && m_file.isDamaged()) {
        m_file.setAside();
        good = m_file.open();
    }
    if (!good) {
        setFault(tr("The file for waiting states cannot be used"));
        return;
    }
    const OutboxFile::State stored = m_file.state().value_or(OutboxFile::State());
    OutboxLedger &ledger = m_books.ledger;
    if (!std::exchange(m_hasEarlier, true)) {
        m_earlier = stored;
    }
    if (stored.since > 0) {
        ledger.since = stored.since;
        const auto before = m_clock.reading();
        m_clock.resume(std::chrono::milliseconds(stored.clock),
                       std::chrono::milliseconds(stored.date));
        const qint64 shift = (m_clock.reading() - before).count();
        for (Block &block : m_unstored) { // they wait on the clock as it was
            block.age += shift;
        }
    }
    ledger.delivered += stored.delivered;
    ledger.droppedFull += stored.droppedFull;
    ledger.droppedOld += stored.droppedOld;
    ledger.droppedVoid += stored.droppedVoid;
    ledger.droppedLost += stored.droppedLost;
    m_books.waiting += stored.waiting;
    m_books.fileBytes = stored.bytes;
    m_books.lastNumber = m_file.lastNumber();
    m_books.lastGone = qMax<qint64>(0, m_file.firstNumber() - 1);
    m_books.lastOpened = m_books.lastGone;
    m_books.firstGoneBytes = int(stored.goneBytes);
    m_books.firstGoneCount = int(stored.goneCount);
    setFault({});
}

void Outbox::append(const QString &id, const QByteArray &payload)
{
    const QByteArray name = id.toUtf8();
    if (m_unstored.empty() || m_unstored.back().data.size() >= maxBlockSize) {
        Block block;
        block.age = m_clock.reading().count();
        m_unstored.push_back(block);
    }
    Block &block = m_unstored.back();
    appendNumber(block.data, name.size());
    appendNumber(block.data, payload.size());
    block.data.append(name).append(payload);
    ++block.count;
    m_memoryBytes += headerSize + name.size() + payload.size();
    ++m_books.waiting;
    ++m_books.inMemory;
    if (m_memoryBytes > maxUnstored && m_fault.isEmpty()) {
        store(0ms, false);
    }
    trimMemory();
    if (!m_timer.isActive()) {
        m_timer.start();
    }
    emit changed();
}

bool Outbox::openNext()
{
    if (m_file.isOpen() && m_books.lastOpened < m_books.lastNumber) {
        const std::optional<Block> next = m_file.blockAfter(m_books.lastOpened);
        const OpenBlock open{next.value_or(Block()), std::exchange(m_books.firstGoneBytes, 0),
                             std::exchange(m_books.firstGoneCount, 0)};
        if (next && isSound(*next) && hasGone(*next, open.goneBytes, open.goneCount)) {
            m_books.lastOpened = next->number;
            m_open.push_back(open);
            return true;
        }
        abandonFile();
    }
    if (m_unstored.empty()) {
        m_books.ledger.droppedLost += m_books.waiting - m_taken; // the file held less than it said
        m_books.waiting = m_taken;
        m_books.inMemory = qMin(m_books.inMemory, m_books.waiting);
        return false;
    }
    m_memoryBytes -= m_unstored.front().data.size();
    m_open.push_back({std::move(m_unstored.front()), 0, 0});
    m_unstored.pop_front();
    return true;
}

bool Outbox::take(Message &message)
{
    if (!hasUntaken()) {
        return false;
    }
    if (m_cursor < m_open.size() && m_offset >= m_open[m_cursor].block.data.size()) {
        ++m_cursor;
        m_offset = 0;
    }
    if (m_cursor >= m_open.size()) {
        if (!openNext()) {
            return false;
        }
        m_offset = m_open[m_cursor].goneBytes;
    }
    const QByteArray &data = m_open[m_cursor].block.data;
    message = messageAt(data, m_offset);
    m_offset += messageSize(data, m_offset);
    ++m_taken;
    return true;
}

void Outbox::confirm(qint64 count)
{
    count = qMin(count, m_taken);
    m_taken -= count;
    m_books.waiting -= count;
    m_books.ledger.delivered += count;
    bool isInFile = false;
    while (count > 0) {
        OpenBlock &first = m_open.front();
        const int left = first.block.count - first.goneCount;
        const int step = int(qMin<qint64>(count, left));
        int bytes = 0;
        for (int i = 0; i < step; ++i) {
            bytes += messageSize(first.block.data, first.goneBytes + bytes);
        }
        first.goneBytes += bytes;
        first.goneCount += step;
        count -= step;
        if (first.block.number == 0) {
            m_books.inMemory -= step;
        } else {
            isInFile = true;
        }
        if (step == left) {
            if (first.block.number != 0) {
                m_books.lastGone = first.block.number;
                m_books.fileBytes -= first.block.data.size();
            }
            m_open.pop_front();
            if (m_cursor > 0) {
                --m_cursor;
            } else {
                m_offset = 0; // the last message of the only open block was taken
            }
        }
    }
    if (isInFile) {
        strikeOut(false);
        if (!m_timer.isActive()) {
            m_timer.start(); // the file may shrink
        }
    }
    emit changed();
    if (isEmpty() && std::exchange(m_dropsLogged, false)) {
        qCWarning(lcOutbox, "%lld states were dropped during the outage",
                  m_books.ledger.dropped() - m_droppedBefore);
    }
}

void Outbox::putBack()
{
    m_taken = 0;
    m_cursor = 0;
    m_offset = 0;
    m_books.lastOpened = m_books.lastGone;
    while (!m_open.empty()) {
        OpenBlock last = std::move(m_open.back());
        m_open.pop_back();
        if (last.block.number != 0) {
            m_books.firstGoneBytes = last.goneBytes; // of the first in the end
            m_books.firstGoneCount = last.goneCount;
            continue;
        }
        last.block.data.remove(0, last.goneBytes);
        last.block.count -= last.goneCount;
        m_memoryBytes += last.block.data.size();
        m_unstored.push_front(std::move(last.block));
    }
}

void Outbox::discard(const QSet<QString> &exceptOf)
{
    confirm(m_taken); // they have been handed over
    putBack();
    if (!m_file.isOpen() && m_file.exists()) {
        load();
        if (!m_file.isOpen()) {
            m_file.setAside(); // unread: it may hold what is void
        }
    }
    qint64 gone = 0;
    for (Block &block : m_unstored) {
        m_memoryBytes -= block.data.size();
        const int dropped = keepOnly(block, exceptOf);
        m_memoryBytes += block.data.size();
        m_books.inMemory -= dropped;
        gone += dropped;
    }
    m_unstored.erase(std::remove_if(m_unstored.begin(), m_unstored.end(),
                                    [](const Block &block) { return block.count == 0; }),
                     m_unstored.end());
    if (m_file.isOpen() && m_books.lastGone < m_books.lastNumber && m_file.begin(true)) {
        bool good = m_file.removeUpTo(m_books.lastGone);
        std::optional<Block> block = m_file.blockAfter(m_books.lastGone);
        for (; good && block; block = m_file.blockAfter(block->number)) {
            if (!isSound(*block) ||
                !hasGone(*block, m_books.firstGoneBytes, m_books.firstGoneCount)) {
                break;
            }
            m_books.fileBytes -= block->data.size();
            block->data.remove(0, m_books.firstGoneBytes);
            block->count -= m_books.firstGoneCount;
            m_books.firstGoneBytes = 0;
            m_books.firstGoneCount = 0;
            gone += keepOnly(*block, exceptOf);
            m_books.fileBytes += block->data.size();
            good = block->count == 0 ? m_file.remove(block->number) : m_file.update(*block);
        }
        m_books.waiting -= gone;
        m_books.ledger.droppedVoid += gone;
        if (!good || m_file.isDamaged() || !m_file.commit(state())) {
            m_file.rollback();
            abandonFile(); // what is void must not go out under another identity
        } else {
            m_books.lastNumber = qMax(m_books.lastGone, m_file.lastNumber());
        }
    } else {
        m_books.waiting -= gone;
        m_books.ledger.droppedVoid += gone;
    }
    emit changed();
    if (gone > 0) {
        qCInfo(lcOutbox, "%lld waiting states dropped: their registration is void", gone);
    }
}

void Outbox::write()
{
    if (!m_file.isOpen() && (m_file.exists() || !m_fault.isEmpty()) && m_open.empty()) {
        load();
    }
    if (m_books.inMemory > 0) {
        store(writeInterval, true);
    } else if (!m_fault.isEmpty()) {
        if (m_file.isOpen()) {
            strikeOut(false);
        }
    } else if (!isEmpty() || !m_file.isOpen() || !m_file.shrink()) {
        m_timer.stop();
    }
}

// Writes the blocks that are at least this old, in their order.
bool Outbox::store(std::chrono::milliseconds minAge, bool durable)
{
    const qint64 newest = (m_clock.reading() - minAge).count();
    std::vector<Block *> blocks;
    for (OpenBlock &open : m_open) {
        if (open.block.number == 0) {
            blocks.push_back(&open.block);
        }
    }
    const std::size_t openBlocks = blocks.size();
    for (Block &block : m_unstored) {
        blocks.push_back(&block);
    }
    const auto firstYoung =
        std::find_if(blocks.begin(), blocks.end(), [&](const Block *b) { return b->age > newest; });
    blocks.erase(firstYoung, blocks.end());
    if (blocks.empty()) {
        return true;
    }
    qint64 bytes = 0;
    const auto firstLater = std::find_if(blocks.begin(), blocks.end(), [&](const Block *block) {
        return std::exchange(bytes, bytes + block->data.size()) > maxUnstored;
    });
    const bool areMore = firstLater != blocks.end();
    blocks.erase(firstLater, blocks.end());
    // Messages of an older file would come after those that are open.
    if (!m_file.isOpen() && (m_open.empty() || !m_file.exists())) {
        load();
    }
    const Books before = m_books;
    if (!m_file.isOpen() || !m_file.begin(durable)) {
        fail(before);
        return false;
    }
    bool good = dropExcess();
    qint64 number = m_books.lastNumber;
    for (Block *const block : blocks) {
        block->number = ++number;
        m_books.fileBytes += block->data.size();
        good = good && m_file.insert(*block);
    }
    for (const OpenBlock &open : m_open) {
        m_books.inMemory -=
            open.block.number > before.lastNumber ? open.block.count - open.goneCount : 0;
    }
    for (std::size_t i = openBlocks; i < blocks.size(); ++i) {
        m_books.inMemory -= blocks[i]->count;
    }
    good = good && m_file.removeUpTo(m_books.lastGone) && m_file.commit(state());
    if (!good) {
        for (Block *const block : blocks) {
            block->number = 0;
        }
        fail(before);
        return false;
    }
    m_books.lastNumber = number;
    if (openBlocks > 0) {
        m_books.lastOpened = blocks[qMin(openBlocks, blocks.size()) - 1]->number;
    }
    while (!m_unstored.empty() && m_unstored.front().number != 0) {
        m_memoryBytes -= m_unstored.front().data.size();
        m_unstored.pop_front();
    }
    setFault({});
    return !areMore || store(minAge, durable);
}

// Drops the oldest blocks that are not open, as far as there are too many or they are too old.
bool Outbox::dropExcess()
{
    const qint64 oldest = m_limits.age > 0ms ? (m_clock.reading() - m_limits.age).count() : -1;
    while (m_books.lastOpened < m_books.lastNumber) {
        const std::optional<Block> block = m_file.blockAfter(m_books.lastOpened);
        if (!block) {
            return false;
        }
        const bool isFull = m_books.fileBytes > m_limits.bytes;
        if (!isFull && block->age >= oldest) {
            break;
        }
        const int count = block->count - std::exchange(m_books.firstGoneCount, 0);
        m_books.firstGoneBytes = 0;
        m_books.waiting -= count;
        logDrops(isFull ? "too many wait" : "they are too old");
        (isFull ? m_books.ledger.droppedFull : m_books.ledger.droppedOld) += count;
        m_books.fileBytes -= block->data.size();
        m_books.lastOpened = block->number;
        m_books.lastGone = m_open.empty() ? block->number : m_books.lastGone;
        if (!m_file.remove(block->number)) {
            return false;
        }
    }
    return true;
}

// Tells the file what is confirmed, so that a restart does not send it again.
void Outbox::strikeOut(bool durable)
{
    if (m_file.begin(durable) && m_file.removeUpTo(m_books.lastGone) && m_file.commit(state())) {
        setFault({});
    } else {
        fail(m_books);
    }
}

void Outbox::fail(const Books &before)
{
    m_file.rollback();
    m_books = before;
    if (m_file.isDamaged()) {
        abandonFile();
    }
    setFault(tr("Waiting states cannot be written to the disk and are lost when the gateway ends. "
                "Free some space on the disk, or check who may write there."));
}

// Bounds what waits in memory while the file cannot be used.
void Outbox::trimMemory()
{
    while (m_memoryBytes > maxMemory && m_unstored.size() > 1) {
        logDrops("the memory for them is full, and the disk cannot be used");
        const Block &oldest = m_unstored.front();
        m_memoryBytes -= oldest.data.size();
        m_books.waiting -= oldest.count;
        m_books.inMemory -= oldest.count;
        m_books.ledger.droppedFull += oldest.count;
        m_unstored.pop_front();
    }
}

// Sets a damaged file aside. What was read of it waits in memory, the rest is lost.
void Outbox::abandonFile()
{
    qint64 readable = 0;
    for (OpenBlock &open : m_open) {
        if (open.block.number != 0) {
            open.block.number = 0;
            readable += open.block.count - open.goneCount;
        }
    }
    const qint64 lost = m_books.waiting - m_books.inMemory - readable;
    m_books.waiting -= lost;
    m_books.inMemory += readable;
    m_books.ledger.droppedLost += lost;
    m_books.fileBytes = 0;
    m_books.lastNumber = 0;
    m_books.lastOpened = 0;
    m_books.lastGone = 0;
    m_books.firstGoneBytes = 0;
    m_books.firstGoneCount = 0;
    qCWarning(lcOutbox, "The file for waiting states is given up; %lld states are lost", lost);
    m_file.setAside();
}

void Outbox::flush()
{
    store(0ms, true);
    if (m_file.isOpen() || m_books.ledger.delivered > 0) {
        if (!m_file.isOpen() && (m_open.empty() || !m_file.exists())) {
            load();
        }
        if (m_file.isOpen()) {
            strikeOut(true);
        }
    }
}

OutboxFile::State Outbox::state() const
{
    OutboxFile::State state;
    static_cast<OutboxLedger &>(state) = m_books.ledger;
    state.waiting = m_books.waiting - m_books.inMemory;
    state.bytes = m_books.fileBytes;
    if (m_open.empty()) {
        state.goneBytes = m_books.firstGoneBytes;
        state.goneCount = m_books.firstGoneCount;
    } else if (m_open.front().block.number != 0) {
        state.goneBytes = m_open.front().goneBytes;
        state.goneCount = m_open.front().goneCount;
    }
    state.clock = m_clock.reading().count();
    state.date = OutboxClock::date().count();
    return state;
}

OutboxLedger Outbox::ledger() const
{
    OutboxLedger ledger = m_books.ledger;
    ledger.waiting = waiting();
    return ledger;
}

OutboxLedger Outbox::ledgerOfThisRun() const
{
    OutboxLedger run = ledger();
    run.since = m_begun;
    run.delivered -= m_earlier.delivered;
    run.droppedFull -= m_earlier.droppedFull;
    run.droppedOld -= m_earlier.droppedOld;
    run.droppedVoid -= m_earlier.droppedVoid;
    run.droppedLost -= m_earlier.droppedLost;
    return run;
}

std::chrono::milliseconds Outbox::waitingFor()
{
    std::optional<qint64> age;
    if (!m_open.empty()) {
        age = m_open.front().block.age;
    } else if (m_books.lastOpened < m_books.lastNumber) {
        if (const auto block = m_file.blockAfter(m_books.lastOpened)) {
            age = block->age;
        }
    } else if (!m_unstored.empty()) {
        age = m_unstored.front().age;
    }
    return age ? m_clock.reading() - std::chrono::milliseconds(*age) : 0ms;
}

// Once an outage, before anything is dropped.
void Outbox::logDrops(const char *reason)
{
    if (!std::exchange(m_dropsLogged, true)) {
        m_droppedBefore = m_books.ledger.dropped();
        qCWarning(lcOutbox, "Dropping the oldest states that wait for the cloud: %s", reason);
    }
}

void Outbox::setFault(const QString &fault)
{
    if (fault != m_fault) {
        m_fault = fault;
        m_timer.start(fault.isEmpty() ? writeInterval : retryInterval);
        emit changed();
    }
}
