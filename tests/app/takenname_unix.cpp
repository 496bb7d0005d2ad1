#include "tests/app/takenname.h"

#include <QDir>

TakenName::TakenName(const QString &name)
    : m_name(QDir::temp().filePath(name))
{
    QDir().mkdir(m_name); // what is no socket resists just as well
}

TakenName::~TakenName()
{
    QDir().rmdir(m_name);
}
