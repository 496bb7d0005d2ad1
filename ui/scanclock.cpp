#include "ui/scanclock.h"

#include "settings/settingsstore.h"

#include <algorithm>
#include <chrono>
#include <utility>

using namespace std::chrono_literals;

namespace {

// The minimum keeps 0 minutes from becoming a busy loop.
std::chrono::milliseconds scanPeriod(const SettingsStore &store)
{
    const std::chrono::minutes stored(store.value(keys::ScanInterval));
    return std::clamp<std::chrono::milliseconds>(stored, 30s, ScanClock::maxPeriod);
}

} // namespace

ScanClock::ScanClock(QObject *parent)
    : QObject(parent)
{
    connect(&m_regular, &QTimer::timeout, this, &ScanClock::scan);
    m_deferred.setSingleShot(true);
    m_deferred.setInterval(20s);
    connect(&m_deferred, &QTimer::timeout, this, [this] {
        m_scanAgain = m_scanning;
        scan();
    });
}

void ScanClock::arm()
{
    stop();
    const SettingsStore store;
    if (store.value(keys::AutoScan)) {
        m_regular.start(scanPeriod(store));
    }
}

void ScanClock::stop()
{
    m_regular.stop();
}

void ScanClock::scanLater()
{
    m_deferred.start();
}

void ScanClock::scan()
{
    if (!m_scanning) {
        m_deferred.stop();
        m_scanning = true;
        emit scanningChanged(true);
        emit scanRequested();
    }
}

void ScanClock::scanFinished()
{
    m_scanning = false;
    emit scanningChanged(false);
    if (std::exchange(m_scanAgain, false)) {
        scanLater();
    }
}
