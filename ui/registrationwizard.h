#pragma once

#include <QJsonObject>
#include <QWidget>

class QCountDownLCD;
class QLabel;
class QLCDNumber;
class QListWidget;
class QPushButton;
class QStackedWidget;
class AliasPrompts;

// The steps of a registration, from the names of the things to the list of what was registered.
// Interface thread. It asks the runner by signals and is told each result by a method.
class RegistrationWizard : public QWidget
{
    Q_OBJECT

public:
    enum RegSteps { R_SERIAL = 0, R_CONN = 1, R_CODE = 2, R_FIN = 3 };
    Q_ENUM(RegSteps)

    explicit RegistrationWizard(QWidget *parent = nullptr);

    // Back to the first step, whatever was under way.
    void restart() { setStep(R_SERIAL); }
    // On the first step, asks for the state again: devices may have come meanwhile.
    void refresh();
    void clearResults();

    // Results of the runner.
    void showState(int state); // ZugatewRunner::RegState
    void askForAliases(const QStringList &things);
    void showCode(const QJsonObject &code);
    // False when it is an error, which the user is told.
    bool showResult(const QJsonObject &result);

public slots:
    void on_cloudGetCodeButton_clicked();
    void on_cloudCodeCopyButton_clicked();
    void on_cloudOpenKVGButton_clicked();
    void on_cloudRestartRegButton_clicked();

signals:
    void stateWanted();
    void registrationWanted();
    // The session that is under way is not wanted any more.
    void registrationCancelled();
    void renameRequested(const QString &sid, const QString &alias);
    void notice(const QString &text, int milliseconds);

private:
    QWidget *makeStartPage();
    QWidget *makeWaitPage();
    QWidget *makeCodePage();
    QWidget *makeResultPage();
    // R_SERIAL closes the prompts for aliases and asks for the state of the registration.
    void setStep(RegSteps step);
    void showExpired(bool expired);
    void giveUp();

    AliasPrompts *m_prompts;
    QLabel *m_stepLabel;
    QStackedWidget *m_steps;
    QPushButton *m_startButton;
    QPushButton *m_copyButton;
    QLCDNumber *m_code;
    QLabel *m_expiry;
    QCountDownLCD *m_countdown;
    QListWidget *m_results;
    bool m_cancelled = false; // answers of the session that was given up may be on their way
};
