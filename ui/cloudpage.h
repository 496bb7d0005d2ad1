#pragma once

#include <QJsonObject>
#include <QWidget>

class QStatusLabel;
class RegistrationWizard;

// The state of the cloud connection, and below it the registration wizard. Interface thread.
class CloudPage : public QWidget
{
    Q_OBJECT

public:
    explicit CloudPage(QWidget *parent = nullptr);

    // The page shows the wizard and takes no part in what it asks for and is told.
    RegistrationWizard *wizard() const { return m_wizard; }
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
    QStatusLabel *m_connection;
    QStatusLabel *m_serial;
    QStatusLabel *m_cert;
    QStatusLabel *m_key;
};
