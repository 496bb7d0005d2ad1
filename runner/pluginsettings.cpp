#include "runner/pluginsettings.h"

#include "runner/log.h"
#include "settings/settingsstore.h"

#include <QJsonArray>

QVariantHash pluginSettings(const QString &plugin, const QJsonObject &description)
{
    QVariantHash values = {{QLatin1String(keys::PluginEnabled), true}};
    QHash<QString, QString> types = {{QLatin1String(keys::PluginEnabled), "bool"}};
    const QJsonArray settings = description["settings"].toArray();
    for (const QJsonValue &value : settings) {
        const QJsonObject setting = value.toObject();
        const QString name = setting["name"].toString();
        const QString type = setting["type"].toString();
        if (types.contains(name)) {
            continue; // the form has the first of this name
        }
        types.insert(name, type);
        if (setting.contains(QLatin1String("value"))) {
            const QVariant fallback = setting["value"].toVariant();
            const QVariant typed = storedPluginValue(fallback, type);
            values.insert(name, typed.isValid() ? typed : fallback);
        }
    }
    const QVariantHash stored = SettingsStore().pluginValues(plugin);
    for (auto it = stored.cbegin(); it != stored.cend(); ++it) {
        const QVariant value = storedPluginValue(it.value(), types.value(it.key()));
        if (value.isValid()) {
            values.insert(it.key(), value);
        } else {
            qCWarning(lcRunner).noquote() << keys::pluginSetting(plugin, it.key())
                                          << "holds no usable value; the default is used";
        }
    }
    return values;
}
