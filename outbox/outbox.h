#pragma once

#include "outbox/outboxclock.h"
#include "outbox/outboxfile.h"
#include "outbox/outboxledger.h"

#include <QByteArray>
#include <QObject>
#include <QSet>
#include <QString>
#include <QTimer>

#include <chrono>
#include <deque>

// States that wait for the cloud, oldest first. What waits longer than a moment is written to a
// file, in batches at least once a second, and survives the process. Lives on its owner's thread.
//
// A message is taken, which hands it to the connection, and then confirmed, when the broker has it:
// only then is it struck out. Messages that were taken and not confirmed wait again after
// putBack(), in their order, so they may go out twice.
//
// While the file cannot be used (a full disk, no permission) messages wait in memory, bounded, and
// fault() tells why. A damaged file is set aside and a new one begun.
class Outbox : public QObject
{
    Q_OBJECT

public:
    struct Message
    {
        QString id; // cloud id of the thing
        QByteArray payload;
    };
    struct Limits
    {
        qint64 bytes = 256LL * 1024 * 1024; // past them the oldest messages are dropped
        std::chrono::milliseconds age{0};   // none, when it is zero
    };

    // `path`: the file's; it need not exist. Opens it if there is one.
    explicit Outbox(const QString &path, QObject *parent = nullptr);
    // Writes what waits.
    ~Outbox() override;

    void setLimits(const Limits &limits);

    void append(const QString &id, const QByteArray &payload);
    // Messages that are not confirmed.
    qint64 waiting() const { return m_books.waiting; }
    // Of these, handed over by take().
    qint64 taken() const { return m_taken; }
    bool isEmpty() const { return waiting() == 0; }
    bool hasUntaken() const { return waiting() > m_taken; }
    // The oldest message that was not taken yet. False when there is none.
    [[nodiscard]] bool take(Message &message);
    // The oldest `count` of the messages that were taken.
    void confirm(qint64 count);
    void putBack();
    // A message was delivered that never waited.
    void countDelivered() { ++m_books.ledger.delivered; }
    // Drops what waits, except the messages of these ids, whose identity stays.
    void discard(const QSet<QString> &exceptOf);
    // Writes what waits, and the ledger, to the disk.
    void flush();

    // How long the oldest message waits; zero when none does.
    std::chrono::milliseconds waitingFor();
    // Since the file was begun.
    OutboxLedger ledger() const;
    // Since this object was made; what waits may be older.
    OutboxLedger ledgerOfThisRun() const;
    // Why messages wait in memory; empty while they need not.
    QString fault() const { return m_fault; }

signals:
    // The ledger or the fault.
    void changed();

private:
    using Block = OutboxFile::Block;
    // A block from which messages are taken. Its number is 0 while it is not in the file.
    struct OpenBlock
    {
        Block block;
        int goneBytes = 0; // confirmed
        int goneCount = 0;
    };

    // What changes together with the file, and is taken back when that fails.
    struct Books
    {
        OutboxLedger ledger;   // without what waits
        qint64 waiting = 0;    // messages
        qint64 inMemory = 0;   // of these, in blocks that are not in the file
        qint64 fileBytes = 0;  // of the blocks in the file
        qint64 lastNumber = 0; // of the blocks in the file
        qint64 lastOpened = 0;
        qint64 lastGone = 0;    // blocks up to this number are confirmed, though still in the file
        int firstGoneBytes = 0; // confirmed of the next block, while that is not open
        int firstGoneCount = 0;
    };

    void load();
    bool openNext();
    void write();
    bool store(std::chrono::milliseconds minAge, bool durable);
    bool dropExcess();
    void strikeOut(bool durable);
    void trimMemory();
    void abandonFile();
    void fail(const Books &before);
    void logDrops(const char *reason);
    OutboxFile::State state() const;
    void setFault(const QString &fault);

    OutboxFile m_file;
    OutboxClock m_clock;
    Limits m_limits;
    Books m_books;
    OutboxLedger m_earlier; // counted before this run
    bool m_hasEarlier = false;
    qint64 m_begun; // date

    // In order: open blocks, blocks of the file that are not open, unstored blocks.
    std::deque<OpenBlock> m_open;
    std::deque<Block> m_unstored;
    qint64 m_memoryBytes = 0; // of m_unstored

    qint64 m_taken = 0;       // messages taken and not confirmed
    std::size_t m_cursor = 0; // the block in m_open of the next message to take
    int m_offset = 0;         // and where that begins in its data

    QTimer m_timer;
    QString m_fault;
    qint64 m_droppedBefore = 0; // the present outage
    bool m_dropsLogged = false;
};
