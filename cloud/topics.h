#pragma once

#include <QString>

// The topics of a thing. The identifier is always the thing's cloud id, which may hold slashes.
namespace topics {

QString state(const QString &tid);  // "things/%1/state", gateway to cloud
QString update(const QString &tid); // "things/%1/update", cloud to gateway

// The identifier in a topic; null when the whole topic is not of that form.
QString idOfState(const QString &topic);
QString idOfUpdate(const QString &topic);

// False for an identifier that cannot be part of a topic name: wildcards, control characters,
// what is no character of Unicode (MQTT 3.1.1 sections 1.5.3 and 4.7), over 65535 bytes or 200
// levels. A broker ends the connection of a client that uses such a topic.
bool isValidId(const QString &tid);

} // namespace topics
