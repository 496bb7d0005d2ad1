// The settings as one chunk of a backup.

#include "settings/devicepool.h"
#include "settings/log.h"
#include "settings/windowlayout.h"
#include "settings/zusettings.h"

#include <QDataStream>

#include <algorithm>

namespace {

constexpr int longestKey = 512;    // characters
constexpr int mostEntries = 10000; // in the store, and in one list
// Bytes. Every change of the settings writes all of them, so that a store of this size is slow
// already; no configuration comes near it.
constexpr int maxChunkSize = 8 * 1024 * 1024;

template <typename T>
QVariant read(QDataStream &in)
{
    T value{};
    in >> value; // of texts and byte arrays no more than there is, whatever length they claim
    return value;
}

QVariant readList(QDataStream &in)
{
    quint32 size = 0;
    in >> size;
    if (size > mostEntries) {
        in.setStatus(QDataStream::ReadCorruptData);
        return {};
    }
    QStringList list;
    for (quint32 i = 0; i < size && in.status() == QDataStream::Ok; ++i) {
        list.append(read<QString>(in).toString());
    }
    return list;
}

// The types that travel. Values are read by their types' own functions, never by QVariant's: that
// one makes whatever type a file names, and lists in lists until the stack ends.
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

// Null when values of this type do not travel.
const Type *typeOf(quint32 id)
{
    const Type *const type = std::find_if(std::begin(types), std::end(types),
                                          [id](const Type &t) { return quint32(t.id) == id; });
    return type == std::end(types) ? nullptr : type;
}

// As the store itself would have it: another spelling could meet a key that is there already.
bool isSound(const QString &key)
{
    return !key.isEmpty() && key.size() <= longestKey && !key.startsWith(QLatin1Char('/')) &&
           !key.endsWith(QLatin1Char('/')) && !key.contains(QLatin1String("//")) &&
           std::none_of(key.cbegin(), key.cend(),
                        [](QChar c) { return c.category() == QChar::Other_Control; });
}

bool travels(const QString &key, const QVariant &value)
{
    return isSound(key) && typeOf(quint32(value.userType())) != nullptr &&
           (value.userType() != QMetaType::QStringList ||
            value.toStringList().size() <= mostEntries);
}

void setEncoding(QDataStream &stream)
{
    stream.setVersion(QDataStream::Qt_5_15);
    stream.setByteOrder(QDataStream::BigEndian);
    stream.setFloatingPointPrecision(QDataStream::DoublePrecision);
}

// A layout that Qt cannot be given is as good as none.
void dropDamagedLayouts(QMap<QString, QVariant> &values)
{
    const auto drop = [&values](const Key<QByteArray> &key, bool (*isSound)(const QByteArray &)) {
        const QString path = QLatin1String(key.path);
        if (values.contains(path) && !isSound(values.value(path).toByteArray())) {
            values.remove(path);
            qCWarning(lcSettings).noquote() << "A backup's" << path << "is damaged: left out";
        }
    };
    drop(keys::PageState, windowlayout::isState);
    drop(keys::WindowState, windowlayout::isState);
    drop(keys::PageGeometry, windowlayout::isGeometry);
    drop(keys::WindowGeometry, windowlayout::isGeometry);
}

// Adds one pair; false when the stream does not go on with a sound one.
bool readPair(QDataStream &in, QMap<QString, QVariant> &values)
{
    QString key;
    quint32 id = 0;
    bool isNull = false; // as QVariant writes it; the store knows no null values
    in >> key >> id >> isNull;
    const Type *const type = typeOf(id);
    if (type == nullptr || !isSound(key) || values.contains(key) || values.size() == mostEntries) {
        return false;
    }
    values.insert(key, type->read(in));
    return in.status() == QDataStream::Ok;
}

} // namespace

bool ZUSettings::exportAll(QDataStream &stream)
{
    setEncoding(stream);
    const qint64 start = stream.device()->pos();
    const QStringList all = m_store.ownKeys();
    if (all.size() > mostEntries) {
        qCWarning(lcSettings, "The store holds too many keys for a backup");
        return false;
    }
    for (const QString &key : all) {
        const QVariant value = m_store.rawValue(key);
        if (travels(key, value)) {
            stream << key << value;
        } else {
            qCWarning(lcSettings) << key << "holds what no version stores; the backup goes without";
        }
    }
    return stream.status() == QDataStream::Ok && stream.device()->pos() - start <= maxChunkSize;
}

bool ZUSettings::canImport(const QByteArray &chunk)
{
    QMap<QString, QVariant> values;
    return parse(chunk, values);
}

bool ZUSettings::parse(const QByteArray &chunk, QMap<QString, QVariant> &values)
{
    if (chunk.size() > maxChunkSize) {
        qCWarning(lcSettings, "A backup's settings are rejected: %d bytes", chunk.size());
        return false;
    }
    QDataStream in(chunk);
    setEncoding(in);
    do { // one pair at least: the version is in every store
        if (!readPair(in, values)) {
            qCWarning(lcSettings, "A backup's settings are rejected: invalid data before byte %lld",
                      in.device()->pos());
            return false;
        }
    } while (!in.atEnd());
    return true;
}

bool ZUSettings::importAll(const QByteArray &chunk)
{
    QMap<QString, QVariant> values;
    if (!parse(chunk, values)) {
        return false;
    }
    dropDamagedLayouts(values);
    values.insert(QLatin1String(keys::StoredVersion.path), QLatin1String(defaults::Version));

    const bool replaced = DevicePool::replaceStored([&] { return m_store.replaceAll(values); });
    if (!replaced) {
        qCWarning(lcSettings, "The restored settings could not be written; the old ones stay");
    }
    return replaced;
}
