#include "updates/sparkleupdater.h"

#include "settings/settingsstore.h"

#include <QCoreApplication>
#include <QFile>

#include <limits>

namespace {

// The interval in seconds, as the library takes it: at least a day, at most the largest int.
int checkInterval(quint32 days)
{
    constexpr qint64 day = 86400;
    return int(qBound(day, days * day, qint64(std::numeric_limits<int>::max())));
}

QByteArray publicKey()
{
    QFile file(QStringLiteral(":/upd/corvalt_dsa_win_pub.pem"));
    const bool opened = file.open(QIODevice::ReadOnly);
    Q_ASSERT(opened); // without the key, packages would be installed unverified
    Q_UNUSED(opened)
    return file.readAll();
}

} // namespace

SparkleUpdater::SparkleUpdater(const SparkleLibrary &library, const QString &feed)
    : m_library(library)
    , m_feed(feed)
{
}

SparkleUpdater::~SparkleUpdater()
{
    m_library.cleanup();
}

// The library takes no setting after its own init().
void SparkleUpdater::init()
{
    m_library.setAppDetails(QCoreApplication::organizationName().toStdWString().c_str(),
                            QCoreApplication::applicationName().toStdWString().c_str(),
                            QCoreApplication::applicationVersion().toStdWString().c_str());
    const SettingsStore store;
    m_library.setAppcastUrl(m_feed.toLocal8Bit().constData());
    m_library.setAutomaticCheckForUpdates(store.value(keys::UpdateAutomatically) ? 1 : 0);
    m_library.setUpdateCheckInterval(checkInterval(store.value(keys::UpdateInterval)));
    m_library.setDsaPubPem(publicKey().constData());
    m_library.init();
}

void SparkleUpdater::checkNow()
{
    m_library.checkUpdateWithUi();
}
