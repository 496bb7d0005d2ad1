#include "tests/plugins/computer.h"

#include <QDir>

#include <unistd.h>

double computer::memory()
{
    return double(sysconf(_SC_PHYS_PAGES)) * sysconf(_SC_PAGESIZE);
}

QStringList computer::folders()
{
    return {"/", QDir::tempPath()};
}

QStringList computer::placesWithoutSpace()
{
    return {"/proc", "/nowhere/at/all"};
}

QVariantList computer::relativePaths()
{
    return {"C:/", "./", "\\"};
}
