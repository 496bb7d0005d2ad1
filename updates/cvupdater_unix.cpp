#include "updates/cvupdater.h"

// The package manager updates the application.
std::unique_ptr<CVUpdater> makeUpdater(const QString & /*feed*/)
{
    return nullptr;
}
