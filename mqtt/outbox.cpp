#include "mqtt/outbox.h"

#include <QIODevice>

#include <cstring>
#include <utility>

namespace QMQTT {

namespace {

// From this size on, QIODevice::write(QByteArray) shares the array instead of copying the bytes,
// and sends it as one TLS record.
constexpr int minSharedSize = 4096;

} // namespace

Outbox::Outbox(QIODevice *device)
    : m_device(device)
{
}

void Outbox::allocate()
{
    m_chunk = QByteArray(capacity, Qt::Uninitialized);
    m_data = m_chunk.data();
}

void Outbox::append(const char *data, int size)
{
    while (size > 0) {
        if (m_used == capacity) {
            write();
        }
        const int part = qMin(size, capacity - m_used);
        std::memcpy(reserve(part), data, static_cast<size_t>(part));
        data += part;
        size -= part;
    }
}

void Outbox::write()
{
    const int used = std::exchange(m_used, 0);
    if (used == 0) {
        return;
    }
    if (used < minSharedSize) {
        m_device->write(m_data, used);
        return;
    }
    m_data = nullptr;
    QByteArray chunk = std::exchange(m_chunk, QByteArray());
    chunk.resize(used);
    m_device->write(chunk);
}

} // namespace QMQTT
