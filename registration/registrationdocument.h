#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>

class QAbstractThing;

// What is still to be registered: the gateway, and those of `things` that have no registration
// id. Empty if there is nothing. Call on the things' thread.
QJsonObject registrationDocument(const QAbstractThing &gateway,
                                 const QList<QAbstractThing *> &things);

// Encodes a document for the query: compact JSON, zlib, base64url with padding.
QString encodeRegistrationDocument(const QJsonObject &document);

enum class RegistrationFailure { Busy, NothingToRegister, NoConnection, BadReply, StreamEnded };

// {"code", "error"}, like the registrar's "error" events.
QJsonObject registrationStatus(RegistrationFailure failure);
