#pragma once

#include "updates/cvupdater.h"

#include <QString>

// The functions of the WinSparkle library that are used here, so that the library is needed
// neither to build nor to test. Texts are copied by the library.
struct SparkleLibrary
{
    void (*setAppDetails)(const wchar_t *company, const wchar_t *application,
                          const wchar_t *version);
    void (*setAppcastUrl)(const char *url);
    void (*setAutomaticCheckForUpdates)(int on);
    void (*setUpdateCheckInterval)(int seconds);
    int (*setDsaPubPem)(const char *pem);
    void (*init)();
    void (*checkUpdateWithUi)();
    void (*cleanup)();
};

// Updates by the WinSparkle library, which fetches, verifies, asks and installs by itself, on
// threads of its own, and tells the user what failed. Interface thread.
class SparkleUpdater : public CVUpdater
{
public:
    // Every function of `library` must be there. Nothing is called before init().
    SparkleUpdater(const SparkleLibrary &library, const QString &feed);
    // Stops what the library does in the background.
    ~SparkleUpdater() override;
    Q_DISABLE_COPY(SparkleUpdater)

    // Hands over the application's name and the user's settings, then starts the library. Later
    // changes of the settings take effect on the next start.
    void init() override;
    void checkNow() override;

private:
    const SparkleLibrary m_library;
    const QString m_feed;
};
