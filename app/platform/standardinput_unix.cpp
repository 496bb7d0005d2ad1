#include "app/platform/standardinput.h"

#include <QSocketNotifier>

#include <cerrno>
#include <unistd.h>

StandardInput::StandardInput(QObject *parent)
    : QObject(parent)
{
    auto *const notifier = new QSocketNotifier(STDIN_FILENO, QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this, notifier] {
        char buffer[4096];
        const ssize_t count = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (count > 0) {
            emit received(QByteArray(buffer, static_cast<int>(count)));
        } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
            notifier->setEnabled(false);
            emit ended();
        }
    });
}
