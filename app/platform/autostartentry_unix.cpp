// The autostart folder and the format of its files are those of freedesktop.org.
#include "app/platform/autostartentry.h"

#include "app/log.h"
#include "settings/privatefile.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QStandardPaths>

namespace {

constexpr qint64 maxFileSize = 64LL * 1024; // bytes

QString pathOf(const QString &name)
{
    return QStringLiteral("%1/autostart/%2.desktop")
        .arg(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation), name);
}

// The escapes of a value of type "string". A command in it has escapes of its own.
QString escaped(QString value)
{
    return value.replace('\\', "\\\\")
        .replace('\n', "\\n")
        .replace('\r', "\\r")
        .replace('\t', "\\t");
}

QString unescaped(const QString &value)
{
    QString result;
    for (int i = 0; i < value.size(); ++i) {
        const int next = i + 1;
        const int code = value[i] == '\\' && next < value.size()
                             ? QStringLiteral("\\nrts").indexOf(value[next])
                             : -1;
        result += code < 0 ? value[i] : QStringLiteral("\\\n\r\t ")[code];
        i += code < 0 ? 0 : 1;
    }
    return result;
}

// The keys of the main group and their values, still escaped.
QHash<QString, QString> readEntry(const QString &path)
{
    QHash<QString, QString> entry;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return entry;
    }
    const QStringList lines = QString::fromUtf8(file.read(maxFileSize)).split('\n');
    bool inGroup = false;
    for (const QString &line : lines) {
        const int equals = line.indexOf('=');
        if (line.startsWith('[')) {
            inGroup = line.trimmed() == QLatin1String("[Desktop Entry]");
        } else if (inGroup && equals > 0) {
            entry.insert(line.left(equals).trimmed(), line.mid(equals + 1).trimmed());
        }
    }
    return entry;
}

} // namespace

QString autostartentry::commandFor(const QString &executable)
{
    QString quoted;
    for (const QChar c : executable) {
        if (QStringLiteral("\"`$\\").contains(c)) {
            quoted += '\\';
        }
        quoted += c;
        if (c == '%') {
            quoted += c; // a single % starts a field code
        }
    }
    return '"' + quoted + '"';
}

QString autostartentry::read(const QString &name)
{
    const QHash<QString, QString> entry = readEntry(pathOf(name));
    const bool isDisabled = entry.value("Hidden") == QLatin1String("true") ||
                            entry.value("X-GNOME-Autostart-enabled") == QLatin1String("false");
    return isDisabled ? QString() : unescaped(entry.value("Exec"));
}

void autostartentry::write(const QString &name, const QString &command)
{
    const QString path = pathOf(name);
    const QString text = QStringLiteral("[Desktop Entry]\n"
                                        "Type=Application\n"
                                        "Name=%1\n"
                                        "Exec=%2\n"
                                        "Icon=kvg-gate\n"
                                        "Terminal=false\n"
                                        "X-GNOME-Autostart-enabled=true\n")
                             .arg(escaped(QCoreApplication::applicationName()), escaped(command));
    QDir().mkpath(QFileInfo(path).path());
    if (QFileInfo(path).isSymLink()) {
        QFile::remove(path); // for root the target may be a file of the system
    }
    QString error;
    if (!replacePrivateFile(path, text.toUtf8(), error)) {
        qCWarning(lcApp).noquote() << "Cannot write" << path << "-" << error;
    }
}

void autostartentry::remove(const QString &name)
{
    QFile file(pathOf(name));
    if (file.exists() && !file.remove()) {
        qCWarning(lcApp).noquote()
            << "Cannot remove" << file.fileName() << "-" << file.errorString();
    }
}
