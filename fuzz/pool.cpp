// The stored device pool: what is read is written alike, and a change leaves the rest as it was.
// First line: an id; then the pool.
#include "fuzz/fuzz.h"
#include "settings/devicepool.h"
#include "settings/settingsstore.h"

#include <QJsonDocument>

namespace {

// As text: a whole number beyond 2^53 is written as the nearest double.
QByteArray contentOf(const DevicePool &pool)
{
    QJsonObject content = pool.toJson();
    content.remove(QStringLiteral("updated"));
    return QJsonDocument(content).toJson();
}

} // namespace

void fuzz(const QByteArray &bytes)
{
    const int end = qMax(0, bytes.indexOf('\n'));
    const QString id = QString::fromUtf8(bytes.left(end));
    const QString text = QString::fromUtf8(bytes.mid(end + 1));
    {
        SettingsStore store;
        store.clear();
        store.set(keys::DevicePool, text);
    }
    QByteArray expected;
    DevicePool::update([&](DevicePool &pool) {
        require(contentOf(pool) == contentOf(DevicePool::parse(text)));
        const PoolEntry entry{QStringLiteral("lamp"), QStringLiteral("1"), id};
        pool.applyRegistration(id, id);
        pool.clearRegistrations();
        pool.dropGatewayPlaceholders();
        pool.remove({entry.key()});
        require(pool.indexOf(entry.key()) < 0 && pool.cloudids().isEmpty());
        const int size = pool.size();
        pool.put(entry);
        pool.applyRegistration(entry.key() + QLatin1String("_a"), id);
        require(pool.size() == size + 1 && pool.indexOf(entry.key()) == size);
        require(pool.at(size).regid == QLatin1String("a") && pool.at(size).alias == id);
        expected = contentOf(pool);
    });
    require(contentOf(DevicePool::read()) == expected);
}
