#pragma once

#include <QMap>
#include <QString>
#include <QVariant>

#include <optional>

class QByteArray;
class QDataStream;
class SettingsStore;

// The settings as one chunk of a backup: (key, value) pairs in the store's order, in the encoding
// of QDataStream::Qt_5_15, big-endian. Any thread.
namespace settingsstream {

inline constexpr int maxKeyLength = 512; // characters
inline constexpr int maxEntries = 10000; // keys of the store, items of one list
// Bytes. Every change of the settings writes all of them, so a store of this size is slow already;
// no configuration comes near it.
inline constexpr int maxSize = 8 * 1024 * 1024;

// Sets the stream's encoding and writes every key of this user. Leaves out, with a log line, values
// that parse() would reject. False when the stream fails, or when parse() would reject the whole.
[[nodiscard]] bool write(SettingsStore &store, QDataStream &stream);

// The settings of a chunk that write() wrote; nothing, with a log line, for any other or incomplete
// chunk. `chunk` is untrusted: it is checked to the end, within the limits above.
[[nodiscard]] std::optional<QVariantMap> parse(const QByteArray &chunk);

} // namespace settingsstream
