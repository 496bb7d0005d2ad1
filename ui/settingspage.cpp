#include "ui/settingspage.h"

#include "runner/backupsummary.h"
#include "settings/reportintervals.h"
#include "settings/zusettings.h"
#include "ui/aliasrule.h"
#include "ui/dialogs.h"
#include "ui/pagestyle.h"
#include "ui/scanclock.h"
#include "ui/unsavedchanges.h"
#include "ui/widgets/qmaterialicon.h"
#include "ui/widgets/wheelguard.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDate>
#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QSpinBox>
#include <QUrl>
#include <QVBoxLayout>

#include <tuple>

namespace {

constexpr auto savedNotice = 2000; // milliseconds
constexpr auto failureNotice = 5000;

// Adds a row to the form; the label is also the editor's accessible name.
void addRow(QFormLayout *form, const QString &label, QWidget *editor, const char *name)
{
    editor->setObjectName(QLatin1String(name));
    editor->setAccessibleName(label);
    form->addRow(label + QLatin1Char(':'), editor);
}

void addCheck(QFormLayout *form, QCheckBox *box, const char *name)
{
    box->setObjectName(QLatin1String(name));
    form->addRow(new QLabel, box);
}

// Gives the label columns of all groups in `pane` one width.
void alignForms(const QWidget *pane)
{
    const auto forms = pane->findChildren<QFormLayout *>();
    QList<QLabel *> labels;
    int width = 0;
    for (QFormLayout *const form : forms) {
        for (int row = 0; row < form->rowCount(); ++row) {
            if (QLayoutItem *const item = form->itemAt(row, QFormLayout::LabelRole)) {
                labels.append(qobject_cast<QLabel *>(item->widget()));
                width = qMax(width, item->sizeHint().width());
            }
        }
    }
    for (QLabel *const label : qAsConst(labels)) {
        label->setMinimumWidth(width);
        label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    }
}

QSpinBox *makeSpinBox(int min, int max, const QString &suffix, QWidget *parent)
{
    auto *const box = new QSpinBox(parent);
    box->setRange(min, max);
    box->setSuffix(suffix);
    return box;
}

// Adds a group to `column`, and returns the form in it.
QFormLayout *addGroup(QVBoxLayout *column, const QString &title)
{
    auto *const group = new QGroupBox(title, column->parentWidget());
    column->addWidget(group);
    auto *const form = new QFormLayout(group);
    form->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
    return form;
}

// The settings that the runner applies at once.
std::tuple<int, int, QString, quint32> cloudSettings()
{
    const SettingsStore store;
    return {store.value(keys::ReportInterval), store.value(keys::KeepAlive),
            store.value(keys::CloudHost), store.value(keys::CloudPort)};
}

QFileDialog *makeDialog(QWidget *parent, const QString &title)
{
    const QString stored = SettingsStore().value(keys::ExportDirectory);
    return new QFileDialog(parent->window(), title, stored.isEmpty() ? QDir::homePath() : stored,
                           SettingsPage::tr("Backup files (*.bak)"));
}

QString summaryText(const BackupSummary &backup)
{
    // The file's texts must not look like lines of the summary.
    const auto line = [](const QString &text) {
        return dialogs::shortened(cleanAlias(text.left(2 * maxAliasLength)));
    };
    const QString registrations[] = {SettingsPage::tr("Registration: none"),
                                     SettingsPage::tr("Registration: the one in use"),
                                     SettingsPage::tr("Registration: not the one in use")};
    const QString credentials[] = {SettingsPage::tr("Credentials: none"),
                                   SettingsPage::tr("Credentials: incomplete"),
                                   SettingsPage::tr("Credentials: certificate and key")};
    const int parts = int(backup.hasCertificate) + int(backup.hasKey);
    const QStringList lines{
        line(QFileInfo(backup.file).fileName()),
        SettingsPage::tr("Saved: %1 (date of the file)")
            .arg(QLocale().toString(backup.fileTime, QLocale::ShortFormat)),
        SettingsPage::tr("Version: %1").arg(line(backup.version)),
        SettingsPage::tr("Gateway: %1").arg(line(backup.alias)),
        SettingsPage::tr("Devices: %1").arg(backup.devices),
        registrations[backup.registration],
        credentials[parts],
        QString(),
        parts == 0
            ? SettingsPage::tr("This replaces all settings, the names of the devices and the "
                               "registration. Certificate and key stay as they are. Proceed?")
            : SettingsPage::tr(
                  "This replaces all settings, the names of the devices, the registration "
                  "and the credentials. Proceed?"),
    };
    return lines.join(QLatin1Char('\n'));
}

} // namespace

