#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

// A gateway's request to the registrar, checked: the length of every text is limited, and every id
// is valid in a topic.
struct RegistrationDocument
{
    struct Sibling
    {
        QString shortid; // type_version_serial
        QString alias;
    };

    // Either type, version and alias of a new gateway, or `app`, the full id of a registered one.
    QString type;
    QString version;
    QString alias;
    QString app;
    QList<Sibling> siblings; // the new things
    bool isNewGateway() const { return app.isEmpty(); }
};

// Decodes the request's query item "doc": JSON, compressed by zlib, in URL-safe base64. Any thread.
// Empty for an invalid document; `error` then holds the reason and no text of the document.
std::optional<RegistrationDocument> decodeDocument(const QByteArray &text, QString &error);
