#pragma once

#include <QByteArray>
#include <QMetaType>
#include <QString>

namespace QMQTT {

// An application message. Copies are cheap: they share topic and payload.
class Message
{
public:
    Message() = default;
    Message(quint16 id, const QString &topic, const QByteArray &payload, quint8 qos = 0,
            bool retain = false, bool dup = false)
        : m_topic(topic)
        , m_payload(payload)
        , m_id(id)
        , m_qos(qos)
        , m_retain(retain)
        , m_dup(dup)
    {
    }

    bool operator==(const Message &other) const
    {
        return m_id == other.m_id && m_qos == other.m_qos && m_retain == other.m_retain &&
               m_dup == other.m_dup && m_topic == other.m_topic && m_payload == other.m_payload;
    }
    bool operator!=(const Message &other) const { return !(*this == other); }

    quint16 id() const { return m_id; }
    void setId(quint16 id) { m_id = id; }
    quint8 qos() const { return m_qos; }
    void setQos(quint8 qos) { m_qos = qos; }
    bool retain() const { return m_retain; }
    void setRetain(bool retain) { m_retain = retain; }
    bool dup() const { return m_dup; }
    void setDup(bool dup) { m_dup = dup; }
    QString topic() const { return m_topic; }
    void setTopic(const QString &topic) { m_topic = topic; }
    QByteArray payload() const { return m_payload; }
    void setPayload(const QByteArray &payload) { m_payload = payload; }

private:
    QString m_topic;
    QByteArray m_payload;
    quint16 m_id = 0;
    quint8 m_qos = 0;
    bool m_retain = false;
    bool m_dup = false;
};

} // namespace QMQTT

Q_DECLARE_TYPEINFO(QMQTT::Message, Q_MOVABLE_TYPE);
Q_DECLARE_METATYPE(QMQTT::Message)
