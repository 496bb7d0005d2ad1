#include "mqtt/packetreader.h"

#include <QIODevice>

#include <cstring>

namespace QMQTT {

namespace {

constexpr int bufferSize = 64 * 1024;
constexpr int minReadSize = 16 * 1024; // less would mean many small reads
constexpr int maxHeaderSize = 5;

bool flagsFit(PacketType type, uint flags)
{
    switch (type) {
    case PacketType::Publish:
        return (flags & 6) != 6; // no quality of service 3
    case PacketType::Pubrel:
        return flags == 2;
    case PacketType::Connack:
    case PacketType::Puback:
    case PacketType::Pubrec:
    case PacketType::Pubcomp:
    case PacketType::Suback:
    case PacketType::Unsuback:
    case PacketType::Pingresp:
        return flags == 0;
    default:
        return false; // brokers do not send it
    }
}

bool sizeFits(PacketType type, uint flags, int size)
{
    switch (type) {
    case PacketType::Publish:
        // The topic's length, one character of it, and with QoS 1 and 2 a packet id.
        return size >= ((flags & 6) != 0 ? 5 : 3) && size <= PacketReader::maxBodySize;
    case PacketType::Suback:
        return size == 3; // SUBSCRIBE has one filter
    case PacketType::Pingresp:
        return size == 0;
    default:
        return size == 2;
    }
}

} // namespace

void PacketReader::reset()
{
    m_begin = 0;
    m_end = 0;
    m_connackSeen = false;
}

bool PacketReader::readFrom(QIODevice &device)
{
    if (m_begin == m_end) {
        m_begin = 0;
        m_end = 0;
        if (m_buffer.size() != bufferSize) {
            m_buffer = QByteArray(bufferSize, Qt::Uninitialized);
        }
    } else if (m_buffer.size() - m_end < minReadSize) {
        // Moves once for each filled buffer, not for each packet.
        std::memmove(m_buffer.data(), m_buffer.constData() + m_begin,
                     static_cast<size_t>(m_end - m_begin));
        m_end -= m_begin;
        m_begin = 0;
        // Grows with the bytes received, not with the announced length.
        if (m_buffer.size() - m_end < minReadSize) {
            m_buffer.resize(qMin(2 * m_buffer.size(), maxHeaderSize + maxBodySize));
        }
    }
    const qint64 count = device.read(m_buffer.data() + m_end, m_buffer.size() - m_end);
    m_end += static_cast<int>(qMax(count, qint64(0)));
    return count > 0;
}

PacketReader::Next PacketReader::next(Packet &packet)
{
    const char *const bytes = m_buffer.constData() + m_begin;
    const int available = m_end - m_begin;
    if (available == 0) {
        return Next::NeedsMore;
    }
    const auto head = static_cast<uchar>(bytes[0]);
    const auto type = static_cast<PacketType>(head >> 4);
    const uint flags = head & 0xfU;
    if (!flagsFit(type, flags) || (type == PacketType::Connack) == m_connackSeen) {
        return Next::Malformed;
    }
    int size = 0;
    int position = 1;
    for (bool more = true; more; ++position) {
        if (position == maxHeaderSize) {
            return Next::Malformed;
        }
        if (position == available) {
            return Next::NeedsMore;
        }
        const auto byte = static_cast<uchar>(bytes[position]);
        size |= (byte & 0x7f) << (7 * (position - 1));
        more = (byte & 0x80) != 0;
    }
    if (!sizeFits(type, flags, size)) {
        return Next::Malformed;
    }
    if (available - position < size) {
        return Next::NeedsMore;
    }
    m_connackSeen = true;
    m_begin += position + size;
    packet.type = type;
    packet.flags = static_cast<quint8>(flags);
    packet.body = bytes + position;
    packet.size = size;
    return Next::HasPacket;
}

} // namespace QMQTT
