#pragma once

#include <QProcess>

// Ends with this program, however that ends.
class TiedProcess : public QProcess
{
protected:
    void setupChildProcess() override;
};
