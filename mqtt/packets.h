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

struct Settings
{
    QString hostName;
    quint16 port = 0;
    QString clientId;
    QString username;
    QByteArray password;
    MQTTVersion version = V3_1_0;
    quint16 keepAlive = 300;
    bool cleanSession = true;
};

// Section 2.2.3: four bytes of seven bits.
constexpr int maxRemainingLength = 268435455;

// Append one packet. False, with a log line and nothing appended, if the standard forbids it.
namespace packets {

[[nodiscard]] bool appendConnect(Outbox &out, const Settings &settings);
[[nodiscard]] bool appendPublish(Outbox &out, const Message &message, quint16 id);
[[nodiscard]] bool appendSubscribe(Outbox &out, quint16 id, const QString &filter, quint8 qos);
[[nodiscard]] bool appendUnsubscribe(Outbox &out, quint16 id, const QString &filter);
// PUBACK, PUBREC, PUBREL, PUBCOMP
void appendAcknowledgement(Outbox &out, PacketType type, quint16 id);
// PINGREQ, DISCONNECT
void appendHeaderOnly(Outbox &out, PacketType type);

// The topic of a received message; false if the standard forbids it.
[[nodiscard]] bool decodeTopic(const char *data, int size, QString &topic);

} // namespace packets

} // namespace QMQTT
