#pragma once

#include <QJsonObject>
#include <QVector>

class QWidget;

// The forms for the settings of the device types: a group box for each type that has settings,
// built from the plugins' own descriptions into `container`. Interface thread.
namespace deviceforms {

// Builds the forms from `descriptions` (type name to description) and fills them from the store.
// Does nothing when the container has a layout already or there are no descriptions. In the tab
// order, the editors follow the container's parent.
void build(QWidget &container, const QJsonObject &descriptions);

// The editors of all forms. The type is the object name of an editor's parent, the setting its own.
[[nodiscard]] QVector<QWidget *> editors(const QWidget &container);

// Stores the values of every editor of the container. False when the store cannot be written.
[[nodiscard]] bool write(const QWidget &container);

} // namespace deviceforms
