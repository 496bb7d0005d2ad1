#include "tests/support/hostprocess.h"

// Under Wine, a process has no hold of those of the system below; the bridge is one that it has.
void HostProcess::start(const QString &program, const QStringList &arguments)
{
    QProcess::start(QStringLiteral(KVG_HOSTEXEC), QStringList{program} + arguments);
}

// The starter of this program, which runs the other, sees to that.
void HostProcess::setupChildProcess() {}
