#include "tests/plugins/computer.h"

#include <QDir>

#include <windows.h>

#include <psapi.h>

double computer::memory()
{
    PERFORMANCE_INFORMATION info = {};
    GetPerformanceInfo(&info, sizeof(info));
    return double(info.PhysicalTotal) * info.PageSize;
}

QStringList computer::folders()
{
    const QString share = QStringLiteral("\\\\?\\") + QDir::toNativeSeparators(QDir::rootPath());
    return {"/", "C:", "C:/", "c:\\", "C:\\windows", QDir::tempPath(), share};
}

QStringList computer::placesWithoutSpace()
{
    return {"Q:",     "1:/",         "Q:\\folder",    "C:/nowhere/at/all",
            "C:/nul", "//?/nothing", "\\\\.\\nothing"};
}

QVariantList computer::relativePaths()
{
    return {"windows", "nul", ".\\"};
}
