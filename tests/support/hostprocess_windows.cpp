#include "tests/support/hostprocess.h"

// Under Wine, a program cannot start Linux processes and watch them: hostexec does it.
void HostProcess::start(const QString &program, const QStringList &arguments)
{
    QProcess::start(QStringLiteral(KVG_HOSTEXEC), QStringList{program} + arguments);
}

// tools/wine/hostprograms.py starts the program and ends it with this one.
void HostProcess::setupChildProcess() {}
