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
    // Queued: a box must not open while a destructor, of the window perhaps, writes.
    connect(&StorageFaults::instance(), &StorageFaults::changed, this, &StorageNotice::show,
            Qt::QueuedConnection);
    show(); // what failed since the start
}

void StorageNotice::show()
{
    const QString file = StorageFaults::instance().file(); // signals of two threads may cross
    if (file.isEmpty()) {
        m_retry.stop();
    } else if (!m_retry.isActive()) {
        m_retry.start();
        dialogs::showMessage(
            m_window, QMessageBox::Warning, QCoreApplication::applicationName(),
            tr("The gateway cannot write %1. Free some space on the disk, or check who may write "
               "there. Until then new settings, states that wait for the cloud and the history are "
               "lost when the gateway ends.")
                .arg(dialogs::shortened(file)));
    }
}
