#include "settings/storagefaults.h"

StorageFaults &StorageFaults::instance()
{
    static StorageFaults faults;
    return faults;
}

void StorageFaults::note(const QString &path, bool isWritten)
{
    bool wasFaulty = false;
    bool isFaulty = false;
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        wasFaulty = !m_files.isEmpty();
        if (isWritten) {
            m_files.remove(path);
        } else {
            m_files.insert(path);
        }
        isFaulty = !m_files.isEmpty();
    }
    if (isFaulty != wasFaulty) {
        emit changed();
    }
}

QString StorageFaults::file()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_files.isEmpty() ? QString() : *m_files.cbegin();
}
