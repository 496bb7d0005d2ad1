#pragma once

#include <QByteArray>

class QIODevice;

namespace QMQTT {

// Gathers small packets on their way to a socket, so that a burst costs one write and one TLS
// record for each 16 KiB instead of one for each packet. Thread of the device.
class Outbox
{
public:
    // The plaintext of a full TLS record (RFC 8446, 5.1). Also the most that is ever held back.
    static constexpr int capacity = 16384;

    explicit Outbox(QIODevice *device);

    bool isEmpty() const { return m_used == 0; }
    // Room for `size` bytes in one piece, at most the capacity, to be filled before the next
    // call. Hands over what was gathered if the room does not suffice.
    char *reserve(int size)
    {
        if (size > capacity - m_used) {
            write();
        }
        if (m_data == nullptr) {
            allocate();
        }
        char *const room = m_data + m_used;
        m_used += size;
        return room;
    }
    // Any number of bytes.
    void append(const char *data, int size);
    // Hands everything over to the device.
    void write();
    void clear() { m_used = 0; }
    // Something was handed over since the last call.
    bool takeWritten();

private:
    void allocate();

    QIODevice *m_device;
    QByteArray m_chunk;
    char *m_data = nullptr; // of m_chunk, which is not shared as long as this is set
    int m_used = 0;
    bool m_written = false;
};

} // namespace QMQTT
