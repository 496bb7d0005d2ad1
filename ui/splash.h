#pragma once

#include <QSplashScreen>

// The picture while the program starts, with the progress written on it. Interface thread.
class Splash : public QSplashScreen
{
    Q_OBJECT

public:
    Splash();

public slots:
    void showProgress(int total, int completed, const QString &statusMsg);
};
