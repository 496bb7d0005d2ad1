#pragma once

#include "updates/cvupdater.h"

#include <QString>

// The functions of the WinSparkle library in use, so that neither build nor tests need the library.
// The library copies the texts.
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

// Updates by the WinSparkle library, which downloads, verifies and installs on threads of its own,
// with its own dialogs. Interface thread.
class SparkleUpdater : public CVUpdater
{
public:
    // No function of `library` may be null.
    SparkleUpdater(const SparkleLibrary &library, const QString &feed);
    // Stops the library's threads.
    ~SparkleUpdater() override;
    Q_DISABLE_COPY(SparkleUpdater)

    // Configures and starts the library. Later changes of the settings take effect at the next
    // start.
    void init() override;
    void checkNow() override;

private:
    const SparkleLibrary m_library;
    const QString m_feed;
};
