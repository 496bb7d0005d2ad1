#include "ui/cloudpage.h"

#include "settings/devicepool.h"
#include "settings/settingsstore.h"
#include "ui/dialogs.h"
#include "ui/linktext.h"
#include "ui/pagestyle.h"
#include "ui/registrationwizard.h"
#include "ui/widgets/qmaterialicon.h"
#include "ui/widgets/qstatuslabel.h"

#include <QDateTime>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

#include <iterator>
#include <utility>

namespace {

using Role = QMaterialIcon::Color;

QColor color(Role role)
{
    return QMaterialIcon::instance().color(role);
}

// `state`: CredentialStore::SSLStatus.
void showCredential(QStatusLabel *label, int state)
{
    const std::pair<QString, QColor> states[] = {
        {CloudPage::tr("Ok"), color(Role::Success)},
        {CloudPage::tr("Missing"), color(Role::Error)},
        {CloudPage::tr("Corrupt"), color(Role::Warning)},
        {CloudPage::tr("Cryptographic error"), QColor("#DA30AD")},
    };
    if (state >= 0 && state < int(std::size(states))) {
        label->setText(states[state].first, states[state].second);
    }
}

QLabel *textLabel(const char *name, QWidget *parent)
{
    auto *const label = new QLabel(parent);
    label->setObjectName(QLatin1String(name));
    label->setTextFormat(Qt::PlainText); // parts come from the network
    label->setWordWrap(true);
    label->setContentsMargins(8, 2, 8, 2); // as status labels have
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

} // namespace

CloudPage::CloudPage(QWidget *parent)
    : QWidget(parent)
    , m_gateway(new QStatusLabel(this))
    , m_connection(new QStatusLabel(this))
    , m_serial(new QStatusLabel(this))
    , m_cert(new QStatusLabel(this))
    , m_key(new QStatusLabel(this))
    , m_validity(new QStatusLabel(this))
    , m_linkSummary(textLabel("linkSummary", this))
    , m_ledger(textLabel("linkLedger", this))
    , m_reconnectButton(pagestyle::button(tr("&Try Now"), "reconnectButton", this))
    , m_clock(this)
{
    auto *const status = new QGroupBox(tr("Status"), this);
    auto *const form = m_form = new QFormLayout(status);
    form->setLabelAlignment(Qt::AlignRight);
    const auto addRow = [form](const QString &label, QStatusLabel *value, const char *name) {
        value->setObjectName(QLatin1String(name));
        value->setTextInteractionFlags(Qt::TextSelectableByMouse);
        form->addRow(label, value);
    };
    addRow(tr("Gateway:"), m_gateway, "gatewayStatus");
    addRow(tr("Connection:"), m_connection, "connectionStatus");
    form->addRow(new QLabel(status), m_linkSummary);
    form->addRow(tr("Messages:"), m_ledger);
    addRow(tr("Serial Number:"), m_serial, "gatewaySerial");
    addRow(tr("Certificate:"), m_cert, "certStatus");
    addRow(tr("Key:"), m_key, "keyStatus");
    addRow(tr("Valid:"), m_validity, "certValidity");
    // The buttons are made in their tab order, and the wizard after them.
    QPushButton *const checkButton =
        pagestyle::button(tr("C&heck Connection..."), "checkConnectionButton", status);
    m_resetButton = pagestyle::button(tr("&Reset Registration"), "settingsResetGWButton", status);
    form->addRow(pagestyle::row({m_reconnectButton, checkButton, m_resetButton}, Qt::AlignRight));

    m_wizard = new RegistrationWizard(this);
    auto *const registration = new QGroupBox(tr("Registration"), this);
    auto *const inner = new QVBoxLayout(registration);
    inner->addWidget(m_wizard);
    auto *const pane = new QWidget(this);
    auto *const groups = new QVBoxLayout(pane);
    groups->setContentsMargins(0, 0, 0, 0); // the page has its own
    groups->addWidget(status);
    groups->addWidget(registration, 1);
    auto *const area = new QScrollArea(this); // texts of several lines may need more room
    area->setFocusPolicy(Qt::NoFocus);
    area->setWidgetResizable(true);
    area->setFrameShape(QFrame::NoFrame);
    area->setWidget(pane);
    auto *const layout = new QVBoxLayout(this);
    layout->addWidget(area);

    connect(checkButton, &QPushButton::clicked, this, &CloudPage::checkRequested);
    connect(m_reconnectButton, &QPushButton::clicked, this, &CloudPage::reconnectRequested);
    m_clock.setInterval(1000);
    connect(&m_clock, &QTimer::timeout, this, &CloudPage::updateLink);
    updateLink();
    showConnectivity(false);
    showStatus({{"gw", false}, {"key", 1}, {"cert", 1}}); // until the first result
    refresh();
    QMetaObject::connectSlotsByName(this);
}

void CloudPage::refresh()
{
    const QString serial = SettingsStore().value(keys::CloudSerial);
    m_serial->setText(serial.isEmpty() ? tr("Not registered") : serial,
                      palette().color(QPalette::WindowText));
    m_wizard->refresh();
    updateResetButton();
}

void CloudPage::showStatus(const QJsonObject &status)
{
    const bool registered = status[QLatin1String("gw")].toBool();
    m_gateway->setText(registered ? tr("Ready") : tr("Not registered"),
                       color(registered ? Role::Success : Role::Warning));
    showCredential(m_key, status[QLatin1String("key")].toInt(-1));
    showCredential(m_cert, status[QLatin1String("cert")].toInt(-1));
    const int missing = 1;
    m_hasIdentity = registered || status[QLatin1String("key")] != missing ||
                    status[QLatin1String("cert")] != missing;
    updateResetButton();
}

// A registration that was interrupted may have left any part of the identity.
void CloudPage::updateResetButton()
{
    m_resetButton->setEnabled(m_hasIdentity ||
                              !SettingsStore().value(keys::CloudSerial).isEmpty() ||
                              !DevicePool::read().cloudids().isEmpty());
}

void CloudPage::showConnectivity(bool connected)
{
    m_connection->setText(connected ? tr("Connected") : tr("Disconnected"),
                          color(connected ? Role::Success : Role::Warning));
}

void CloudPage::showLink(const LinkState &state)
{
    m_link = state;
    m_linkDate = QDateTime::currentMSecsSinceEpoch();
    m_linkAge.start();
    updateLink();
}

void CloudPage::updateLink()
{
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    // The state's dates are those of its own time: the computer's clock may have been set since.
    const qint64 then = m_linkAge.isValid() ? m_linkDate + m_linkAge.elapsed() : now;
    m_linkSummary->setText(linktext::summary(m_link, then));
    m_reconnectButton->setVisible(m_link.kind == LinkState::Waiting || m_link.nextAttempt > 0);
    m_ledger->setText(linktext::ledger(m_link));
    m_validity->setText(linktext::validity(m_link, now),
                        linktext::isValidityWarning(m_link, now)
                            ? color(Role::Warning)
                            : palette().color(QPalette::WindowText));
    for (QLabel *const value : {m_ledger, static_cast<QLabel *>(m_validity)}) {
        value->setVisible(!value->text().isEmpty());
        m_form->labelForField(value)->setVisible(!value->text().isEmpty());
    }
}

void CloudPage::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    updateLink();
    m_clock.start();
}

void CloudPage::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    m_clock.stop();
}

void CloudPage::on_settingsResetGWButton_clicked()
{
    dialogs::ask(this, tr("Gateway Registration"),
                 tr("The gateway registration will be voided. All the devices, gateway included, "
                    "will need to be reregistered. Proceed?"),
                 [this] {
                     m_wizard->clearResults();
                     emit resetRequested();
                     m_serial->setText(tr("Not registered"), color(Role::Warning));
                 });
}
