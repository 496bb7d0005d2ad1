#pragma once

#include "database/databasefile.h"
#include "outbox/outboxledger.h"

#include <optional>

// The file in which messages wait: blocks of messages in their order, and the numbers that belong
// to them. One thread.
class OutboxFile : public DatabaseFile
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
    // Opens the file, or creates it. False also for a file that cannot be written or is damaged.
    [[nodiscard]] bool open();

    // `durable`: commit() returns when the disk has it. Otherwise the end of this process cannot
    // undo it, but a loss of power can.
    [[nodiscard]] bool begin(bool durable);
    [[nodiscard]] bool commit(const State &state);
    using DatabaseFile::rollback;

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
};
