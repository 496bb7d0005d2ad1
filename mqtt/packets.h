#pragma once

#include "mqtt/client.h"

#include <QByteArray>
#include <QString>

namespace QMQTT {

class Outbox;

enum class PacketType : quint8 {
    Connect = 1,
    Connack,
    Publish,
    Puback,
    Pubrec,
    Pubrel,
    Pubcomp,
    Subscribe,
    Suback,
    Unsubscribe,
    Unsuback,
    Pingreq,
    Pingresp,
    Disconnect
};

// Section 2.2.3: four bytes of seven bits.
constexpr int maxRemainingLength = 268435455;

// Append one packet. False, with a log line and nothing appended, if the standard forbids it.
namespace packets {

[[nodiscard]] bool appendConnect(Outbox &out, const Settings &settings);
[[nodiscard]] bool appendPublish(Outbox &out, const Message &message, quint16 id);
// SUBSCRIBE, UNSUBSCRIBE; `qos` is for the first.
[[nodiscard]] bool appendRequest(Outbox &out, PacketType type, quint16 id, const QString &filter,
                                 quint8 qos);
// PUBACK, PUBREC, PUBREL, PUBCOMP
void appendAcknowledgement(Outbox &out, PacketType type, quint16 id);
// PINGREQ, DISCONNECT
void appendHeaderOnly(Outbox &out, PacketType type);

// The topic of a received message; false if the standard forbids it.
[[nodiscard]] bool decodeTopic(const char *data, int size, QString &topic);

} // namespace packets

} // namespace QMQTT
