#include "ui/splash.h"

#include <QGuiApplication>

Splash::Splash()
    // Unlike QIcon, QPixmap does not choose the larger picture by itself.
    : QSplashScreen(QPixmap(qGuiApp->devicePixelRatio() > 1
                                ? QStringLiteral(":/images/splash@2x.png")
                                : QStringLiteral(":/images/splash.png")))
{
}

void Splash::showProgress(int total, int completed, const QString &statusMsg)
{
    showMessage(QStringLiteral("%1/%2 %3").arg(completed).arg(total).arg(statusMsg),
                Qt::AlignBottom | Qt::AlignHCenter, Qt::white);
}
