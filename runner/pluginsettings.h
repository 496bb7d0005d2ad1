#pragma once

#include <QJsonObject>
#include <QString>
#include <QVariantHash>

// The settings of a device type, name to value: the defaults of the plugin's description,
// overridden by what the store holds. A stored value that is not of the described type gives
// way to the default, with a log line; ranges are the plugin's to check. Any thread.
QVariantHash pluginSettings(const QString &plugin, const QJsonObject &description);
