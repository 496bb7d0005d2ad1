#include "tools/sandbox/connection.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

namespace {

constexpr int ioTimeout = 5000; // milliseconds for each read and write
constexpr size_t maxRequestLine = 1 << 20;
constexpr size_t maxRequest = maxRequestLine + (256 << 10); // with headers and body
constexpr size_t maxLibraryLine = 8000;                     // the library accepts 8192

void readAddress(int (*ask)(int, sockaddr *, socklen_t *), int socket, std::string &ip, int &port)
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (ask(socket, reinterpret_cast<sockaddr *>(&address), &size) == 0 &&
        address.sin_family == AF_INET) {
        std::array<char, INET_ADDRSTRLEN> text{};
        inet_ntop(AF_INET, &address.sin_addr, text.data(), text.size());
        ip = text.data();
        port = ntohs(address.sin_port);
    }
}

} // namespace

Connection::Connection(int socket)
    : m_socket(socket)
{
}

Connection::~Connection()
{
    // Closing with unread input resets the connection, and the peer may lose the answer. So read
    // the rest first, within limits.
    ::shutdown(m_socket, SHUT_WR);
    std::array<char, 16384> rest{};
    short got = 0;
    for (int i = 0; i < 64 && waitFor(POLLIN, got, 500); ++i) {
        if (::recv(m_socket, rest.data(), rest.size(), MSG_DONTWAIT) <= 0) {
            break;
        }
    }
    ::close(m_socket);
}

bool Connection::waitFor(short events, short &got, int milliseconds) const
{
    pollfd wanted{m_socket, events, 0};
    int result = 0;
    do {
        result = ::poll(&wanted, 1, milliseconds);
    } while (result < 0 && errno == EINTR);
    got = wanted.revents;
    return result > 0;
}

bool Connection::receiveMore()
{
    short got = 0;
    std::array<char, 16384> block{};
    if (m_received >= maxRequest || !waitFor(POLLIN, got, ioTimeout)) {
        return false;
    }
    ssize_t size = 0;
    do {
        size = ::recv(m_socket, block.data(), block.size(), 0);
    } while (size < 0 && errno == EINTR);
    if (size <= 0) {
        return false;
    }
    m_received += static_cast<size_t>(size);
    m_buffer.erase(0, m_position);
    m_position = 0;
    m_buffer.append(block.data(), static_cast<size_t>(size));
    return true;
}

bool Connection::readRequestLine()
{
    size_t end = std::string::npos;
    size_t searched = 0;
    while ((end = m_buffer.find('\n', searched)) == std::string::npos) {
        searched = m_buffer.size();
        if (searched > maxRequestLine || !receiveMore()) {
            return false;
        }
    }
    const size_t from = m_buffer.find(' ');
    const size_t to = m_buffer.rfind(' ', end);
    if (from == std::string::npos || to == std::string::npos || from >= to) {
        return true; // not a request line: the library answers with an error
    }
    m_target = m_buffer.substr(from + 1, to - from - 1);
    const size_t query = m_target.find('?');
    if (end > maxLibraryLine && query != std::string::npos) {
        m_buffer.erase(from + 1 + query, m_target.size() - query);
    }
    return true;
}

bool Connection::is_readable() const
{
    short got = 0;
    return m_position < m_buffer.size() || waitFor(POLLIN, got, ioTimeout);
}

bool Connection::is_writable() const
{
    short got = 0;
    return waitFor(POLLOUT | POLLRDHUP, got, ioTimeout) && (got & POLLOUT) != 0 &&
           (got & (POLLRDHUP | POLLHUP | POLLERR)) == 0;
}

ssize_t Connection::read(char *data, size_t size)
{
    if (m_position >= m_buffer.size() && !receiveMore()) {
        return -1;
    }
    const size_t count = std::min(size, m_buffer.size() - m_position);
    std::memcpy(data, m_buffer.data() + m_position, count);
    m_position += count;
    return static_cast<ssize_t>(count);
}

ssize_t Connection::write(const char *data, size_t size)
{
    short got = 0;
    while (waitFor(POLLOUT, got, ioTimeout)) {
        const ssize_t count = ::send(m_socket, data, size, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count >= 0) {
            return count;
        }
        if (errno != EINTR && errno != EAGAIN) {
            return -1;
        }
    }
    return -1;
}

void Connection::get_remote_ip_and_port(std::string &ip, int &port) const
{
    readAddress(::getpeername, m_socket, ip, port);
}

void Connection::get_local_ip_and_port(std::string &ip, int &port) const
{
    readAddress(::getsockname, m_socket, ip, port);
}
