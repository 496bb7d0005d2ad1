#include "ui/registrationwizard.h"

#include "runner/zugatewrunner.h"
#include "settings/settingsstore.h"
#include "ui/aliasprompts.h"
#include "ui/dialogs.h"
#include "ui/pagestyle.h"
#include "ui/unnamedthings.h"
#include "ui/widgets/qcountdownlcd.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QHeaderView>
#include <QJsonArray>
#include <QLCDNumber>
#include <QLabel>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QTableView>
#include <QUrl>
#include <QVBoxLayout>

#include <algorithm>
#include <limits>
#include <optional>

namespace {

constexpr int copiedNotice = 1500; // milliseconds
constexpr int maxResults = 100000; // lines

QVBoxLayout *makeColumn(QWidget *widget)
{
    auto *const column = new QVBoxLayout(widget);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(12);
    return column;
}

// A few lines high; it gets what the page has left, and no page is scrolled for more of it.
void takeRest(QWidget *list)
{
    list->setMinimumHeight(list->fontMetrics().height() * 5);
    list->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Ignored);
}

// The value as an integer that is not negative, if it is such a number.
std::optional<int> toCount(const QJsonValue &value)
{
    bool ok = false;
    const double number = value.toVariant().toDouble(&ok);
    const bool fits = ok && number >= 0 && number <= std::numeric_limits<int>::max();
    return fits ? std::optional(static_cast<int>(number)) : std::nullopt;
}

// In groups of two or three digits, to be read out.
QString grouped(QString digits)
{
    int left = digits.size();
    for (int groups = (left + 2) / 3; groups > 1; --groups) {
        left -= left / groups;
        digits.insert(left, QLatin1Char(' '));
    }
    return digits;
}

void showNumber(QLCDNumber *display, const QString &text, QSize digit)
{
    display->setDigitCount(text.size());
    display->setFixedSize(digit.width() * text.size(), digit.height());
    display->display(text);
}

} // namespace

RegistrationWizard::RegistrationWizard(QWidget *parent)
    : QWidget(parent)
    , m_prompts(new AliasPrompts(this))
    , m_unnamed(new UnnamedThings(this))
    , m_stepLabel(new QLabel(this))
    , m_steps(new QStackedWidget(this))
    , m_explanation(
          new QLabel(tr("If all things have names, registration process will begin right away. "
                        "Please be ready to fill in the code from the next window into the "
                        "corresponding field in the Nimbra Cloud."),
                     this))
    , m_names(new QTableView(this))
    , m_useNamesButton(pagestyle::button(tr("&Use These Names"), "cloudUseNamesButton", this))
    , m_startButton(pagestyle::button(tr("&Start"), "cloudGetCodeButton", this))
    , m_portalButton(pagestyle::button(tr("&Open in browser"), "cloudPortalButton", this))
    , m_progress(new QProgressBar(this))
    , m_copyButton(pagestyle::button(tr("&Copy to Clipboard"), "cloudCodeCopyButton", this))
    , m_codePortalButton(pagestyle::button(tr("&Open in browser"), "cloudOpenKVGButton", this))
    , m_code(new QLCDNumber(this))
    , m_expiry(new QLabel(tr("Expires in:"), this))
    , m_countdown(new QCountDownLCD(this))
    , m_results(new QListWidget(this))
{
    QFont heading = m_stepLabel->font();
    heading.setBold(true);
    heading.setPointSizeF(heading.pointSizeF() * 1.15);
    m_stepLabel->setFont(heading);
    m_stepLabel->setObjectName("regStepLabel");
    m_stepLabel->setWordWrap(true);
    m_steps->setObjectName("regSteps");
    addStartPage();
    addWaitPage();
    addCodePage();
    addResultPage();
    QVBoxLayout *const layout = makeColumn(this);
    layout->addWidget(m_stepLabel);
    layout->addWidget(m_steps, 1);

    connect(m_prompts, &AliasPrompts::answered, this, &RegistrationWizard::renameRequested);
    connect(m_prompts, &AliasPrompts::ended, this, [this](bool complete) {
        if (complete) {
            on_cloudGetCodeButton_clicked();
        } else {
            restart();
        }
    });
    connect(m_countdown, &QCountDownLCD::timeout, this, &RegistrationWizard::showExpired);
    QMetaObject::connectSlotsByName(this);
}

QVBoxLayout *RegistrationWizard::addPage()
{
    auto *const page = new QWidget(m_steps);
    m_steps->addWidget(page);
    return makeColumn(page);
}

