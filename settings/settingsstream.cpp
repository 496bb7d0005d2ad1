#include "settings/settingsstream.h"

#include "settings/log.h"
#include "settings/settingsstore.h"

#include <QDataStream>

#include <algorithm>

namespace {

template <typename T>
QVariant read(QDataStream &in)
{
    T value{};
    in >> value; // allocates no more than the stream holds, whatever length a text claims
    return value;
}

QVariant readList(QDataStream &in)
{
    quint32 size = 0;
    in >> size;
    if (size > settingsstream::maxEntries) {
        in.setStatus(QDataStream::ReadCorruptData);
        return {};
    }
    QStringList list;
    for (quint32 i = 0; i < size && in.status() == QDataStream::Ok; ++i) {
        list.append(read<QString>(in).toString());
    }
    return list;
}

// The types that a backup may hold. Each has its own reader: QVariant's would create any type that
// the chunk names, and recurse into nested lists until the stack overflows.
struct Type
{
    QMetaType::Type id;
    QVariant (*read)(QDataStream &in);
};
constexpr Type types[] = {
    {QMetaType::Bool, read<bool>},
    {QMetaType::Int, read<int>},
    {QMetaType::UInt, read<uint>},
    {QMetaType::LongLong, read<qlonglong>},
    {QMetaType::ULongLong, read<qulonglong>},
    {QMetaType::Double, read<double>},
    {QMetaType::QString, read<QString>},
    {QMetaType::QStringList, readList},
    {QMetaType::QByteArray, read<QByteArray>},
};

// Null for a type that a backup may not hold.
const Type *findType(quint32 id)
{
    const Type *const type = std::find_if(std::begin(types), std::end(types),
                                          [id](const Type &t) { return quint32(t.id) == id; });
    return type == std::end(types) ? nullptr : type;
}

// Whether QSettings stores the key in this spelling: another could collide with an existing key.
bool isCanonicalKey(const QString &key)
{
    return !key.isEmpty() && key.size() <= settingsstream::maxKeyLength &&
           !key.startsWith(QLatin1Char('/')) && !key.endsWith(QLatin1Char('/')) &&
           !key.contains(QLatin1String("//")) &&
           std::none_of(key.cbegin(), key.cend(),
                        [](QChar c) { return c.category() == QChar::Other_Control; });
}

bool isExportable(const QString &key, const QVariant &value)
{
    return isCanonicalKey(key) && findType(quint32(value.userType())) != nullptr &&
           (value.userType() != QMetaType::QStringList ||
            value.toStringList().size() <= settingsstream::maxEntries);
}

void setEncoding(QDataStream &stream)
{
    stream.setVersion(QDataStream::Qt_5_15);
    stream.setByteOrder(QDataStream::BigEndian);
    stream.setFloatingPointPrecision(QDataStream::DoublePrecision);
}

// Adds the stream's next pair to `values`; false when it is invalid.
bool readPair(QDataStream &in, QVariantMap &values)
{
    QString key;
    quint32 id = 0;
    bool isNull = false; // QVariant writes it; the store has no null values
    in >> key >> id >> isNull;
    const Type *const type = findType(id);
    if (type == nullptr || !isCanonicalKey(key) || values.contains(key) ||
        values.size() == settingsstream::maxEntries) {
        return false;
    }
    values.insert(key, type->read(in));
    return in.status() == QDataStream::Ok;
}

} // namespace

bool settingsstream::write(SettingsStore &store, QDataStream &stream)
{
    setEncoding(stream);
    const qint64 start = stream.device()->pos();
    const QStringList keys = store.ownKeys();
    if (keys.size() > maxEntries) {
        qCWarning(lcSettings, "Cannot back up the settings: more than %d keys", maxEntries);
        return false;
    }
    for (const QString &key : keys) {
        const QVariant value = store.rawValue(key);
        if (isExportable(key, value)) {
            stream << key << value;
        } else {
            qCWarning(lcSettings) << key << "is not backed up: its key or type is unsupported";
        }
    }
    return stream.status() == QDataStream::Ok && stream.device()->pos() - start <= maxSize;
}

std::optional<QVariantMap> settingsstream::parse(const QByteArray &chunk)
{
    if (chunk.size() > maxSize) {
        qCWarning(lcSettings, "A backup's settings are rejected: %d bytes", chunk.size());
        return std::nullopt;
    }
    QVariantMap values;
    QDataStream in(chunk);
    setEncoding(in);
    do { // at least one pair: every store holds the version
        if (!readPair(in, values)) {
            qCWarning(lcSettings, "A backup's settings are rejected: invalid data before byte %lld",
                      in.device()->pos());
            return std::nullopt;
        }
    } while (!in.atEnd());
    return values;
}
