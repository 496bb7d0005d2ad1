#include "runner/backupcontainer.h"

#include <QtEndian>

#include <algorithm>

namespace {

constexpr quint32 formatVersion = 0x200;
constexpr int headerSize = 8;
constexpr int entrySize = 12;

void append(QByteArray &bytes, quint32 number)
{
    const quint32 little = qToLittleEndian(number);
    bytes.append(reinterpret_cast<const char *>(&little), sizeof little);
}

quint32 numberAt(const QByteArray &bytes, int at)
{
    return qFromLittleEndian<quint32>(bytes.constData() + at);
}

bool isKnown(quint32 id)
{
    return id == BackupContainer::Settings || id == BackupContainer::Certificate ||
           id == BackupContainer::PrivateKey;
}

} // namespace

QByteArray BackupContainer::pack(const QVector<Chunk> &chunks)
{
    QByteArray table;
    QByteArray data;
    const int tableSize = entrySize * chunks.size();
    append(table, formatVersion);
    append(table, quint32(tableSize));
    for (const Chunk &chunk : chunks) {
        append(table, chunk.id);
        append(table, quint32(headerSize + tableSize + data.size()));
        append(table, quint32(chunk.data.size()));
        data += chunk.data;
    }
    return table + data;
}

BackupContainer::Fault BackupContainer::unpack(const QByteArray &file, QVector<Chunk> &chunks)
{
    if (file.size() < headerSize + entrySize || file.size() > maxSize) {
        return Damaged;
    }
    if (numberAt(file, 0) != formatVersion) {
        return WrongVersion;
    }
    const quint32 tableSize = numberAt(file, 4);
    if (tableSize == 0 || tableSize % entrySize != 0 ||
        tableSize > quint32(file.size() - headerSize)) {
        return Damaged;
    }
    for (int at = headerSize; at < headerSize + int(tableSize); at += entrySize) {
        const quint32 id = numberAt(file, at);
        if (!isKnown(id)) {
            continue; // of a later version
        }
        if (std::any_of(chunks.cbegin(), chunks.cend(),
                        [id](const Chunk &c) { return c.id == id; })) {
            return Damaged; // or a table could repeat one chunk millions of times
        }
        const quint64 offset = numberAt(file, at + 4);
        const quint64 size = numberAt(file, at + 8);
        const bool inside = offset + size <= quint64(file.size());
        chunks.append({id, inside ? file.mid(int(offset), int(size)) : QByteArray()});
    }
    return None;
}
