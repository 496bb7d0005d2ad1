#include "tests/support/fileaccess.h"

#include <QFile>

bool isPrivate(const QString &path)
{
    return QFile::exists(path) && !(QFile::permissions(path) & QFile::Permissions(0x77));
}

void openToEverybody(const QString &path)
{
    QFile::setPermissions(path, QFile::Permissions(0x6644));
}