SettingsPage::SettingsPage(ZUSettings &settings, Autostart &autostart, const QString &logFolder,
                           QWidget *parent)
    : QWidget(parent)
    , m_settings(settings)
    , m_autostart(autostart)
    , m_logFolder(logFolder)
    , m_changes(new UnsavedChanges(this))
    , m_interval(new QComboBox(this))
    , m_host(new QLineEdit(this))
    , m_port(makeSpinBox(1, 65535, QString(), this))
    , m_keepAlive(makeSpinBox(0, 65535, tr(" s"), this))
    , m_language(new QComboBox(this))
    , m_dark(new QCheckBox(tr("&Dark theme"), this))
    , m_startWithSession(new QCheckBox(tr("Start when &I log on"), this))
    , m_startHidden(new QCheckBox(tr("Start &hidden in the tray"), this))
    , m_closeToTray(new QCheckBox(tr("&Closing the window leaves the program in the tray"), this))
    , m_autoScan(new QCheckBox(tr("&Look for devices regularly"), this))
    , m_scanInterval(makeSpinBox(0, ScanClock::maxPeriod.count(), tr(" min"), this))
    , m_keepHistory(new QCheckBox(tr("&Keep a history of values for 30 days"), this))
    , m_backupButton(pagestyle::button(tr("&Backup…"), "settingsBackupButton", this))
    , m_restoreButton(pagestyle::button(tr("L&oad Backup…"), "settingsRestoreButton", this))
{
    const bool wanted = m_settings.store().value(keys::Autostart);
    if (!wanted || !m_autostart.autostartSet()) {
        m_autostart.setAutostart(wanted);
    }
    auto *const pane = new QWidget(this);
    auto *const groups = new QVBoxLayout(pane);
    groups->setContentsMargins(0, 0, 0, 0); // the page has its own
    addCloudGroup(groups);
    addInterfaceGroup(groups);
    addSystemGroup(groups);
    addBackupGroup(groups);
    groups->addStretch();
    alignForms(pane);
    auto *const area = new QScrollArea(this);
    area->setWidgetResizable(true);
    area->setFrameShape(QFrame::NoFrame);
    area->setWidget(pane);

    auto *const layout = new QVBoxLayout(this);
    layout->addWidget(area, 1);
    QPushButton *const revertButton =
        pagestyle::button(tr("Re&vert"), "settingsRevertButton", this);
    QPushButton *const applyButton = pagestyle::button(tr("&Apply"), "settingsApplyButton", this);
    layout->addLayout(pagestyle::row({revertButton, applyButton}, Qt::AlignRight));

    QWidget *const editors[] = {m_interval, m_port, m_keepAlive, m_language, m_scanInterval};
    for (QWidget *const editor : editors) {
        guardFromWheel(editor);
    }
    using Page = SettingsPage;
    connect(m_changes, &UnsavedChanges::existChanged, revertButton, &QWidget::setEnabled);
    connect(m_changes, &UnsavedChanges::existChanged, applyButton, &QWidget::setEnabled);
    connect(m_changes, &UnsavedChanges::saveRequested, this, &Page::on_settingsApplyButton_clicked);
    connect(m_changes, &UnsavedChanges::discardRequested, this, &Page::load);
    m_changes->watch({m_interval, m_host, m_port, m_keepAlive, m_language, m_dark,
                      m_startWithSession, m_startHidden, m_closeToTray, m_autoScan, m_scanInterval,
                      m_keepHistory});
    connect(m_autoScan, &QCheckBox::toggled, m_scanInterval, &QWidget::setEnabled);
    QMetaObject::connectSlotsByName(this);
}

