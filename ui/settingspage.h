#pragma once

#include "settings/settingsform.h"

#include <QMessageBox>
#include <QWidget>

class QCheckBox;
class QComboBox;
class QLineEdit;
class QPushButton;
class QSpinBox;
class QVBoxLayout;
class UnsavedChanges;
class ZUSettings;
struct BackupSummary;

// The application's own settings, the backup, and a button for the log folder. Interface thread.
class SettingsPage : public QWidget, public SettingsForm
{
    Q_OBJECT

public:
    // `settings` and `autostart` are borrowed for life; the latter is brought in line with the
    // stored setting. `logFolder`: what a button opens; no button when it is empty.
    SettingsPage(ZUSettings &settings, Autostart &autostart, const QString &logFolder,
                 QWidget *parent = nullptr);

    // Shows what is stored; edits are discarded.
    void load();
    // Shows what is stored, but keeps edits.
    void reload();
    // Says what the file holds, and asks whether to restore it.
    void confirmImport(const BackupSummary &backup);
    // Results of the runner's backup and restore.
    void showExported(bool done);
    void showImported(bool done);

    SettingsValues values() const override;
    void show(const SettingsValues &values) override;
    using QWidget::show;
    void warn(const QString &title, const QString &text) override;
    Autostart &autostart() override { return m_autostart; }
    bool isDark() const override;

public slots:
    void on_settingsApplyButton_clicked();
    void on_settingsRevertButton_clicked();
    void on_settingsBackupButton_clicked();
    void on_settingsRestoreButton_clicked();
    void on_settingsLogButton_clicked();

signals:
    void applied();
    // Follows applied() when report interval, keep-alive or the broker's address changed.
    void cloudSettingsChanged();
    void exportRequested(const QString &file);
    // confirmImport() or showImported(false) is the answer.
    void inspectRequested(const QString &file);
    void importRequested(const QString &file);
    void notice(const QString &text, int milliseconds);
    void restartRequested();

private:
    // Tells what takes effect at the next start, and offers to restart.
    void showRestartNotice(QMessageBox::Icon icon, const QString &title, const QString &text);
    void exportTo(QString file);
    void setTransferRunning(bool running);
    void addCloudGroup(QVBoxLayout *groups);
    void addInterfaceGroup(QVBoxLayout *groups);
    void addSystemGroup(QVBoxLayout *groups);
    void addBackupGroup(QVBoxLayout *groups);

    ZUSettings &m_settings;
    Autostart &m_autostart;
    const QString m_logFolder;
    UnsavedChanges *m_changes;
    QComboBox *m_interval;
    QLineEdit *m_host;
    QSpinBox *m_port;
    QSpinBox *m_keepAlive;
    QComboBox *m_language;
    QCheckBox *m_dark;
    QCheckBox *m_startWithSession;
    QCheckBox *m_startHidden;
    QCheckBox *m_closeToTray;
    QCheckBox *m_autoScan;
    QSpinBox *m_scanInterval;
    QCheckBox *m_keepHistory;
    QPushButton *m_backupButton;
    QPushButton *m_restoreButton;
};
