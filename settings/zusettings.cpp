#include "settings/zusettings.h"

#include "settings/devicepool.h"
#include "settings/log.h"
#include "settings/windowlayout.h"

Q_LOGGING_CATEGORY(lcSettings, "kvg.settings")

ZUSettings::ZUSettings(QObject *parent)
    : QObject(parent)
{
    m_store.markVersion();
}

ZUSettings::~ZUSettings() = default;

QByteArray ZUSettings::windowState(const Key<QByteArray> &key) const
{
    const QByteArray stored = m_store.value(key);
    return windowlayout::isState(stored) ? stored : QByteArray();
}

QByteArray ZUSettings::windowGeometry(const Key<QByteArray> &key) const
{
    const QByteArray stored = m_store.value(key);
    return windowlayout::isGeometry(stored) ? stored : QByteArray();
}

QJsonObject ZUSettings::pool() const
{
    return DevicePool::stored(m_store);
}

void ZUSettings::resetRegistration()
{
    m_store.set(keys::CloudSerial, QString());
    DevicePool::update([](DevicePool &pool) { pool.clearRegistrations(); });
}