void SettingsPage::addCloudGroup(QVBoxLayout *groups)
{
    QFormLayout *const form = addGroup(groups, tr("Cloud"));
    for (int i = 0; i < reportIntervals().size(); ++i) {
        m_interval->addItem(reportIntervalLabel(i));
    }
    m_host->setMinimumWidth(m_host->fontMetrics().averageCharWidth() * 36);
    m_host->setMaxLength(255);
    addRow(form, tr("Report interval"), m_interval, "interval");
    addRow(form, tr("Host"), m_host, "host");
    addRow(form, tr("Port"), m_port, "port");
    addRow(form, tr("Keep-alive"), m_keepAlive, "keepAlive");
}

void SettingsPage::addInterfaceGroup(QVBoxLayout *groups)
{
    QFormLayout *const form = addGroup(groups, tr("Interface"));
    // Each language has its own name for itself, in every translation.
    m_language->addItems({QStringLiteral("English"), QStringLiteral("Русский")});
    addRow(form, tr("Language"), m_language, "language");
    addCheck(form, m_dark, "dark");
}

void SettingsPage::addSystemGroup(QVBoxLayout *groups)
{
    QFormLayout *const form = addGroup(groups, tr("System"));
    addCheck(form, m_startWithSession, "autostart");
    addCheck(form, m_startHidden, "startHidden");
    addCheck(form, m_closeToTray, "closeToTray");
    addCheck(form, m_autoScan, "autoScan");
    m_scanInterval->setToolTip(tr("Never more often than every 30 seconds"));
    addRow(form, tr("Time between two searches"), m_scanInterval, "scanInterval");
    m_keepHistory->setToolTip(tr("On this computer only, for the curves of the devices"));
    addCheck(form, m_keepHistory, "keepHistory");
}

void SettingsPage::addBackupGroup(QVBoxLayout *groups)
{
    auto *const group = new QGroupBox(tr("Backup and log"), this);
    groups->addWidget(group);
    auto *const row = new QHBoxLayout(group);
    row->addWidget(m_backupButton);
    row->addWidget(m_restoreButton);
    if (!m_logFolder.isEmpty()) {
        row->addWidget(pagestyle::button(tr("Open Log &Folder"), "settingsLogButton", this));
    }
    row->addStretch();
}

void SettingsPage::load()
{
    m_settings.load(*this);
}

void SettingsPage::reload()
{
    m_changes->reload([this] { load(); });
}

SettingsValues SettingsPage::values() const
{
    SettingsValues values;
    values.intervalIndex = m_interval->currentIndex();
    values.host = m_host->text();
    values.port = static_cast<quint32>(m_port->value());
    values.keepAlive = m_keepAlive->value();
    values.languageIndex = m_language->currentIndex();
    values.autostart = m_startWithSession->isChecked();
    values.closeToTray = m_closeToTray->isChecked();
    values.startHidden = m_startHidden->isChecked();
    values.autoScan = m_autoScan->isChecked();
    values.scanInterval = m_scanInterval->value();
    values.dark = m_dark->isChecked();
    values.keepHistory = m_keepHistory->isChecked();
    return values;
}

void SettingsPage::show(const SettingsValues &values)
{
    m_interval->setCurrentIndex(values.intervalIndex);
    m_host->setText(values.host);
    m_port->setValue(static_cast<int>(qMin<quint32>(values.port, m_port->maximum())));
    m_keepAlive->setValue(values.keepAlive);
    m_language->setCurrentIndex(values.languageIndex);
    m_startWithSession->setChecked(values.autostart);
    m_closeToTray->setChecked(values.closeToTray);
    m_startHidden->setChecked(values.startHidden);
    m_autoScan->setChecked(values.autoScan);
    m_scanInterval->setValue(values.scanInterval);
    m_scanInterval->setEnabled(values.autoScan);
    m_dark->setChecked(values.dark);
    m_keepHistory->setChecked(values.keepHistory);
    m_changes->markStored();
}

void SettingsPage::warn(const QString &title, const QString &text)
{
    showRestartNotice(QMessageBox::Warning, title, text);
}

