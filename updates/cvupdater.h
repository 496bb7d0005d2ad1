#pragma once

#include <QString>

#include <memory>

// Finds newer versions of the application and offers them to the user. Interface thread.
class CVUpdater
{
public:
    virtual ~CVUpdater() = default;

    // Once, before anything else.
    virtual void init() = 0;
    // The user wants to know now. Opens dialogs of its own.
    virtual void checkNow() = 0;
};

// The updater of this platform, initialised; null where packages update the application or the
// update library is not there. `feed`: URL of the list of versions.
std::unique_ptr<CVUpdater> makeUpdater(const QString &feed);
