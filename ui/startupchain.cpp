#include "ui/startupchain.h"

#include "runner/zugatewrunner.h"
#include "ui/log.h"
#include "ui/scanclock.h"

#include <QApplication>
#include <QEventLoop>
#include <QPixmap>
#include <QVariant>

StartupChain::StartupChain(ZugatewRunner &runner, ScanClock &scanClock)
    : m_runner(runner)
    , m_scanClock(scanClock)
{
}

void StartupChain::request(void (ZugatewRunner::*step)())
{
    QMetaObject::invokeMethod(&m_runner, step, Qt::QueuedConnection);
}

bool StartupChain::run()
{
    QEventLoop loop;
    connect(this, &StartupChain::finished, &loop, [&loop](bool result) { loop.exit(!result); });
    m_running = true;
    emit progress(4, 0, tr("Loading plugins"));
    request(&ZugatewRunner::loadPlugins);
    return loop.exec() == 0; // -1 at once if the application was told to exit meanwhile
}

void StartupChain::advance(int op, const QVariant &result)
{
    // Nothing but the start-up loads plugins: a result of Load always belongs to it.
    if (!m_running && op != ZugatewRunner::Load) {
        return;
    }
    if ((op == ZugatewRunner::Load || op == ZugatewRunner::Rescan) && !result.toBool()) {
        emit finished(false);
        return;
    }
    switch (op) {
    case ZugatewRunner::Load:
        emit progress(4, 1, tr("Assembling plugins list"));
        request(&ZugatewRunner::listPlugins);
        break;
    case ZugatewRunner::Lsmod:
        emit progress(4, 2, tr("Scanning for devices"));
        m_scanClock.scan();
        break;
    case ZugatewRunner::Rescan:
        emit progress(4, 3, tr("Assembling devices list"));
        request(&ZugatewRunner::listThings);
        break;
    case ZugatewRunner::Lsthings:
        emit progress(4, 4, tr("Connecting to the cloud"));
        QMetaObject::invokeMethod(&m_runner, "connectToCloud", Qt::QueuedConnection,
                                  Q_ARG(bool, true));
        break;
    case ZugatewRunner::CConnect:
        emit progress(5, 5, tr("Requesting status")); // 5 of 5: the splash screen ends complete
        request(&ZugatewRunner::cloudStatus);
        break;
    case ZugatewRunner::CStatus:
        m_running = false;
        qCInfo(lcUi, "Ready");
        // The wizard asked at the start already, but before the scan had restored the gateway.
        request(&ZugatewRunner::registrationState);
        emit finished(true);
        break;
    default:
        break;
    }
}

StartupSplash::StartupSplash(const StartupChain &chain)
{
    // Unlike QIcon, QPixmap does not choose the larger picture by itself.
    const QString density = qApp->devicePixelRatio() > 1 ? QStringLiteral("@2x") : QString();
    // A file that QPixmap reads itself stays in QPixmapCache.
    setPixmap(QPixmap::fromImage(QImage(QStringLiteral(":/images/splash%1.png").arg(density))));
    connect(&chain, &StartupChain::progress, this,
            [this](int total, int completed, const QString &text) {
                showMessage(QStringLiteral("%1/%2 %3").arg(completed).arg(total).arg(text),
                            Qt::AlignBottom | Qt::AlignHCenter, Qt::white);
            });
}
