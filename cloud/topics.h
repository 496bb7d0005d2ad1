#pragma once

#include <QString>

// The topics of a thing. `tid` is the thing's cloud id, which may contain slashes.
namespace topics {

QString state(const QString &tid);  // "things/%1/state", gateway to cloud
QString update(const QString &tid); // "things/%1/update", cloud to gateway

// The cloud id in a topic; null if the topic has another form.
QString idOfState(const QString &topic);
QString idOfUpdate(const QString &topic);

// False for an id that cannot be part of a topic name: wildcards, control characters, invalid
// Unicode (MQTT 3.1.1 sections 1.5.3 and 4.7), too many bytes or levels. A broker ends the
// connection of a client that uses such a topic.
bool isValidId(const QString &tid);

} // namespace topics
