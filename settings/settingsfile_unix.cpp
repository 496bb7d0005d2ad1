#include "settings/settingsfile.h"

#include "settings/log.h"
#include "settings/privatefile.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLockFile>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QVariant>

#include <cstdio>

namespace {

// The lines in which no value can be in the forms @Variant or @DateTime.
QByteArray safeLines(const QByteArray &file)
{
    // The start of a value, with '@' and escapes as QSettings writes them. It also reads '@' from
    // escapes, and skips blanks, empty quotes and unknown escapes before it. Possessive, so that an
    // opening quote is never taken for the value's first character.
    static const QRegularExpression safeStart(
        R"(\G[ \t]*+(?:""[ \t]*+)*+"?+(?:(?![@\\])|@(?:@|ByteArray\(|String\(|Invalid\()|\\(?:)"
        R"([abfnrtv"\\]|0(?![0-7])|x(?!0|40(?![[:xdigit:]]))[[:xdigit:]]{1,4}(?![[:xdigit:]]))))");
    const QString text = QString::fromLatin1(file);
    int lineStart = 0;
    // After a byte order mark, QSettings decodes values as UTF-8, which drops marks before an '@'.
    while (file.mid(lineStart, 3) == "\xef\xbb\xbf") {
        lineStart += 3;
    }
    QByteArray safe;
    bool isSafe = true;
    bool isQuoted = false;
    bool isComment = false;
    for (int i = lineStart; i < file.size(); ++i) {
        const char c = file.at(i);
        if (!isQuoted && (c == '\n' || c == '\r')) {
            safe += isSafe ? file.mid(lineStart, i + 1 - lineStart) : QByteArray();
            lineStart = i + 1;
            isSafe = true;
            isComment = false;
        } else if (isComment) {
            continue;
        } else if (c == '\\') {
            const QByteArray next = file.mid(i + 1, 2);
            i += next == "\r\n" || next == "\n\r" ? 2 : 1;
        } else if (c == '"') {
            isQuoted = !isQuoted;
        } else if (!isQuoted && (c == '=' || c == ',')) {
            isSafe = isSafe && safeStart
                                   .match(text, i + 1, QRegularExpression::NormalMatch,
                                          QRegularExpression::DontCheckSubjectStringMatchOption)
                                   .hasMatch();
        } else if (!isQuoted) {
            isComment = c == ';';
        }
    }
    return isSafe ? safe + file.mid(lineStart) : safe;
}

// Leaves a file at `path` that QSettings can read, or none.
void secureFile(const QString &path)
{
    // A pipe would block QSettings. It reads a file as a whole; ten thousand devices take some MiB.
    const QFileInfo info(path);
    const bool isSettings = info.isFile() && info.size() <= (64 << 20);
    QFile file(path);
    const QByteArray original =
        isSettings && file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    const QByteArray safe = safeLines(original);
    if (!info.exists() || (isSettings && safe == original)) {
        return;
    }
    const QString aside = path + ".unsafe";
    QFile::remove(aside); // perhaps a pipe of an earlier start
    QString error;
    const bool isSecured =
        (isSettings && replacePrivateFile(aside, original, error) &&
         replacePrivateFile(path, safe, error)) ||
        std::rename(QFile::encodeName(path).constData(), QFile::encodeName(aside).constData()) == 0;
    qCWarning(lcSettings).noquote()
        << path
        << (isSettings ? "held unsafe values or a byte order mark;" : "is no settings file;")
        << (isSecured ? "the original is now" : "it cannot be moved to") << aside << error;
}

} // namespace

void secureStore()
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
                           '/' + QCoreApplication::organizationName();
    const QString file = folder + '/' + QCoreApplication::applicationName() + ".conf";
    QDir().mkpath(folder);
    QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    for (const QString &path : {folder + ".conf", file, file + ".lock"}) {
        secureFile(path);
    }
    // A kill can leave the lock of QSettings behind empty, on which its next write waits for 30 s.
    // This takes over, and then removes, a lock older than 1 ms that no process holds.
    QLockFile lock(file + ".lock");
    lock.setStaleLockTime(1);
    lock.tryLock(10); // ms
}

bool replaceSettings(const std::function<bool()> &replace)
{
    return replace(); // QSettings replaces its file in one step
}

QVariant storable(const QVariant &value)
{
    return value;
}
