#include "settings/privatefile.h"

#include <QFileInfo>
#include <QTemporaryFile>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

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
    // A link stays, and its file is replaced.
    const QString target = older.exists() ? older.canonicalFilePath() : path;
    // QTemporaryFile and not QSaveFile: that one gives its file the mode of the file that it
    // replaces, which may let everybody read.
    QTemporaryFile file(target + QLatin1String(".XXXXXX"));
    if (!file.open() || !file.setPermissions(QFile::ReadOwner | QFile::WriteOwner) ||
        file.write(bytes) != bytes.size() || !file.flush()) {
        error = file.errorString();
        return false;
    }
    const bool replaced =
        ::fsync(file.handle()) == 0 && std::rename(QFile::encodeName(file.fileName()).constData(),
                                                   QFile::encodeName(target).constData()) == 0;
    if (!replaced) {
        error = QString::fromLocal8Bit(std::strerror(errno));
    }
    file.setAutoRemove(!replaced);
    return replaced;
}
