#pragma once

#include <QJsonObject>
#include <QString>
#include <QVariantHash>

// What a plugin says about itself in JSON. Every function returns the first fault in words, empty
// when there is none.
namespace metadata {

QString fault(const QString &fileName, const QJsonObject &metadata);
QString settingsFault(const QJsonObject &metadata);

} // namespace metadata

// The settings as the gateway passes them: the defaults, and the `given` values ("name=value") in
// the described types. The first given one that is not described goes into `unknown`.
QVariantHash describedSettings(const QJsonObject &metadata, const QStringList &given,
                               QString *unknown);
