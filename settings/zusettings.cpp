#include "settings/zusettings.h"

#include "settings/devicepool.h"
#include "settings/log.h"

#include <QDataStream>
#include <QJsonDocument>

Q_LOGGING_CATEGORY(lcSettings, "kvg.settings")

ZUSettings::ZUSettings(QObject *parent)
    : QObject(parent)
{
    checkVersion(m_store);
}

ZUSettings::~ZUSettings() = default;

void ZUSettings::checkVersion(SettingsStore &store)
{
    const QString running = QLatin1String(defaults::Version);
    if (!store.contains(keys::StoredVersion) || store.value(keys::StoredVersion) != running) {
        store.set(keys::StoredVersion, running);
    }
}

QJsonObject ZUSettings::parsePool(const SettingsStore &store)
{
    const QString text = store.value(keys::DevicePool);
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text.toLatin1(), &error);
    if (!document.isObject() && !text.isEmpty()) {
        qCWarning(lcSettings) << "The device pool cannot be read and counts as empty:"
                              << error.errorString();
    }
    return document.object();
}

QJsonObject ZUSettings::pool() const
{
    return parsePool(m_store);
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
    DevicePool::update([](DevicePool &pool) { pool.clearRegistrations(); });
    m_store.set(keys::CloudSerial, QString());
}
