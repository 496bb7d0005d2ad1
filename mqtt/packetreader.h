#pragma once

#include "mqtt/packets.h"

#include <QByteArray>

class QIODevice;

namespace QMQTT {

// A packet from the broker. `body` points into the reader and lasts until its next call.
struct Packet
{
    PacketType type = PacketType::Connack;
    quint8 flags = 0;
    const char *body = nullptr;
    int size = 0;
};

// Cuts the bytes from a broker into packets and vouches for their form: a type that brokers send,
// CONNACK first and only then, the flags and a length that belong to the type. Everything is
// judged as soon as its bytes are there, so that nobody fills a buffer with what is wrong anyway.
// One thread at a time.
class PacketReader
{
public:
    // The largest body accepted, far above anything sent to a gateway.
    static constexpr int bodyLimit = 16 * 1024 * 1024;

    enum class Next { NeedsMore, HasPacket, Broken };

    // Back to the beginning of a connection.
    void reset();
    // Takes what is there, or a part of it; false when there was nothing.
    bool readFrom(QIODevice &device);
    // After Broken nothing but reset() helps.
    Next next(Packet &packet);

private:
    QByteArray m_buffer;
    int m_begin = 0;
    int m_end = 0;
    bool m_greeted = false; // CONNACK has been here
};

} // namespace QMQTT
