#pragma once

#include <QJsonObject>
#include <QWidget>

class QCountDownLCD;
class QLabel;
class QLCDNumber;
class QListWidget;
class QProgressBar;
class QPushButton;
class QStackedWidget;
class QTableView;
class QVBoxLayout;
class AliasPrompts;
class UnnamedThings;

// The steps of a registration, from the aliases of the things to the list of what was registered.
// Its signals are requests to the runner, whose results come by methods. Interface thread.
class RegistrationWizard : public QWidget
{
    Q_OBJECT

public:
    enum RegSteps { R_SERIAL = 0, R_CONN = 1, R_CODE = 2, R_FIN = 3 };
    Q_ENUM(RegSteps)

    explicit RegistrationWizard(QWidget *parent = nullptr);

    // Returns to the first step from any other.
    void restart() { setStep(R_SERIAL); }
    // On the first step, asks for the state again: there may be new devices.
    void refresh();
    void clearResults();
    // Lists on the first step the things without an alias, by their short ids.
    void showUnnamed(const QStringList &sids);

    // Results of the runner.
    void showState(int state); // ZugatewRunner::RegState
    void askForAliases(const QStringList &things);
    void showCode(const QJsonObject &code);
    // False for an error, which is shown unless the session was cancelled.
    [[nodiscard]] bool showResult(const QJsonObject &result);

public slots:
    void on_cloudGetCodeButton_clicked();
    void on_cloudCodeCopyButton_clicked();
    void on_cloudOpenKVGButton_clicked();
    void on_cloudRestartRegButton_clicked();

signals:
    void stateRequested();
    void registrationRequested();
    // The session is given up, by the user or because its code is unusable.
    void registrationCancelled();
    void renameRequested(const QString &sid, const QString &alias);
    void notice(const QString &text, int milliseconds);

private:
    QVBoxLayout *addPage();
    void addStartPage();
    void addWaitPage();
    void addCodePage();
    void addResultPage();
    // R_SERIAL closes the prompts for aliases and asks for the state of the registration.
    void setStep(RegSteps step);
    void showExpired();
    void cancelSession();
    void useProposals();

    AliasPrompts *m_prompts;
    UnnamedThings *m_unnamed;
    QLabel *m_stepLabel;
    QStackedWidget *m_steps;
    QLabel *m_explanation;
    QTableView *m_names;
    QPushButton *m_useNamesButton;
    QPushButton *m_startButton;
    QPushButton *m_portalButton; // of the first step
    QProgressBar *m_progress;
    QPushButton *m_copyButton;
    QPushButton *m_codePortalButton;
    QLCDNumber *m_code;
    QLabel *m_expiry;
    QCountDownLCD *m_countdown;
    QListWidget *m_results;
    bool m_cancelled = false; // results of a cancelled session may still arrive
};
