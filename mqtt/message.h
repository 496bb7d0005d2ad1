#pragma once

#include <QByteArray>
#include <QMetaType>
#include <QSharedDataPointer>
#include <QString>

namespace QMQTT {

class MessageData;

// An application message, implicitly shared. A moved-from message may only be assigned to or
// destroyed.
class Message
{
public:
    Message();
    Message(quint16 id, const QString &topic, const QByteArray &payload, quint8 qos = 0,
            bool retain = false, bool dup = false);
    Message(const Message &other);
    Message(Message &&other) noexcept;
    Message &operator=(const Message &other);
    Message &operator=(Message &&other) noexcept;
    ~Message();

    void swap(Message &other) noexcept { d.swap(other.d); }

    bool operator==(const Message &other) const;
    bool operator!=(const Message &other) const { return !(*this == other); }

    quint16 id() const;
    void setId(quint16 id);
    quint8 qos() const;
    void setQos(quint8 qos);
    bool retain() const;
    void setRetain(bool retain);
    bool dup() const;
    void setDup(bool dup);
    QString topic() const;
    void setTopic(const QString &topic);
    QByteArray payload() const;
    void setPayload(const QByteArray &payload);

private:
    QSharedDataPointer<MessageData> d;
};

inline void swap(Message &left, Message &right) noexcept
{
    left.swap(right);
}

} // namespace QMQTT

Q_DECLARE_SHARED(QMQTT::Message)
Q_DECLARE_METATYPE(QMQTT::Message)
