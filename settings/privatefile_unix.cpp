#include "settings/privatefile.h"

#include <QFileInfo>
#include <QSaveFile>
#include <QTemporaryFile>

namespace {

// To an unbuffered device: QSaveFile commits a file of which its buffer could not be written. A
// full disk takes a part without a word, and tells the cause when asked to take the rest.
bool writeAll(QIODevice &device, const QByteArray &bytes)
{
    qint64 written = 0;
    qint64 more = 0;
    do {
        more = device.write(bytes.constData() + written, bytes.size() - written);
        written += more;
    } while (more > 0 && written < bytes.size());
    return written == bytes.size();
}

} // namespace

bool isRegularFile(const QString &path)
{
    return QFileInfo(path).isFile();
}

bool replacePrivateFile(const QString &path, const QByteArray &bytes, QString &error)
{
    const QFileInfo older(path);
    if (older.exists() && !older.isFile()) {
        error = QStringLiteral("not a regular file"); // a device or a pipe
        return false;
    }
    // QSaveFile makes its file with the permissions of the one that it replaces, else for all to
    // read, and who opened it before a later change of permissions can read it after that. So
    // there always is one to replace.
    QTemporaryFile place(path + QLatin1String(".XXXXXX")); // for the user alone
    if (older.exists()) {
        // A file system without permissions, as on many a stick, is no reason to fail.
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner);
    } else if (!place.open() || !place.rename(path)) {
        error = place.errorString();
        return false;
    }
    place.close();

    QSaveFile file(path);
    const bool written = file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) &&
                         writeAll(file, bytes) && file.commit();
    if (!written) {
        error = file.errorString();
    }
    place.setAutoRemove(!written);
    return written;
}
