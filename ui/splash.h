#pragma once

#include <QSplashScreen>

// The splash screen, with the progress of the start-up. Interface thread.
class Splash : public QSplashScreen
{
    Q_OBJECT

public:
    Splash();

public slots:
    void showProgress(int total, int completed, const QString &statusMsg);
};
