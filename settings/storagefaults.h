#pragma once

#include <QObject>
#include <QSet>

#include <mutex>

// The files that could not be written when that was tried last: a full disk, say, or no permission.
// One object; its functions may be called, and its signal comes, from any thread.
class StorageFaults : public QObject
{
    Q_OBJECT

public:
    static StorageFaults &instance();

    // How the last attempt to write the file has ended.
    void note(const QString &path, bool isWritten);
    // One of the files that cannot be written; empty when there is none.
    QString file();

signals:
    // The first file could not be written, or the last one could be written again.
    void changed();

private:
    using QObject::QObject;

    std::mutex m_lock;
    QSet<QString> m_files;
};
