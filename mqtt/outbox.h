#pragma once

#include <QByteArray>

class QIODevice;

namespace QMQTT {

// Collects small packets for a socket: a burst costs one write and one TLS record for each 16 KiB
// instead of one for each packet. Thread of the device.
class Outbox
{
public:
    // The plaintext of a full TLS record (RFC 8446, 5.1).
    static constexpr int capacity = 16384;

    explicit Outbox(QIODevice *device);

    // False after reserve() and append(), until write() or clear().
    bool isEmpty() const { return m_used == 0; }
    // Returns `size` contiguous bytes (at most the capacity), which the caller fills before the
    // next call. Writes the collected bytes first if the room does not suffice.
    [[nodiscard]] char *reserve(int size)
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
    // Writes all to the device.
    void write();
    void clear() { m_used = 0; }

private:
    void allocate();

    QIODevice *m_device;
    QByteArray m_chunk;
    char *m_data = nullptr; // into m_chunk; null while the device may share m_chunk
    int m_used = 0;
};

} // namespace QMQTT
