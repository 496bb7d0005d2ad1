#include "mqtt/message.h"

#include <QSharedData>

namespace QMQTT {

class MessageData : public QSharedData
{
public:
    QString topic;
    QByteArray payload;
    quint16 id = 0;
    quint8 qos = 0;
    bool retain = false;
    bool dup = false;
};

Message::Message()
    : d(new MessageData)
{
}

Message::Message(quint16 id, const QString &topic, const QByteArray &payload, quint8 qos,
                 bool retain, bool dup)
    : d(new MessageData)
{
    d->topic = topic;
    d->payload = payload;
    d->id = id;
    d->qos = qos;
    d->retain = retain;
    d->dup = dup;
}

Message::Message(const Message &other) = default;
Message::Message(Message &&other) noexcept = default;
Message &Message::operator=(const Message &other) = default;
Message &Message::operator=(Message &&other) noexcept = default;
Message::~Message() = default;

bool Message::operator==(const Message &other) const
{
    return d == other.d ||
           (d->id == other.d->id && d->qos == other.d->qos && d->retain == other.d->retain &&
            d->dup == other.d->dup && d->topic == other.d->topic && d->payload == other.d->payload);
}

quint16 Message::id() const
{
    return d->id;
}
void Message::setId(quint16 id)
{
    d->id = id;
}

quint8 Message::qos() const
{
    return d->qos;
}
void Message::setQos(quint8 qos)
{
    d->qos = qos;
}

bool Message::retain() const
{
    return d->retain;
}
void Message::setRetain(bool retain)
{
    d->retain = retain;
}

bool Message::dup() const
{
    return d->dup;
}
void Message::setDup(bool dup)
{
    d->dup = dup;
}

QString Message::topic() const
{
    return d->topic;
}
void Message::setTopic(const QString &topic)
{
    d->topic = topic;
}

QByteArray Message::payload() const
{
    return d->payload;
}
void Message::setPayload(const QByteArray &payload)
{
    d->payload = payload;
}

} // namespace QMQTT
