#include "settings/zusettings.h"

#include "settings/devicepool.h"
#include "settings/log.h"

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

void ZUSettings::resetRegistration()
{
    m_store.set(keys::CloudSerial, QString());
    DevicePool::update([](DevicePool &pool) { pool.clearRegistrations(); });
}
