#include "tests/support/hostprocess.h"

#include <csignal>
#include <sys/prctl.h>

void HostProcess::start(const QString &program, const QStringList &arguments)
{
    QProcess::start(program, arguments);
}

void HostProcess::setupChildProcess()
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
}
