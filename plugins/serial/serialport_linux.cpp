#include "plugins/serial/serialport.h"

#include <QFile>

#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

struct SerialPort::System
{
    int port = -1;
    const int wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
};

SerialPort::SerialPort()
    : m_system(std::make_unique<System>())
{
}

SerialPort::~SerialPort()
{
    ::close(m_system->wake);
}

SerialPort::Result SerialPort::open(const QString &name, int speed)
{
    // O_NONBLOCK: without it, open() waits for a modem's carrier.
    const int port =
        ::open(QFile::encodeName(name).constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    termios settings = {};
    // TIOCEXCL keeps others away, and the lock tells those that keep to it.
    if (port < 0 || m_system->wake < 0 || tcgetattr(port, &settings) != 0 ||
        flock(port, LOCK_EX | LOCK_NB) != 0 || ioctl(port, TIOCEXCL) != 0) {
        const int error = errno;
        ::close(port); // close() would disturb the program that has the port
        return error == EACCES || error == EPERM        ? Result::Denied
               : error == EBUSY || error == EWOULDBLOCK ? Result::Busy
                                                        : Result::Failed;
    }
    m_system->port = port;
    cfmakeraw(&settings);
    settings.c_cflag |= CLOCAL | CREAD;
    settings.c_cflag &= ~static_cast<tcflag_t>(HUPCL | CRTSCTS | CSTOPB);
    if (cfsetspeed(&settings, static_cast<speed_t>(speed)) != 0 || // glibc also takes numbers
        tcsetattr(port, TCSANOW, &settings) != 0) {
        return Result::Failed;
    }
    const int lines = TIOCM_DTR | TIOCM_RTS;
    ioctl(port, TIOCMBIS, &lines); // pseudo-terminals have none
    return Result::Opened;
}

bool SerialPort::exchange(QByteArray &input, int maxInput, QByteArray &output,
                          std::chrono::milliseconds timeout)
{
    input.clear();
    const int wanted = (maxInput > 0 ? POLLIN : 0) | (output.isEmpty() ? 0 : POLLOUT);
    pollfd files[] = {{m_system->port, static_cast<short>(wanted), 0}, {m_system->wake, POLLIN, 0}};
    if (poll(files, 2, static_cast<int>(timeout.count())) < 0) {
        return errno == EINTR;
    }
    eventfd_t count = 0;
    eventfd_read(m_system->wake, &count);
    const int events = files[0].revents;
    if ((events & POLLIN) != 0) {
        input.resize(maxInput);
        const ssize_t size = read(m_system->port, input.data(), static_cast<size_t>(maxInput));
        input.truncate(static_cast<int>(qMax<ssize_t>(size, 0)));
        return size > 0 || (size < 0 && (errno == EAGAIN || errno == EINTR));
    }
    if ((events & (POLLHUP | POLLERR | POLLNVAL)) != 0) {
        return false;
    }
    if ((events & POLLOUT) != 0) {
        const ssize_t size =
            write(m_system->port, output.constData(), static_cast<size_t>(output.size()));
        output.remove(0, static_cast<int>(qMax<ssize_t>(size, 0)));
        return size >= 0 || errno == EAGAIN || errno == EINTR;
    }
    return true;
}

void SerialPort::close()
{
    if (m_system->port >= 0) {
        tcflush(m_system->port, TCOFLUSH); // close() would wait up to 30 s for it
        ioctl(m_system->port, TIOCNXCL);   // outlives close() while others have the port open
        ::close(m_system->port);
        m_system->port = -1;
    }
}

void SerialPort::wake()
{
    eventfd_write(m_system->wake, 1);
}