void RegistrationWizard::addStartPage()
{
    m_explanation->setWordWrap(true);
    m_names->setObjectName("unnamedThings");
    m_names->setAccessibleName(tr("Things without a name"));
    m_names->setModel(m_unnamed);
    m_names->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::SelectedClicked |
                             QAbstractItemView::EditKeyPressed | QAbstractItemView::AnyKeyPressed);
    m_names->setSelectionMode(QAbstractItemView::SingleSelection);
    pagestyle::styleTable(m_names);
    QHeaderView *const header = m_names->horizontalHeader();
    header->setMaximumSectionSize(-1); // so that the names can fill the rest
    header->setStretchLastSection(true);
    header->resizeSection(UnnamedThings::ColSerial,
                          qMax(header->sectionSize(UnnamedThings::ColSerial),
                               header->sectionSizeHint(UnnamedThings::ColSerial)));
    takeRest(m_names);
    QVBoxLayout *const column = addPage();
    column->addWidget(m_explanation);
    column->addWidget(m_names, 1);
    column->addLayout(
        pagestyle::row({m_useNamesButton, m_startButton, m_portalButton}, Qt::AlignLeft));
    column->addStretch();
    connect(m_useNamesButton, &QPushButton::clicked, this, &RegistrationWizard::useProposals);
    connect(m_portalButton, &QPushButton::clicked, this,
            &RegistrationWizard::on_cloudOpenKVGButton_clicked);
    m_portalButton->hide();
    showUnnamed({});
}

void RegistrationWizard::addWaitPage()
{
    m_progress->setRange(0, 0); // busy, without a percentage
    m_progress->setTextVisible(false);
    m_progress->setMaximumWidth(m_progress->fontMetrics().averageCharWidth() * 40);
    m_progress->setAccessibleName(tr("Connecting..."));
    QVBoxLayout *const column = addPage();
    column->addWidget(new QLabel(tr("Connecting..."), this));
    column->addWidget(m_progress);
    QPushButton *const cancelButton = pagestyle::button(tr("C&ancel"), "cloudCancelButton", this);
    connect(cancelButton, &QPushButton::clicked, this, &RegistrationWizard::cancelSession);
    column->addLayout(pagestyle::row({cancelButton}, Qt::AlignLeft));
    column->addStretch();
}

void RegistrationWizard::addCodePage()
{
    m_code->setObjectName("cloudCode");
    m_code->setSegmentStyle(QLCDNumber::Flat);
    m_code->setFrameShape(QFrame::NoFrame);
    // The countdown gets no accessible name, which screen readers would read instead.
    m_countdown->setObjectName("cloudCountdown");
    m_expiry->setBuddy(m_countdown);
    QPushButton *const againButton =
        pagestyle::button(tr("&New Session"), "cloudExpiredButton", this);
    connect(againButton, &QPushButton::clicked, this, &RegistrationWizard::cancelSession);
    QVBoxLayout *const column = addPage();
    column->addLayout(pagestyle::row({m_code}, Qt::AlignLeft));
    column->addLayout(pagestyle::row({m_expiry, m_countdown}, Qt::AlignLeft));
    column->addLayout(
        pagestyle::row({m_copyButton, m_codePortalButton, againButton}, Qt::AlignLeft));
    column->addStretch();
}

void RegistrationWizard::addResultPage()
{
    m_results->setObjectName("regResults");
    m_results->setAccessibleName(tr("Registered"));
    takeRest(m_results);
    QPushButton *const restartButton =
        pagestyle::button(tr("&New Session"), "cloudRestartRegButton", this);
    QVBoxLayout *const column = addPage();
    column->addWidget(m_results, 1);
    column->addLayout(pagestyle::row({restartButton}, Qt::AlignLeft));
}

void RegistrationWizard::setStep(RegSteps step)
{
    const QString labels[] = {tr("Querying..."), tr("Step 2. Connecting to the cloud"),
                              tr("Step 3. Enter the code in the cloud"), tr("Step 4. Finish")};
    m_countdown->stop();
    m_stepLabel->setText(labels[step]);
    m_code->setEnabled(true); // the code of the former session may have expired
    m_copyButton->setEnabled(true);
    m_codePortalButton->setEnabled(true);
    m_progress->setVisible(step == R_CONN);
    if (step == R_SERIAL) {
        m_prompts->cancel();
        m_results->clear();
        m_startButton->setEnabled(false);
        emit stateRequested();
    }
    m_steps->setCurrentIndex(step);
}

void RegistrationWizard::refresh()
{
    if (m_steps->currentIndex() == R_SERIAL) {
        restart();
    }
}

void RegistrationWizard::clearResults()
{
    m_results->clear();
}

void RegistrationWizard::showUnnamed(const QStringList &sids)
{
    m_unnamed->show(sids);
    m_names->setHidden(sids.isEmpty());
    m_useNamesButton->setHidden(sids.isEmpty());
}

void RegistrationWizard::useProposals()
{
    const QHash<QString, QString> proposals = m_unnamed->proposals();
    for (auto it = proposals.cbegin(); it != proposals.cend(); ++it) {
        emit renameRequested(it.key(), it.value());
    }
}

