#pragma once

#include <QJsonObject>
#include <QWidget>

class QStatusLabel;
class RegistrationWizard;

// The state of the cloud link, and the registration. Interface thread.
class CloudPage : public QWidget
{
    Q_OBJECT

public:
    explicit CloudPage(QWidget *parent = nullptr);

    // Shows what is stored; called when the page is about to be shown.
    void refresh();
    // "gw", "key" and "cert" of the runner's CStatus.
    void showStatus(const QJsonObject &status);
    void showConnectivity(bool connected);

    // Results of the registration; see RegistrationWizard.
    void showState(int state);
    void askForAliases(const QStringList &things);
    void showCode(const QJsonObject &code);
    bool showResult(const QJsonObject &result);
    // Back to the first step, whatever was under way.
    void restart();

public slots:
    void on_settingsResetGWButton_clicked();

signals:
    void resetWanted();
    // The wizard's.
    void stateWanted();
    void registrationWanted();
    void registrationCancelled();
    void renameRequested(const QString &sid, const QString &alias);
    void notice(const QString &text, int milliseconds);

private:
    RegistrationWizard *m_wizard;
    QStatusLabel *m_gateway;
    QStatusLabel *m_connection;
    QStatusLabel *m_serial;
    QStatusLabel *m_cert;
    QStatusLabel *m_key;
};
