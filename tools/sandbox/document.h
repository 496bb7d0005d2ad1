#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

// What a gateway asks of the registrar, checked: every text is bounded, and an id can stand in a
// topic.
struct RegistrationDocument
{
    struct Sibling
    {
        QString shortid; // type_version_serial
        QString alias;
    };

    // A new gateway has type, version and alias; one that is registered already has `app`, its
    // full id. Never both.
    QString type;
    QString version;
    QString alias;
    QString app;
    QList<Sibling> siblings; // the new things
    bool isNewGateway() const { return app.isEmpty(); }
};

// Reads the text of the request's "doc" item: JSON, compressed by zlib, in URL-safe base64. Any
// thread. Nothing for a document that is not exactly as agreed; `error` then says why, in words
// that hold nothing of the document.
std::optional<RegistrationDocument> decodeDocument(const QByteArray &text, QString &error);