void RegistrationWizard::showState(int state)
{
    // The user may have gone to the next step before the answer came.
    if (m_steps->currentIndex() != R_SERIAL) {
        return;
    }
    const bool complete = state == ZugatewRunner::Complete;
    m_stepLabel->setText(complete ? tr("Your registration process is complete")
                                  : tr("Step 1. Fill in the thing names"));
    m_startButton->setDisabled(complete);
    m_startButton->setHidden(complete);
    m_explanation->setHidden(complete);
    m_portalButton->setVisible(complete);
}

void RegistrationWizard::askForAliases(const QStringList &things)
{
    if (!m_cancelled) {
        m_progress->setHidden(!things.isEmpty()); // nothing runs while the user is asked
        m_prompts->ask(things, m_unnamed->proposals());
    }
}

void RegistrationWizard::showCode(const QJsonObject &code)
{
    if (m_cancelled) {
        return;
    }
    std::optional<int> number = toCount(code[QLatin1String("value")]);
    if (!number) {
        number = toCount(code[QLatin1String("code")]);
    }
    const std::optional<int> seconds = toCount(code[QLatin1String("timeout")]);
    if (!number) {
        emit registrationCancelled();
        dialogs::showMessage(window(), QMessageBox::Warning, tr("Registration Error"),
                             tr("The cloud sent a code that cannot be used."));
        restart();
        return;
    }
    setStep(R_CODE);
    const QString digits = QString::number(*number);
    showNumber(m_code, grouped(digits), {28, 56});
    m_code->setAccessibleName(digits); // the display's own value is 0 for grouped digits
    // Without a timeout, the code is valid until the registrar ends the session.
    m_expiry->setVisible(seconds.has_value());
    m_countdown->setVisible(seconds.has_value());
    if (seconds) {
        showNumber(m_countdown, QString::number(*seconds), {14, 28});
        m_countdown->start(*seconds);
    }
}

void RegistrationWizard::showExpired()
{
    m_stepLabel->setText(tr("The code has expired. Begin a new session for another one."));
    m_copyButton->setEnabled(false);
    m_codePortalButton->setEnabled(false);
    m_code->setEnabled(false);
}

bool RegistrationWizard::showResult(const QJsonObject &result)
{
    const QJsonValue error = result[QLatin1String("error")];
    if (m_cancelled && !error.isUndefined()) {
        return false;
    }
    setStep(R_FIN);
    m_results->clear();
    if (!error.isUndefined()) {
        dialogs::showMessage(window(), QMessageBox::Warning, tr("Registration Error"),
                             // Misspelt, but the wording is fixed.
                             tr("Registation has completed with an error.") +
                                 QLatin1String("<br>") +
                                 dialogs::shortened(error.toVariant().toString()).toHtmlEscaped() +
                                 QStringLiteral(" (%1)").arg(result[QLatin1String("code")].toInt()),
                             Qt::RichText);
        restart();
        return false;
    }
    const auto text = [](const QJsonObject &thing, const char *member) {
        return thing[QLatin1String(member)].toVariant().toString();
    };
    if (result.contains(QLatin1String("id")) && result.contains(QLatin1String("alias"))) {
        m_results->addItem(tr("%1 (gateway): %2").arg(text(result, "alias"), text(result, "id")));
    }
    const QJsonArray fleet = result[QLatin1String("fleet")].toArray();
    QStringList lines;
    for (int i = 0; i < std::min(fleet.size(), maxResults); ++i) {
        const QJsonObject thing = fleet.at(i).toObject();
        lines.append(QStringLiteral("%1: %2").arg(text(thing, "alias"), text(thing, "id")));
    }
    m_results->addItems(lines);
    return true;
}

// Without it, the runner would answer the next session with Busy.
void RegistrationWizard::cancelSession()
{
    m_cancelled = true;
    emit registrationCancelled();
    restart();
}

void RegistrationWizard::on_cloudGetCodeButton_clicked()
{
    m_cancelled = false;
    setStep(R_CONN);
    emit registrationRequested();
}

void RegistrationWizard::on_cloudCodeCopyButton_clicked()
{
    QGuiApplication::clipboard()->setText(m_code->accessibleName());
    emit notice(tr("Code copied to clipboard"), copiedNotice);
}

void RegistrationWizard::on_cloudOpenKVGButton_clicked()
{
    const SettingsStore store;
    const QUrl page(store.value(keys::Portal) + store.value(keys::PortalPage));
    // openUrl() may start a program for any other scheme.
    const bool isWeb = page.isValid() && (page.scheme() == QLatin1String("https") ||
                                          page.scheme() == QLatin1String("http"));
    if (!isWeb || !QDesktopServices::openUrl(page)) {
        emit notice(tr("The browser could not be opened"), 5000);
    }
}

void RegistrationWizard::on_cloudRestartRegButton_clicked()
{
    restart();
}
