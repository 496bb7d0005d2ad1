#include "tests/support/testprofile.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QDir>
#include <QFile>

TestProfile::TestProfile()
{
    for (const char *const variable : {"HOME", "XDG_CONFIG_HOME", "XDG_CONFIG_DIRS",
                                       "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_RUNTIME_DIR"}) {
        const QString folder = m_dir.filePath(QString::fromLatin1(variable));
        QDir().mkpath(folder);
        qputenv(variable, QFile::encodeName(folder));
    }
    QFile::setPermissions(m_dir.filePath("XDG_RUNTIME_DIR"),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QCoreApplication::setOrganizationName("Corvalt");
    QCoreApplication::setApplicationName("KVG-Gate");
}
