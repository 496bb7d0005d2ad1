#include "ui/cloudpage.h"

#include "settings/settingsstore.h"
#include "ui/dialogs.h"
#include "ui/pagestyle.h"
#include "ui/registrationwizard.h"
#include "ui/widgets/qmaterialicon.h"
#include "ui/widgets/qstatuslabel.h"

#include <QFormLayout>
#include <QGroupBox>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

using Role = QMaterialIcon::Color;

QColor color(Role role)
{
    return QMaterialIcon::instance().color(role);
}

// `state`: CredentialStore::SSLStatus.
void showCredential(QStatusLabel *label, int state)
{
    switch (state) {
    case 0:
        label->setText(CloudPage::tr("Ok"), color(Role::Success));
        break;
    case 1:
        label->setText(CloudPage::tr("Missing"), color(Role::Error));
        break;
    case 2:
        label->setText(CloudPage::tr("Corrupt"), color(Role::Warning));
        break;
    case 3:
        label->setText(CloudPage::tr("Cryptographic error"), QColor("#DA30AD"));
        break;
    default:
        break;
    }
}

} // namespace

CloudPage::CloudPage(QWidget *parent)
    : QWidget(parent)
    , m_wizard(nullptr)
    , m_gateway(new QStatusLabel(this))
    , m_connection(new QStatusLabel(this))
    , m_serial(new QStatusLabel(this))
    , m_cert(new QStatusLabel(this))
    , m_key(new QStatusLabel(this))
{
    auto *const status = new QGroupBox(tr("Status"), this);
    auto *const form = new QFormLayout(status);
    form->setLabelAlignment(Qt::AlignRight);
    const auto addRow = [form](const QString &label, QStatusLabel *value, const char *name) {
        value->setObjectName(QLatin1String(name));
        value->setTextInteractionFlags(Qt::TextSelectableByMouse);
        form->addRow(label, value);
    };
    addRow(tr("Gateway:"), m_gateway, "gatewayStatus");
    addRow(tr("Connection:"), m_connection, "connectionStatus");
    addRow(tr("Serial Number:"), m_serial, "gatewaySerial");
    addRow(tr("Certificate:"), m_cert, "certStatus");
    addRow(tr("Key:"), m_key, "keyStatus");
    QPushButton *const resetButton =
        pagestyle::button(tr("&Reset Registration"), "settingsResetGWButton", status);
    auto *const resetRow = new QHBoxLayout;
    resetRow->addStretch();
    resetRow->addWidget(resetButton);
    form->addRow(resetRow);

    m_wizard = new RegistrationWizard(this); // after the button: tab order is creation order
    auto *const registration = new QGroupBox(tr("Registration"), this);
    auto *const inner = new QVBoxLayout(registration);
    inner->addWidget(m_wizard);
    auto *const layout = new QVBoxLayout(this);
    layout->addWidget(status);
    layout->addWidget(registration, 1);

    m_gateway->setText(tr("Not registered"), color(Role::Warning));
    showConnectivity(false);
    m_cert->setText(tr("Missing"), color(Role::Error));
    m_key->setText(tr("Missing"), color(Role::Error));
    refresh();
    QMetaObject::connectSlotsByName(this);
}

void CloudPage::refresh()
{
    const QString serial = SettingsStore().value(keys::CloudSerial);
    m_serial->setText(serial.isEmpty() ? tr("Not registered") : serial,
                      palette().color(QPalette::WindowText));
    m_wizard->refresh();
}

void CloudPage::showStatus(const QJsonObject &status)
{
    if (status[QLatin1String("gw")].toBool()) {
        m_gateway->setText(tr("Ready"), color(Role::Success));
    } else {
        m_gateway->setText(tr("Not registered"), color(Role::Warning));
    }
    showCredential(m_key, status[QLatin1String("key")].toInt(-1));
    showCredential(m_cert, status[QLatin1String("cert")].toInt(-1));
}

void CloudPage::showConnectivity(bool connected)
{
    if (connected) {
        m_connection->setText(tr("Connected"), color(Role::Success));
    } else {
        m_connection->setText(tr("Disconnected"), color(Role::Warning));
    }
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
