#pragma once

#include <QString>

#include <memory>

// Finds newer versions of the application and offers them to the user. Interface thread.
class CVUpdater
{
public:
    virtual ~CVUpdater() = default;

    // Call once, before checkNow().
    virtual void init() = 0;
    // Checks at the user's request, with dialogs of its own.
    virtual void checkNow() = 0;
};

// The platform's updater, initialised; null when the package manager updates the application, or
// the update library is missing. `feed`: URL of the list of versions.
[[nodiscard]] std::unique_ptr<CVUpdater> makeUpdater(const QString &feed);
