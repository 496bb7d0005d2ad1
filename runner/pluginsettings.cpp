#include "runner/pluginsettings.h"

#include "runner/log.h"
#include "settings/settingsstore.h"

#include <QJsonArray>

namespace {

// The stored value in the described type; invalid when it is not one. The settings file holds
// numbers and booleans as texts.
QVariant converted(const QVariant &stored, const QString &type)
{
    bool ok = true;
    if (type == QLatin1String("bool")) {
        const bool value = storedBool(stored, &ok);
        return ok ? QVariant(value) : QVariant();
    }
    if (type == QLatin1String("int")) {
        const int value = storedInteger<int>(stored, &ok);
        return ok ? QVariant(value) : QVariant();
    }
    if (type == QLatin1String("float")) {
        const double value = stored.toDouble(&ok);
        return ok && qIsFinite(value) ? QVariant(value) : QVariant();
    }
    if (type == QLatin1String("string") || type == QLatin1String("list")) {
        const QString value = storedText(stored, &ok);
        return ok ? QVariant(value) : QVariant();
    }
    return stored;
}

} // namespace

QVariantHash pluginSettings(const QString &plugin, const QJsonObject &description)
{
    QVariantHash values;
    QHash<QString, QString> types = {{QLatin1String(keys::PluginEnabled), "bool"}};
    const QJsonArray settings = description["settings"].toArray();
    for (const QJsonValue &value : settings) {
        const QJsonObject setting = value.toObject();
        const QString name = setting["name"].toString();
        const QString type = setting["type"].toString();
        types.insert(name, type);
        if (setting.contains(QLatin1String("value"))) {
            const QVariant fallback = setting["value"].toVariant();
            const QVariant typed = converted(fallback, type);
            values.insert(name, typed.isValid() ? typed : fallback);
        }
    }
    const QVariantHash stored = SettingsStore().pluginValues(plugin);
    for (auto it = stored.cbegin(); it != stored.cend(); ++it) {
        const QVariant value = converted(it.value(), types.value(it.key()));
        if (value.isValid()) {
            values.insert(it.key(), value);
        } else {
            qCWarning(lcRunner).noquote() << keys::pluginSetting(plugin, it.key())
                                          << "holds no usable value; the default is used";
        }
    }
    return values;
}
