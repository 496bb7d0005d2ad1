#include "mqtt/packets.h"

#include "mqtt/log.h"
#include "mqtt/outbox.h"

#include <QStringView>
#include <QTextCodec>
#include <QVarLengthArray>

#include <algorithm>
#include <cstring>

Q_LOGGING_CATEGORY(lcMqtt, "kvg.mqtt")

namespace QMQTT {

namespace {

constexpr int maxStringSize = 65535; // section 1.5.3

struct CharacterSet
{
    bool ascii = true;
    bool nul = false;
    bool wildcard = false;
};

// Without branches, so that the compiler can vectorize it: this runs for every message.
CharacterSet charactersOf(const QString &text)
{
    uint all = 0;
    uint nul = 0;
    uint wildcard = 0;
    const auto *const begin = reinterpret_cast<const char16_t *>(text.utf16());
    const auto *const end = begin + text.size();
    for (const char16_t *c = begin; c != end; ++c) {
        all |= *c;
        nul |= static_cast<uint>(*c == u'\0');
        wildcard |= static_cast<uint>(*c == u'#') | static_cast<uint>(*c == u'+');
    }
    return {all < 0x80, nul != 0, wildcard != 0};
}

bool isValidFilter(const QString &filter)
{
    const auto levels = QStringView(filter).split(u'/');
    for (const QStringView level : levels) {
        if (level.size() > 1 && (level.contains(u'#') || level.contains(u'+'))) {
            return false;
        }
    }
    const int hash = filter.indexOf(QLatin1Char('#')); // allowed at the end only
    return !filter.isEmpty() && (hash < 0 || hash == filter.size() - 1);
}

bool reject(const char *what)
{
    qCWarning(lcMqtt, "Not sent: %s", what);
    return false;
}

// `utf8` stays empty for pure ASCII, which putString() copies without converting.
bool checkString(const QString &text, const CharacterSet &characters, QByteArray &utf8)
{
    if (characters.nul) {
        return reject("a string with a NUL character");
    }
    if (!characters.ascii) {
        if (!QStringView(text).isValidUtf16()) {
            return reject("a string that is not valid UTF-16");
        }
        utf8 = text.toUtf8();
    }
    if ((characters.ascii ? text.size() : utf8.size()) > maxStringSize) {
        return reject("a string of more than 65535 bytes");
    }
    return true;
}

char *putByte(char *to, uint value)
{
    *to = static_cast<char>(value);
    return to + 1;
}

char *putInt16(char *to, uint value)
{
    return putByte(putByte(to, value >> 8), value & 0xff);
}

int remainingLengthSize(int remaining)
{
    return 1 + static_cast<int>(remaining > 0x7f) + static_cast<int>(remaining > 0x3fff) +
           static_cast<int>(remaining > 0x1fffff);
}

char *putFixedHeader(char *to, PacketType type, uint flags, int remaining)
{
    to = putByte(to, (static_cast<uint>(type) << 4) | flags);
    auto rest = static_cast<uint>(remaining);
    while (rest > 0x7f) {
        to = putByte(to, (rest & 0x7f) | 0x80);
        rest >>= 7;
    }
    return putByte(to, rest);
}

char *putBytes(char *to, const QByteArray &bytes)
{
    std::memcpy(to, bytes.constData(), static_cast<size_t>(bytes.size()));
    return to + bytes.size();
}

char *putString(char *to, const QString &text, const QByteArray &utf8)
{
    if (!utf8.isEmpty()) {
        return putBytes(putInt16(to, static_cast<uint>(utf8.size())), utf8);
    }
    to = putInt16(to, static_cast<uint>(text.size()));
    const auto *const from = reinterpret_cast<const char16_t *>(text.utf16());
    return std::transform(from, from + text.size(), to,
                          [](char16_t c) { return static_cast<char>(c); });
}

void appendField(QByteArray &body, const QByteArray &field)
{
    body.append(static_cast<char>(field.size() >> 8)).append(static_cast<char>(field.size()));
    body.append(field);
}

void appendPacket(Outbox &out, PacketType type, uint flags, const QByteArray &body)
{
    QVarLengthArray<char, 5> head(1 + remainingLengthSize(body.size()));
    putFixedHeader(head.data(), type, flags, body.size());
    out.append(head.constData(), head.size());
    out.append(body.constData(), body.size());
}

} // namespace

namespace packets {

bool appendConnect(Outbox &out, const Settings &settings)
{
    QByteArray utf8;
    if (!checkString(settings.clientId, charactersOf(settings.clientId), utf8) ||
        !checkString(settings.username, charactersOf(settings.username), utf8)) {
        return false;
    }
    if (settings.password.size() > maxStringSize) {
        return reject("a password of more than 65535 bytes");
    }
    const bool hasUser = !settings.username.isEmpty();
    const bool hasPassword = hasUser && !settings.password.isEmpty(); // section 3.1.2.9
    QByteArray body;
    appendField(body, settings.version == V3_1_0 ? QByteArrayLiteral("MQIsdp")
                                                 : QByteArrayLiteral("MQTT"));
    body.append(static_cast<char>(settings.version));
    body.append(static_cast<char>((hasUser ? 0x80 : 0) | (hasPassword ? 0x40 : 0) |
                                  (settings.cleanSession ? 0x02 : 0)));
    body.append(static_cast<char>(settings.keepAlive >> 8));
    body.append(static_cast<char>(settings.keepAlive));
    appendField(body, settings.clientId.toUtf8());
    if (hasUser) {
        appendField(body, settings.username.toUtf8());
    }
    if (hasPassword) {
        appendField(body, settings.password);
    }
    appendPacket(out, PacketType::Connect, 0, body);
    return true;
}

bool appendPublish(Outbox &out, const Message &message, quint16 id)
{
    const QString topic = message.topic();
    const CharacterSet characters = charactersOf(topic);
    if (characters.wildcard || topic.isEmpty()) {
        return reject("a message whose topic is empty or has a wildcard");
    }
    QByteArray utf8;
    if (!checkString(topic, characters, utf8)) {
        return false;
    }
    const quint8 qos = message.qos();
    if (qos > 2) {
        return reject("a message with a quality of service above 2");
    }
    const QByteArray payload = message.payload();
    const int topicSize = characters.ascii ? topic.size() : utf8.size();
    const int variableSize = 2 + topicSize + (qos > 0 ? 2 : 0);
    if (payload.size() > maxRemainingLength - variableSize) {
        return reject("a message of more than 268435455 bytes");
    }
    const int remaining = variableSize + payload.size();
    const int headersSize = 1 + remainingLengthSize(remaining) + variableSize;
    const uint flags = (message.dup() && qos > 0 ? 8U : 0U) | (static_cast<uint>(qos) << 1) |
                       (message.retain() ? 1U : 0U);
    const auto putHeaders = [&](char *to) {
        to = putString(putFixedHeader(to, PacketType::Publish, flags, remaining), topic, utf8);
        return qos > 0 ? putInt16(to, id) : to;
    };
    if (payload.size() <= Outbox::capacity - headersSize) {
        putBytes(putHeaders(out.reserve(headersSize + payload.size())), payload);
    } else {
        // Copied, not shared: QByteArray::fromRawData() may have made the payload.
        QVarLengthArray<char, 512> head(headersSize);
        putHeaders(head.data());
        out.append(head.constData(), headersSize);
        out.append(payload.constData(), payload.size());
    }
    return true;
}

bool appendRequest(Outbox &out, PacketType type, quint16 id, const QString &filter, quint8 qos)
{
    if (qos > 2) {
        return reject("a subscription with a quality of service above 2");
    }
    if (!isValidFilter(filter)) {
        return reject("a malformed topic filter");
    }
    QByteArray utf8;
    if (!checkString(filter, charactersOf(filter), utf8)) {
        return false;
    }
    QByteArray body;
    body.append(static_cast<char>(id >> 8)).append(static_cast<char>(id));
    appendField(body, filter.toUtf8());
    if (type == PacketType::Subscribe) {
        body.append(static_cast<char>(qos));
    }
    appendPacket(out, type, 2, body);
    return true;
}

void appendAcknowledgement(Outbox &out, PacketType type, quint16 id)
{
    // Section 3.6.1: PUBREL has the flags 2.
    putInt16(putFixedHeader(out.reserve(4), type, type == PacketType::Pubrel ? 2 : 0, 2), id);
}

void appendHeaderOnly(Outbox &out, PacketType type)
{
    putFixedHeader(out.reserve(2), type, 0, 0);
}

bool decodeTopic(const char *data, int size, QString &topic)
{
    bool ascii = true;
    for (int i = 0; i < size; ++i) {
        const char c = data[i];
        if (c == '\0' || c == '#' || c == '+') {
            return false;
        }
        ascii = ascii && static_cast<uchar>(c) < 0x80;
    }
    if (ascii) {
        topic = QString::fromLatin1(data, size);
        return size > 0;
    }
    // Section 1.5.3: a leading U+FEFF is a character like any other.
    QTextCodec::ConverterState decoding(QTextCodec::IgnoreHeader);
    topic = QTextCodec::codecForName("UTF-8")->toUnicode(data, size, &decoding);
    return decoding.invalidChars == 0 && decoding.remainingChars == 0;
}

} // namespace packets

} // namespace QMQTT
