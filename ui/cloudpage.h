#pragma once

#include "runner/linkstate.h"

#include <QElapsedTimer>
#include <QJsonObject>
#include <QTimer>
#include <QWidget>

class QFormLayout;
class QLabel;
class QPushButton;
class QStatusLabel;
class RegistrationWizard;

// The state of the cloud connection, and below it the registration wizard. Interface thread.
class CloudPage : public QWidget
{
    Q_OBJECT

public:
    explicit CloudPage(QWidget *parent = nullptr);

    // The page only shows the wizard: connect its signals and call its methods directly.
    RegistrationWizard *wizard() const { return m_wizard; }
    // Shows the stored serial and asks for the registration's state; called when the page is about
    // to be shown.
    void refresh();
    // "gw", "key" and "cert" of the runner's CStatus.
    void showStatus(const QJsonObject &status);
    void showConnectivity(bool connected);
    void showLink(const LinkState &state);

public slots:
    void on_settingsResetGWButton_clicked();

signals:
    void resetRequested();
    void reconnectRequested();
    void checkRequested();

protected:
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    void updateLink();
    void updateResetButton();

    RegistrationWizard *m_wizard;
    QFormLayout *m_form;
    QStatusLabel *m_gateway;
    QStatusLabel *m_connection;
    QStatusLabel *m_serial;
    QStatusLabel *m_cert;
    QStatusLabel *m_key;
    QStatusLabel *m_validity;
    QLabel *m_linkSummary;
    QLabel *m_ledger;
    QPushButton *m_reconnectButton;
    QPushButton *m_resetButton;
    bool m_hasIdentity = false; // by the runner's last status
    LinkState m_link;
    qint64 m_linkDate = 0; // when it was told
    QElapsedTimer m_linkAge;
    QTimer m_clock; // of the relative times, while the page is shown
};
