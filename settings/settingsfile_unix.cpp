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

constexpr qint64 maxFileSize = 64LL * 1024 * 1024; // bytes; ten thousand devices take some MiB

// The lines of `file` that hold no @Variant or @DateTime value.
QByteArray safeLines(const QByteArray &file)
{
    // Matches the start of a value only as QSettings writes it. QSettings also reads an '@' that is
    // escaped, or follows blanks, empty quotes or unknown escapes. The quantifiers are possessive,
    // so that an opening quote never matches as the value's first character.
    static const QRegularExpression safeStart(
        R"(\G[ \t]*+(?:""[ \t]*+)*+"?+(?:(?![@\\])|@(?:@|ByteArray\(|String\(|Invalid\()|\\(?:)"
        R"([abfnrtv"\\]|0(?![0-7])|x(?!0|40(?![[:xdigit:]]))[[:xdigit:]]{1,4}(?![[:xdigit:]]))))");
    const QString text = QString::fromLatin1(file);
    int lineStart = 0;
    // A byte order mark makes QSettings decode values as UTF-8, which drops further marks, also
    // before an '@'.
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

// Afterwards QSettings can read `path`, or there is no such file.
void sanitizeFile(const QString &path)
{
    // A pipe would block QSettings, which also reads a file of any size at once.
    const QFileInfo info(path);
    const bool isSettings = info.isFile() && info.size() <= maxFileSize;
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
    const bool isSanitized =
        (isSettings && replacePrivateFile(aside, original, error) &&
         replacePrivateFile(path, safe, error)) ||
        std::rename(QFile::encodeName(path).constData(), QFile::encodeName(aside).constData()) == 0;
    qCWarning(lcSettings).noquote()
        << path
        << (isSettings ? "had unsafe values or a byte order mark;" : "is not a settings file;")
        << (isSanitized ? "the original is now" : "it cannot be moved to") << aside << error;
}

} // namespace

void sanitizeStore()
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
                           '/' + QCoreApplication::organizationName();
    const QString file = folder + '/' + QCoreApplication::applicationName() + ".conf";
    QDir().mkpath(folder);
    QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    for (const QString &path : {folder + ".conf", file, file + ".lock"}) {
        sanitizeFile(path);
    }
    // A kill can leave an empty lock file, for which the next write of QSettings would wait 30 s.
    // This removes a lock file older than 1 ms that no process holds.
    QLockFile lock(file + ".lock");
    lock.setStaleLockTime(1);
    lock.tryLock(10); // ms
}

bool replaceSettings(const std::function<bool()> &replace)
{
    return replace(); // QSettings replaces its file in one step by itself
}

QVariant storable(const QVariant &value)
{
    return value;
}