void SettingsPage::showRestartNotice(QMessageBox::Icon icon, const QString &title,
                                     const QString &text)
{
    dialogs::showMessageWithAction(this, icon, title, text, tr("Restart &Now"),
                                   [this] { emit restartRequested(); });
}

bool SettingsPage::isDark() const
{
    return QMaterialIcon::instance().isDark();
}

void SettingsPage::on_settingsApplyButton_clicked()
{
    const auto before = cloudSettings();
    const bool saved = m_settings.apply(*this);
    emit applied();
    if (cloudSettings() != before) {
        emit cloudSettingsChanged();
    }
    if (saved) {
        m_changes->markStored();
        emit notice(tr("Settings saved"), savedNotice);
    } else {
        dialogs::showSaveFailed(this);
    }
}

void SettingsPage::on_settingsRevertButton_clicked()
{
    load();
}

void SettingsPage::on_settingsRestoreButton_clicked()
{
    QFileDialog *const dialog = makeDialog(this, tr("Load Backup"));
    dialog->setFileMode(QFileDialog::ExistingFile);
    connect(dialog, &QFileDialog::fileSelected, this, [this](const QString &file) {
        setTransferRunning(true);
        emit inspectRequested(file);
    });
    dialogs::enqueue(dialog);
}

void SettingsPage::confirmImport(const BackupSummary &backup)
{
    setTransferRunning(false);
    dialogs::ask(this, tr("Restore Backup"), summaryText(backup), [this, file = backup.file] {
        setTransferRunning(true);
        emit importRequested(file);
    });
}

void SettingsPage::on_settingsBackupButton_clicked()
{
    QFileDialog *const dialog = makeDialog(this, tr("Save As"));
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->selectFile(
        QStringLiteral("kvg-gate-%1.bak").arg(QDate::currentDate().toString(Qt::ISODate)));
    connect(dialog, &QFileDialog::fileSelected, this, &SettingsPage::exportTo);
    dialogs::enqueue(dialog);
}

void SettingsPage::exportTo(QString file)
{
    const auto start = [this](const QString &name) {
        m_settings.store().set(keys::ExportDirectory, QFileInfo(name).absolutePath());
        setTransferRunning(true);
        emit exportRequested(name);
    };
    const bool hasSuffix = file.endsWith(QLatin1String(".bak"), Qt::CaseInsensitive);
    if (!hasSuffix) {
        file += QLatin1String(".bak");
    }
    // The dialog checked for a file without the suffix.
    if (!hasSuffix && QFileInfo::exists(file)) {
        dialogs::ask(this, tr("Save As"),
                     tr("%1 already exists. Replace it?").arg(QFileInfo(file).fileName()),
                     [start, file] { start(file); });
    } else {
        start(file);
    }
}

void SettingsPage::setTransferRunning(bool running)
{
    m_backupButton->setDisabled(running);
    m_restoreButton->setDisabled(running);
}

void SettingsPage::showExported(bool done)
{
    setTransferRunning(false);
    if (!done) {
        emit notice(tr("Backup could not be saved"), failureNotice);
        return;
    }
    emit notice(tr("Configuration saved"), savedNotice);
    dialogs::showMessage(
        this, QMessageBox::Information, tr("Backup"),
        tr("The configuration backup file has been generated. It contains sensitive "
           "information, so keep it safe!"));
}

void SettingsPage::showImported(bool done)
{
    setTransferRunning(false);
    if (!done) {
        emit notice(tr("Configuration could not be restored."), failureNotice);
        return;
    }
    load();
    showRestartNotice(QMessageBox::Information, tr("Import"),
                      tr("Configuration has been restored from a backup. Restart the application "
                         "as soon as possible."));
}

void SettingsPage::on_settingsLogButton_clicked()
{
    if (!QDesktopServices::openUrl(QUrl::fromLocalFile(m_logFolder))) {
        // Without a file manager, the user needs the path.
        emit notice(tr("The log is in %1").arg(QDir::toNativeSeparators(m_logFolder)),
                    failureNotice);
    }
}
