#pragma once

#include "check/checkstep.h"

#include <QDialog>
#include <QStringList>
#include <QVector>

class ConnectionCheck;
class QGridLayout;
class QLabel;
class QPushButton;

// Has the connection checked, shows how each step ends, and gives all that as text for those who
// help. Does not block the window. Deletes itself when it is closed, which ends the check.
// Interface thread.
class ConnectionCheckDialog : public QDialog
{
    Q_OBJECT

public:
    // `check` is borrowed, and lives on another thread. `logFolder`: of the log whose end goes into
    // the report.
    ConnectionCheckDialog(const ConnectionCheck &check, const QString &logFolder, QWidget *parent);

    // Empty before the check ended.
    QString report() const { return m_report; }

public slots:
    void showStep(const CheckStep &step);
    void finish(const QString &facts);

signals:
    void checkRequested();
    void cancelled();

private:
    struct Row
    {
        QLabel *mark;
        QLabel *text;
    };
    void begin();
    void save();

    const QString m_logFolder;
    QGridLayout *m_grid;
    QPushButton *m_copyButton;
    QPushButton *m_saveButton;
    QPushButton *m_againButton;
    QVector<Row> m_rows;
    QVector<CheckStep> m_steps;
    QString m_report;
};

// Shows the dialog, unless the window has one.
void openConnectionCheck(const ConnectionCheck &check, const QString &logFolder, QWidget *parent);
