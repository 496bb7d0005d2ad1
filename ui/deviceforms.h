#pragma once

#include <QJsonObject>

class QObject;
class QWidget;

// The forms for the settings of the device types: a group box for each type that has settings,
// built from the plugins' own descriptions into `container`. Interface thread.
namespace deviceforms {

// Builds the forms from `descriptions` (type name to description) and fills them from the store.
// Does nothing when the container has a layout already or there are no descriptions.
// `wheelGuard`, not owned, filters the events of every editor that a mouse wheel would change.
void build(QWidget &container, const QJsonObject &descriptions, QObject *wheelGuard);

// Takes out what build() made, so that it can be built anew; edits are lost.
void discard(QWidget &container);

// Stores the values of every editor of the container. False when the store cannot be written.
bool write(const QWidget &container);

} // namespace deviceforms
