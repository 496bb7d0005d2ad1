#include "updates/sparkleupdater.h"

#include <QCoreApplication>
#include <QLibrary>

std::unique_ptr<CVUpdater> makeUpdater(const QString &feed)
{
    // The full path keeps Windows from loading another library of that name.
    QLibrary file(QCoreApplication::applicationDirPath() + QStringLiteral("/WinSparkle.dll"));
    if (!file.load()) {
        return nullptr;
    }
    bool complete = true;
    const auto resolve = [&](auto *&function, const char *name) {
        function = reinterpret_cast<std::decay_t<decltype(function)>>(file.resolve(name));
        complete = complete && function != nullptr;
    };
    SparkleLibrary library = {};
    resolve(library.setAppDetails, "win_sparkle_set_app_details");
    resolve(library.setAppcastUrl, "win_sparkle_set_appcast_url");
    resolve(library.setAutomaticCheckForUpdates, "win_sparkle_set_automatic_check_for_updates");
    resolve(library.setUpdateCheckInterval, "win_sparkle_set_update_check_interval");
    resolve(library.setDsaPubPem, "win_sparkle_set_dsa_pub_pem");
    resolve(library.init, "win_sparkle_init");
    resolve(library.checkUpdateWithUi, "win_sparkle_check_update_with_ui");
    resolve(library.cleanup, "win_sparkle_cleanup");
    if (!complete) {
        file.unload();
        return nullptr;
    }
    auto updater = std::make_unique<SparkleUpdater>(library, feed);
    updater->init();
    return updater;
}
