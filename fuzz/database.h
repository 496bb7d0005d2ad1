#pragma once

#include "fuzz/fuzz.h"

#include <fuzzer/FuzzedDataProvider.h>
#include <sqlite3.h>

#include <vector>

// Makes the file at `path` from the bytes of a sound one: some of its bytes change, and it gets
// rows. Each of `statements` makes one of its parameters. Returns whether bytes changed: SQLite
// does not notice all damage.
inline bool makeDatabase(const QString &path, QByteArray sound, FuzzedDataProvider &in,
                         const std::vector<const char *> &statements)
{
    sound[18] = sound[19] = 1; // no write-ahead log, which SQLite cannot have in memory
    const int changes = in.ConsumeIntegralInRange(0, 4);
    for (int i = 0; i < changes; ++i) {
        sound[in.ConsumeIntegralInRange(0, sound.size() - 1)] = in.ConsumeIntegral<char>();
    }
    sqlite3 *db = nullptr;
    sqlite3_open(":memory:", &db);
    auto *const copy = static_cast<unsigned char *>(sqlite3_malloc(sound.size()));
    std::copy(sound.begin(), sound.end(), copy);
    sqlite3_deserialize(db, "main", copy, sound.size(), sound.size(),
                        SQLITE_DESERIALIZE_FREEONCLOSE | SQLITE_DESERIALIZE_RESIZEABLE);
    for (int row = 0; in.remaining_bytes() > 0 && row < 64; ++row) {
        const auto which = in.ConsumeIntegralInRange<std::size_t>(0, statements.size() - 1);
        sqlite3_stmt *insert = nullptr;
        sqlite3_prepare_v2(db, statements[which], -1, &insert, nullptr);
        for (int i = 1; i <= sqlite3_bind_parameter_count(insert); ++i) {
            const int kind = in.ConsumeIntegralInRange(0, 9);
            if (kind < 4) {
                sqlite3_bind_int64(insert, i, in.ConsumeIntegralInRange(0, 63));
            } else if (kind == 4) {
                sqlite3_bind_int64(insert, i, in.ConsumeIntegral<sqlite3_int64>());
            } else if (kind == 5) {
                sqlite3_bind_double(insert, i, in.ConsumeFloatingPoint<double>());
            } else if (kind == 6) {
                sqlite3_bind_int64(insert, i, in.ConsumeIntegral<qint32>());
            } else {
                const std::string bytes = in.ConsumeRandomLengthString();
                const int size = int(bytes.size());
                kind == 7 ? sqlite3_bind_text(insert, i, bytes.data(), size, SQLITE_TRANSIENT)
                          : sqlite3_bind_blob(insert, i, bytes.data(), size, SQLITE_TRANSIENT);
            }
        }
        sqlite3_step(insert);
        sqlite3_finalize(insert);
    }
    sqlite3_int64 length = 0;
    unsigned char *const content = sqlite3_serialize(db, "main", &length, 0);
    for (const char *const suffix : {"", "-wal", "-journal", ".damaged"}) {
        QFile::remove(path + QLatin1String(suffix));
    }
    QFile file(path);
    require(file.open(QIODevice::WriteOnly));
    file.write(reinterpret_cast<const char *>(content), length);
    sqlite3_free(content);
    sqlite3_close(db);
    return changes > 0;
}

// Of a database that has been closed.
inline QByteArray contentOf(const QString &path)
{
    QFile file(path);
    require(file.open(QIODevice::ReadOnly) && !QFile::exists(path + QLatin1String("-wal")));
    return file.readAll();
}
