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
    const QFileInfo old(path);
    if (old.exists() && !old.isFile()) {
        error = QStringLiteral("not a regular file");
        return false;
    }
    const QString target = old.exists() ? old.canonicalFilePath() : path; // the file of a link
    // Not QSaveFile: it copies the old file's mode, which may let every user read.
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
