#include "ui/devicesettingspage.h"

#include "ui/deviceforms.h"
#include "ui/dialogs.h"
#include "ui/pagestyle.h"
#include "ui/unsavedchanges.h"

#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>

DeviceSettingsPage::DeviceSettingsPage(QWidget *parent)
    : QWidget(parent)
    , m_changes(new UnsavedChanges(this))
    , m_area(new QScrollArea(this))
    , m_hint(pagestyle::hint(tr("No device type has settings."), this))
    , m_readButton(pagestyle::button(tr("&Read"), "deviceConfigsReadButton", this))
    , m_writeButton(pagestyle::button(tr("&Write"), "deviceConfigsWriteButton", this))
{
    m_area->setWidgetResizable(true);
    m_area->setFrameShape(QFrame::NoFrame);

    m_readButton->setToolTip(tr("Show the stored settings again"));
    m_writeButton->setToolTip(tr("Store the settings and apply them to the devices"));
    auto *const layout = new QVBoxLayout(this);
    layout->addWidget(m_area, 1);
    layout->addWidget(m_hint, 1);
    layout->addLayout(pagestyle::row({m_readButton, m_writeButton}, Qt::AlignRight));
    using Page = DeviceSettingsPage;
    connect(m_changes, &UnsavedChanges::existChanged, m_readButton, &QWidget::setEnabled);
    connect(m_changes, &UnsavedChanges::existChanged, m_writeButton, &QWidget::setEnabled);
    connect(m_changes, &UnsavedChanges::saveRequested, this,
            &Page::on_deviceConfigsWriteButton_clicked);
    connect(m_changes, &UnsavedChanges::discardRequested, this,
            &Page::on_deviceConfigsReadButton_clicked);
    QMetaObject::connectSlotsByName(this);
    showPlugins({});
}

void DeviceSettingsPage::showPlugins(const QJsonObject &plugins)
{
    m_plugins = plugins;
    on_deviceConfigsReadButton_clicked();
}

void DeviceSettingsPage::on_deviceConfigsReadButton_clicked()
{
    const int position = m_area->verticalScrollBar()->value();
    auto *const forms = new QWidget(m_area);
    deviceforms::build(*forms, m_plugins);
    m_changes->watch(deviceforms::editors(*forms));
    m_area->setWidget(forms); // deletes the former ones
    m_area->verticalScrollBar()->setValue(position);
    const bool any = forms->findChild<QWidget *>() != nullptr;
    m_area->setVisible(any);
    m_hint->setVisible(!any);
}

void DeviceSettingsPage::on_deviceConfigsWriteButton_clicked()
{
    const bool saved = deviceforms::write(*m_area->widget());
    emit stored();
    if (saved) {
        m_changes->markStored();
        emit notice(tr("Device settings saved"), 2000);
    } else {
        dialogs::showSaveFailed(this);
    }
}
