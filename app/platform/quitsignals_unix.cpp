#include "app/platform/quitsignals.h"

#include <QSocketNotifier>

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

// A handler may do little more than write(): the pipe carries the word to the event loop.
int wake[2] = {-1, -1};

void raised(int /*signal*/)
{
    const char byte = 1;
    const ssize_t ignored = write(wake[1], &byte, 1);
    static_cast<void>(ignored);
}

} // namespace

QuitSignals::QuitSignals(QObject *parent)
    : QObject(parent)
{
    if (pipe2(wake, O_CLOEXEC | O_NONBLOCK) != 0) {
        return;
    }
    auto *const notifier = new QSocketNotifier(wake[0], QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this, notifier] {
        notifier->setEnabled(false);
        emit asked();
    });
    struct sigaction action = {};
    action.sa_handler = raised;
    action.sa_flags = SA_RESTART;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        sigaction(signal, &action, nullptr);
    }
}

QuitSignals::~QuitSignals()
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        ::signal(signal, SIG_DFL);
    }
}
