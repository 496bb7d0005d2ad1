#pragma once

#include "mqtt/packets.h"

#include <QByteArray>

class QIODevice;

namespace QMQTT {

// A packet from the broker. `body` points into the reader and is valid until its next call.
struct Packet
{
    PacketType type = PacketType::Connack;
    quint8 flags = 0;
    const char *body = nullptr;
    int size = 0;
};

// Splits the bytes from a broker into packets and validates them: a type that brokers send,
// CONNACK first and only once, flags and length that fit the type. Each header is checked as soon
// as it arrives, so that malformed packets are not buffered. One thread at a time.
class PacketReader
{
public:
    // Far above anything sent to a gateway.
    static constexpr int maxBodySize = 16 * 1024 * 1024;

    enum class Next { NeedsMore, HasPacket, Malformed };

    // For a new connection.
    void reset();
    // Reads the available bytes, or some of them; false if there were none.
    [[nodiscard]] bool readFrom(QIODevice &device);
    // After Malformed, only reset() may be called.
    [[nodiscard]] Next next(Packet &packet);

private:
    QByteArray m_buffer;
    int m_begin = 0;
    int m_end = 0;
    bool m_connackSeen = false;
};

} // namespace QMQTT
