#pragma once

#include <QJsonObject>
#include <QRandomGenerator>
#include <QStringList>
#include <QVariantHash>
#include <QVector>

// Inputs as a user who edits files, or a cloud that is out of order, may send them.
namespace samples {

// Settings of which one is missing or of each wrong type, or at or beyond the end of its range.
QVector<QVariantHash> wrongSettings(const QJsonObject &metadata, const QVariantHash &valid);
// Settings of which one is at an end of its range: what a user may choose.
QVector<QVariantHash> extremeSettings(const QJsonObject &metadata, const QVariantHash &valid);
QVariantHash randomSettings(const QVariantHash &valid, QRandomGenerator &random);

// Updates with each member of the `state`, also within its objects, of each wrong type.
QVector<QJsonObject> wrongUpdates(const QJsonObject &state);
QJsonObject randomUpdate(const QJsonObject &state, QRandomGenerator &random);

} // namespace samples
