#include "settings/zusettings.h"

#include "settings/devicepool.h"
#include "settings/log.h"

#include <QDataStream>

Q_LOGGING_CATEGORY(lcSettings, "kvg.settings")

ZUSettings::ZUSettings(QObject *parent)
    : QObject(parent)
{
    m_store.markVersion();
}

ZUSettings::~ZUSettings() = default;

QJsonObject ZUSettings::pool() const
{
    return DevicePool::stored(m_store);
}

bool ZUSettings::exportAll(QDataStream &stream)
{
    const QStringList all = m_store.ownKeys();
    for (const QString &key : all) {
        stream << key << m_store.rawValue(key);
    }
    return stream.status() == QDataStream::Ok;
}

void ZUSettings::resetRegistration()
{
    m_store.set(keys::CloudSerial, QString());
    DevicePool::update([](DevicePool &pool) { pool.clearRegistrations(); });
}
