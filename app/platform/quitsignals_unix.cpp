#include "app/platform/quitsignals.h"

#include <QSocketNotifier>

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

// A signal handler may call few functions; write() to a pipe wakes the event loop.
int wakePipe[2] = {-1, -1};

void handleSignal(int /*signal*/)
{
    const char byte = 1;
    const ssize_t ignored = write(wakePipe[1], &byte, 1);
    static_cast<void>(ignored);
}

} // namespace

QuitSignals::QuitSignals(QObject *parent)
    : QObject(parent)
{
    if (pipe2(wakePipe, O_CLOEXEC | O_NONBLOCK) != 0) {
        return;
    }
    auto *const notifier = new QSocketNotifier(wakePipe[0], QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this, notifier] {
        notifier->setEnabled(false);
        emit quitRequested();
    });
    struct sigaction action = {};
    action.sa_handler = handleSignal;
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
