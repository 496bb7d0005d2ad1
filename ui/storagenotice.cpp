#include "ui/storagenotice.h"

#include "settings/settingsstore.h"
#include "settings/storagefaults.h"
#include "ui/dialogs.h"

#include <QCoreApplication>

#include <chrono>

using namespace std::chrono_literals;

StorageNotice::StorageNotice(QWidget *window)
    : QObject(window)
    , m_window(window)
{
    m_retry.setInterval(10s);
    connect(&m_retry, &QTimer::timeout, this, [] { static_cast<void>(SettingsStore().flush()); });
    connect(&StorageFaults::instance(), &StorageFaults::changed, this, &StorageNotice::show);
    show(!StorageFaults::instance().file().isEmpty()); // since the start
}

void StorageNotice::show(bool isFaulty)
{
    if (!isFaulty) {
        m_retry.stop();
        return;
    }
    m_retry.start();
    dialogs::showMessage(
        m_window, QMessageBox::Warning, QCoreApplication::applicationName(),
        tr("The gateway cannot write %1. Free some space on the disk, or check who may write "
           "there. Until then new settings, states that wait for the cloud and the history are "
           "lost when the gateway ends.")
            .arg(dialogs::shortened(StorageFaults::instance().file())));
}
