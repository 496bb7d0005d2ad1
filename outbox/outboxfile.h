#pragma once

#include "outbox/outboxledger.h"

#include <QByteArray>
#include <QString>

#include <memory>
#include <optional>

struct sqlite3;
struct sqlite3_stmt;

// The file in which messages wait: blocks of messages in their order, and the numbers that belong
// to them. An SQLite database for the user alone, opened by this process only. One thread.
//
// Functions that return bool are false, with a log line, when SQLite failed. isDamaged() tells then
// whether the file is to be set aside.
class OutboxFile
{
public:
    struct Block
    {
        qint64 number = 0; // ascending
        qint64 age = 0;    // milliseconds on the outbox's clock, of the first message
        int count = 0;     // messages
        QByteArray data;
    };
    // What is stored beside the blocks, so that it tells what a damaged file held. `waiting` counts
    // those in the blocks, without those of the first that have gone.
    struct State : OutboxLedger
    {
        qint64 bytes = 0;     // of the blocks' data
        qint64 goneBytes = 0; // of the first block's data: sent already
        qint64 goneCount = 0;
        qint64 clock = 0; // milliseconds, the outbox's
        qint64 date = 0;  // the computer's at that moment, milliseconds since 1970
    };

    explicit OutboxFile(const QString &path);
    ~OutboxFile();
    Q_DISABLE_COPY(OutboxFile)

    bool isOpen() const { return m_db != nullptr; }
    bool exists() const;
    // Opens the file, or creates it. False also for a file that cannot be written or is damaged.
    [[nodiscard]] bool open();
    bool isDamaged() const { return m_damaged; }
    // Closes the file and renames it, in place of an older one that was set aside.
    void setAside();

    // `durable`: commit() returns when the disk has it. Otherwise the end of this process cannot
    // undo it, but a loss of power can.
    [[nodiscard]] bool begin(bool durable);
    [[nodiscard]] bool commit(const State &state);
    void rollback();

    [[nodiscard]] bool insert(const Block &block);
    [[nodiscard]] bool update(const Block &block);
    [[nodiscard]] bool remove(qint64 number);
    // Up to this number, itself included.
    [[nodiscard]] bool removeUpTo(qint64 number);
    // The first block after this number; nothing when there is none, or on a failure.
    std::optional<Block> blockAfter(qint64 number);
    // 0 when there is no block.
    qint64 firstNumber();
    qint64 lastNumber();
    std::optional<State> state();
    // Gives some of the space of removed blocks back to the disk. False when none is left.
    bool shrink();

private:
    struct Closer
    {
        void operator()(sqlite3 *db) const;
        void operator()(sqlite3_stmt *statement) const;
    };
    using Statement = std::unique_ptr<sqlite3_stmt, Closer>;

    bool check(int result, const char *what);
    bool run(const char *sql);
    Statement prepare(const char *sql);
    qint64 number(const char *sql);
    bool isOurs();

    QString m_path;
    std::unique_ptr<sqlite3, Closer> m_db;
    bool m_damaged = false;
    QString m_failure; // the last in the log: each is logged once
};
