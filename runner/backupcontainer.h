#pragma once

#include <QByteArray>
#include <QVector>

#include <optional>

// The container of a configuration backup: a format version, a table of chunks and their data, all
// numbers 32 bits wide and little-endian. Pure functions; any thread.
class BackupContainer
{
public:
    enum ChunkId : quint32 {
        Settings = 0x104201,    // as ZUSettings::exportAll() writes them
        Certificate = 0x104202, // DER
        PrivateKey = 0x104203   // DER, without pass phrase
    };
    struct Chunk
    {
        quint32 id;
        QByteArray data;
    };
    enum Fault { None, Damaged, WrongVersion };

    // Bytes. No configuration comes near it; it bounds what a restore reads into memory.
    static constexpr int maxSize = 64 * 1024 * 1024;

    static QByteArray pack(const QVector<Chunk> &chunks);
    // Appends the chunks of `file` in the order of its table, those of other ids left out. The
    // data of a chunk that reaches out of the file are empty. The file may hold anything.
    static Fault unpack(const QByteArray &file, QVector<Chunk> &chunks);
};
