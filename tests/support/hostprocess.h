#pragma once

#include <QProcess>

// A program of the host system: for Windows tests under Wine, a Linux program. It ends with the
// test, also if that crashes.
class HostProcess : public QProcess
{
public:
    void start(const QString &program, const QStringList &arguments);

protected:
    void setupChildProcess() override;
};
