#pragma once

#include <QProcess>

// A program of the system that the tests are run on, which need not be the one that they are
// built for. It ends with this program, however that ends.
class HostProcess : public QProcess
{
public:
    void start(const QString &program, const QStringList &arguments);

protected:
    void setupChildProcess() override;
};
