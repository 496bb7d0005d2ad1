#include "ui/connectioncheckdialog.h"

#include "check/connectioncheck.h"
#include "settings/privatefile.h"
#include "ui/dialogs.h"
#include "ui/pagestyle.h"
#include "ui/widgets/qmaterialicon.h"

#include <QClipboard>
#include <QDateTime>
#include <QDialogButtonBox>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QGridLayout>
#include <QGuiApplication>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

namespace {

constexpr qint64 maxLogEnd = 64LL * 1024; // bytes
constexpr int markSize = 24;              // device-independent pixels

struct Mark
{
    const char *icon;
    QMaterialIcon::Color color;
    const char *word; // in the report
};
const Mark marks[] = { // by CheckStep::Status
    {"hourglass_empty", QMaterialIcon::Base, "[....]"},
    {"check_circle", QMaterialIcon::Success, "[ ok ]"},
    {"error", QMaterialIcon::Error, "[FAIL]"},
    {"remove_circle_outline", QMaterialIcon::Base, "[ -- ]"}};

QString logEnd(const QString &folder)
{
    QFile file(folder + QLatin1String("/kvg-gate.log"));
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    file.seek(qMax<qint64>(0, file.size() - maxLogEnd));
    if (file.pos() > 0) {
        file.readLine(); // the rest of a line
    }
    return QString::fromUtf8(file.read(maxLogEnd));
}

} // namespace

ConnectionCheckDialog::ConnectionCheckDialog(const ConnectionCheck &check, const QString &logFolder,
                                             QWidget *parent)
    : QDialog(parent)
    , m_logFolder(logFolder)
    , m_copyButton(pagestyle::button(tr("&Copy"), "checkCopyButton", this))
    , m_saveButton(pagestyle::button(tr("&Save Report..."), "checkSaveButton", this))
    , m_againButton(pagestyle::button(tr("Check &Again"), "checkAgainButton", this))
{
    setObjectName("connectionCheck");
    setWindowTitle(tr("Check Connection"));
    setAttribute(Qt::WA_DeleteOnClose);
    auto *const area = new QScrollArea(this);
    auto *const content = new QWidget(area);
    m_grid = new QGridLayout(content);
    m_grid->setColumnStretch(1, 1);
    area->setWidgetResizable(true);
    area->setFrameShape(QFrame::NoFrame);
    area->setWidget(content);
    auto *const buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    for (QPushButton *const button : {m_copyButton, m_saveButton, m_againButton}) {
        buttons->addButton(button, QDialogButtonBox::ActionRole);
    }
    auto *const layout = new QVBoxLayout(this);
    layout->addWidget(area);
    layout->addWidget(buttons);
    resize(640, 560);

    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_copyButton, &QPushButton::clicked, this,
            [this] { QGuiApplication::clipboard()->setText(m_report); });
    connect(m_saveButton, &QPushButton::clicked, this, &ConnectionCheckDialog::save);
    connect(m_againButton, &QPushButton::clicked, this, &ConnectionCheckDialog::begin);
    connect(this, &QDialog::finished, this, &ConnectionCheckDialog::cancelled);
    connect(this, &ConnectionCheckDialog::checkRequested, &check, &ConnectionCheck::start);
    connect(this, &ConnectionCheckDialog::cancelled, &check, &ConnectionCheck::cancel);
    connect(&check, &ConnectionCheck::stepChanged, this, &ConnectionCheckDialog::showStep);
    connect(&check, &ConnectionCheck::finished, this, &ConnectionCheckDialog::finish);
    begin();
}

void ConnectionCheckDialog::begin()
{
    for (const Row &row : qAsConst(m_rows)) {
        delete row.mark;
        delete row.text;
    }
    m_rows.clear();
    m_steps.clear();
    m_report.clear();
    for (QPushButton *const button : {m_copyButton, m_saveButton, m_againButton}) {
        button->hide();
    }
    emit checkRequested();
}

void ConnectionCheckDialog::showStep(const CheckStep &step)
{
    if (step.number == m_rows.size()) {
        m_rows.append(Row{new QLabel(this), new QLabel(this)});
        m_steps.append(step);
        m_rows.last().text->setTextFormat(Qt::RichText);
        m_rows.last().text->setWordWrap(true);
        m_rows.last().text->setTextInteractionFlags(Qt::TextSelectableByMouse);
        m_grid->addWidget(m_rows.last().mark, step.number, 0, Qt::AlignTop);
        m_grid->addWidget(m_rows.last().text, step.number, 1);
        m_grid->setRowStretch(step.number, 0);
        m_grid->setRowStretch(step.number + 1, 1);
    }
    if (step.number < 0 || step.number >= m_rows.size()) {
        return; // of a check that was cancelled
    }
    m_steps[step.number] = step;
    const Mark &mark = marks[step.status];
    const Row &row = m_rows[step.number];
    row.mark->setPixmap(QMaterialIcon::instance().pixmap(QLatin1String(mark.icon), markSize,
                                                         mark.color, devicePixelRatioF()));
    QString text = "<b>" + step.name.toHtmlEscaped() + "</b>";
    if (!step.seen.isEmpty()) {
        text += "<br>" + dialogs::shortened(step.seen).toHtmlEscaped();
    }
    if (!step.advice.isEmpty()) {
        text += "<br><i>" + step.advice.toHtmlEscaped() + "</i>";
    }
    row.text->setText(text);
}

void ConnectionCheckDialog::finish(const QString &facts)
{
    QString text = facts + "\n\n" + QDateTime::currentDateTime().toString(Qt::ISODate) + '\n';
    for (const CheckStep &step : qAsConst(m_steps)) {
        text += QLatin1String(marks[step.status].word) + ' ' + step.name + ": " + step.seen + '\n';
        if (!step.advice.isEmpty()) {
            text += "       " + step.advice + '\n';
        }
    }
    m_report = text + '\n' + logEnd(m_logFolder);
    for (QPushButton *const button : {m_copyButton, m_saveButton, m_againButton}) {
        button->show();
    }
}

void ConnectionCheckDialog::save()
{
    auto *const dialog =
        new QFileDialog(this, tr("Save Report"), QDir::homePath(), tr("Text files (*.txt)"));
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setDefaultSuffix("txt");
    dialog->selectFile("kvg-gate-report.txt");
    connect(dialog, &QFileDialog::fileSelected, this, [this](const QString &file) {
        QString error;
        if (!replacePrivateFile(file, m_report.toUtf8(), error)) {
            dialogs::showMessage(this, QMessageBox::Critical, windowTitle(),
                                 tr("The report could not be saved: %1").arg(error));
        }
    });
    dialogs::enqueue(dialog);
}

void openConnectionCheck(const ConnectionCheck &check, const QString &logFolder, QWidget *parent)
{
    if (parent->findChild<ConnectionCheckDialog *>() == nullptr) {
        (new ConnectionCheckDialog(check, logFolder, parent))->show();
    }
}
