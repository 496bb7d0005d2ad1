#include "tests/support/testprofile.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QDir>
#include <QFile>

TestProfile::TestProfile()
{
    const struct
    {
        const char *variable;
        const char *folder;
    } places[] = {{"HOME", "home"},
                  {"XDG_CONFIG_HOME", "config"},
                  {"XDG_CONFIG_DIRS", "system-config"},
                  {"XDG_DATA_HOME", "data"},
                  {"XDG_CACHE_HOME", "cache"},
                  {"XDG_RUNTIME_DIR", "run"}};
    for (const auto &place : places) {
        const QString folder = m_dir.filePath(QString::fromLatin1(place.folder));
        QDir().mkpath(folder);
        qputenv(place.variable, QFile::encodeName(folder));
    }
    QFile::setPermissions(m_dir.filePath("run"),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QCoreApplication::setOrganizationName("Corvalt");
    QCoreApplication::setApplicationName("KVG-Gate");
}
