#include "tools/sandbox/document.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSet>

#include <zlib.h>

#include <algorithm>

namespace {

// The JSON of ten thousand things is smaller than one megabyte.
constexpr int maxInflated = 4 << 20;
constexpr int maxSiblings = 20000;
constexpr int maxIdLength = 200;
constexpr int maxAliasLength = 256;

std::optional<QByteArray> inflated(const QByteArray &packed)
{
    z_stream stream{};
    if (inflateInit(&stream) != Z_OK) {
        return std::nullopt;
    }
    // zlib takes no pointer to const, but does not change the input.
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(packed.constData()));
    stream.avail_in = static_cast<uInt>(packed.size());
    QByteArray plain;
    int result = Z_OK;
    while (result == Z_OK && plain.size() < maxInflated) {
        const int before = plain.size();
        const int step = std::min(64 << 10, maxInflated - before);
        plain.resize(before + step);
        stream.next_out = reinterpret_cast<Bytef *>(plain.data() + before);
        stream.avail_out = static_cast<uInt>(step);
        result = inflate(&stream, Z_NO_FLUSH);
        plain.resize(before + step - static_cast<int>(stream.avail_out));
    }
    const bool whole = result == Z_STREAM_END && stream.avail_in == 0;
    inflateEnd(&stream);
    return whole ? std::optional(plain) : std::nullopt;
}

bool isPrintable(const QString &text)
{
    const QVector<uint> points = text.toUcs4();
    return std::none_of(points.begin(), points.end(), [](uint point) {
        const QChar::Category category = QChar::category(point);
        return category == QChar::Other_Control || category == QChar::Other_Surrogate ||
               QChar::isNonCharacter(point);
    });
}

bool isAlias(const QJsonValue &value)
{
    const QString text = value.toString();
    return !text.trimmed().isEmpty() && text.size() <= maxAliasLength && isPrintable(text);
}

bool isShortid(const QString &id)
{
    static const QRegularExpression form("^[^_+#]+_[^_+#]+_[^+#]+$");
    return id.size() <= maxIdLength && isPrintable(id) && form.match(id).hasMatch();
}

// Reads `members` into `document`. An error for the gateway's user, or null if they are valid.
const char *checkMembers(const QJsonObject &members, RegistrationDocument &document)
{
    const bool isNew = members.contains("gw");
    if (isNew == members.contains("app")) {
        return "The document must name either a new gateway or a registered one";
    }
    if (isNew) {
        // Type and version stand in the certificate's common name, which has 64 characters.
        static const QRegularExpression form("^([A-Za-z0-9.-]{1,16})_([A-Za-z0-9.-]{1,16})_\\?$");
        const QRegularExpressionMatch match = form.match(members.value("gw").toString());
        if (!match.hasMatch()) {
            return "The document's \"gw\" must be of the form type_version_?";
        }
        if (!isAlias(members.value("alias"))) {
            return "The gateway's alias is missing or too long";
        }
        document.type = match.captured(1);
        document.version = match.captured(2);
        document.alias = members.value("alias").toString();
    } else {
        document.app = members.value("app").toString();
        if (document.app.isEmpty() || document.app.size() > maxIdLength) {
            return "The document's \"app\" must be the gateway's id";
        }
        if (!members.contains("sib")) {
            return "The document names no new devices";
        }
    }
    if (!members.contains("sib")) {
        return nullptr;
    }
    const QJsonArray siblings = members.value("sib").toArray();
    if (siblings.isEmpty() || siblings.size() > maxSiblings) {
        return "The document's \"sib\" must be an array of at least one device and not too many";
    }
    QSet<QString> seen;
    for (const QJsonValue &value : siblings) {
        const QJsonArray pair = value.toArray();
        const QString id = pair.at(0).toString();
        if (pair.size() != 2 || !isShortid(id) || !isAlias(pair.at(1))) {
            return "A device of the document is not a pair of id and alias";
        }
        if (seen.contains(id)) {
            return "A device stands twice in the document";
        }
        seen.insert(id);
        document.siblings.append({id, pair.at(1).toString()});
    }
    return nullptr;
}

} // namespace

std::optional<RegistrationDocument> decodeDocument(const QByteArray &text, QString &error)
{
    const auto packed = QByteArray::fromBase64Encoding(
        text, QByteArray::Base64UrlEncoding | QByteArray::AbortOnBase64DecodingErrors);
    if (text.isEmpty() || !packed) {
        error = QStringLiteral("The document is not base64");
        return std::nullopt;
    }
    const std::optional<QByteArray> plain = inflated(*packed);
    if (!plain) {
        error = QStringLiteral("The document cannot be decompressed");
        return std::nullopt;
    }
    const QJsonDocument json = QJsonDocument::fromJson(*plain);
    if (!json.isObject()) {
        error = QStringLiteral("The document is not a JSON object");
        return std::nullopt;
    }
    RegistrationDocument document;
    if (const char *sentence = checkMembers(json.object(), document)) {
        error = QString::fromLatin1(sentence);
        return std::nullopt;
    }
    return document;
}
