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

// Section 2.2.3: what fits into four bytes of seven bits.
constexpr int largestRemainingLength = 268435455;

// The packets of a client, each appended whole or, where there is a result, not at all: false,
// with a log line, for what the standard forbids to send.
namespace packets {

bool appendConnect(Outbox &out, const Settings &settings);
bool appendPublish(Outbox &out, const Message &message, quint16 id);
bool appendSubscribe(Outbox &out, quint16 id, const QString &filter, quint8 qos);
bool appendUnsubscribe(Outbox &out, quint16 id, const QString &filter);
// PUBACK, PUBREC, PUBREL, PUBCOMP
void appendAcknowledgement(Outbox &out, PacketType type, quint16 id);
// PINGREQ, DISCONNECT
void appendEmpty(Outbox &out, PacketType type);

// The topic of a received message; false if the standard forbids it.
bool decodeTopic(const char *data, int size, QString &topic);

} // namespace packets

} // namespace QMQTT
