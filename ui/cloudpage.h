#pragma once

#include <QJsonObject>
#include <QWidget>

class QPushButton;
class QStatusLabel;
class RegistrationWizard;

// The state of the cloud link, and the registration. Interface thread.
class CloudPage : public QWidget
{
    Q_OBJECT

public:
    explicit CloudPage(QWidget *parent = nullptr);

    RegistrationWizard &wizard() { return *m_wizard; }

    // Shows what is stored; called when the page is about to be shown.
    void refresh();
    // "gw", "key" and "cert" of the runner's CStatus.
    void showStatus(const QJsonObject &status);
    void showConnectivity(bool connected);

public slots:
    void on_settingsResetGWButton_clicked();

signals:
    void resetWanted();

private:
    RegistrationWizard *m_wizard;
    QStatusLabel *m_gateway;
    QStatusLabel *m_serial;
    QStatusLabel *m_cert;
    QStatusLabel *m_key;
};
