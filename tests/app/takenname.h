#pragma once

#include <QString>

// A name of a local server that another user has, as long as the object lives: it can be neither
// listened under nor connected to.
class TakenName
{
public:
    explicit TakenName(const QString &name);
    ~TakenName();
    Q_DISABLE_COPY(TakenName)

private:
    const QString m_name;
    void *m_pipe = nullptr; // of Windows
};
