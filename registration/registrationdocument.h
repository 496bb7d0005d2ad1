#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>

class QAbstractThing;

// What the registrar is asked, and the statuses that the gateway itself reports.

// What is still to be registered: the gateway, and those of `things` that have no registration
// id. Empty when there is nothing. To be called on the things' thread.
QJsonObject registrationDocument(const QAbstractThing &gateway,
                                 const QList<QAbstractThing *> &things);

// A document as it travels in a query: compact JSON, zlib, base64url with its padding.
QString encodeRegistrationDocument(const QJsonObject &document);

enum class RegistrationFailure { Busy, NothingToRegister, NoConnection, BadReply, StreamEnded };

// {"code", "error"}, shaped as the registrar's own "error" events.
QJsonObject registrationStatus(RegistrationFailure failure);
