#include "app/logfile.h"

#include "app/log.h"

#include <QByteArrayList>
#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QSysInfo>

#include <mutex>

Q_LOGGING_CATEGORY(lcApp, "kvg.app")

namespace {

QtMessageHandler previousHandler = nullptr;
std::mutex writeLock;
QString openPath;            // empty before LogFile::open()
QByteArrayList waitingLines; // for LogFile::open(), or until the file can be written again
constexpr int maxWaitingLines = 100;
constexpr char initials[] = "DWCFI"; // of the levels, indexed by QtMsgType

// Escapes characters that would start a new line or change the order in which text is shown.
QString escaped(const QString &text)
{
    QString result;
    for (const QChar c : text.left(LogFile::maxTextLength)) {
        const QChar::Category category = c.category();
        if (c == '\n') {
            result += "\\n";
        } else if (category == QChar::Other_Control || category == QChar::Other_Format ||
                   category == QChar::Separator_Line || category == QChar::Separator_Paragraph) {
            result += QStringLiteral("\\u%1").arg(c.unicode(), 4, 16, QLatin1Char('0'));
        } else {
            result += c;
        }
    }
    return text.size() > LogFile::maxTextLength ? result + QStringLiteral("…") : result;
}

bool makeFolder()
{
    return QDir().mkpath(LogFile::folder()) &&
           QFile::setPermissions(LogFile::folder(),
                                 QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

// Opens the file for each line: the user may delete it, and Windows cannot rename an open file.
bool write(const QByteArray &line)
{
    QFile file(openPath);
    if (file.size() + line.size() > LogFile::maxFileSize) {
        const QString old = openPath + ".1";
        QFile::remove(old);
        if (!QFile::rename(openPath, old)) {
            file.resize(0); // Windows: another program has it open
        }
    }
    const bool isNew = !file.exists();
    const auto mode = QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered;
    if (!file.open(mode) && !(makeFolder() && file.open(mode))) {
        return false;
    }
    if (isNew) {
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    }
    const qint64 end = file.size();
    const qint64 written = file.write(line);
    if (written > 0 && written < line.size()) {
        file.resize(end); // the disk is full: no part of a line
    }
    return written == line.size();
}

void append(const QByteArray &line)
{
    const std::lock_guard<std::mutex> lock(writeLock);
    while (!openPath.isEmpty() && !waitingLines.isEmpty() && write(waitingLines.constFirst())) {
        waitingLines.removeFirst();
    }
    const bool mustWait = openPath.isEmpty() || !waitingLines.isEmpty() || !write(line);
    if (mustWait && waitingLines.size() < maxWaitingLines) {
        waitingLines.append(line);
    }
}

void handleMessage(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    if (type != QtDebugMsg) {
        const QString line = QStringLiteral("%1 %2 %3 %4\n")
                                 .arg(QDateTime::currentDateTime().toString(
                                          QStringLiteral("yyyy-MM-dd hh:mm:ss.zzz")),
                                      QString(QLatin1Char(initials[type])),
                                      QLatin1String(context.category), escaped(text));
        append(line.toUtf8());
    }
    previousHandler(type, context, text);
}

} // namespace

LogFile::LogFile()
{
    previousHandler = qInstallMessageHandler(handleMessage);
}

void LogFile::open()
{
    QByteArrayList kept;
    makeFolder();
    {
        const std::lock_guard<std::mutex> lock(writeLock);
        openPath = folder() + "/kvg-gate.log";
        kept.swap(waitingLines);
    }
    qCInfo(lcApp).noquote() << QCoreApplication::applicationName()
                            << QCoreApplication::applicationVersion() << "starts with Qt"
                            << qVersion() << "on" << QSysInfo::prettyProductName();
    for (const QByteArray &line : qAsConst(kept)) {
        append(line);
    }
}

LogFile::~LogFile()
{
    qInstallMessageHandler(previousHandler);
    const std::lock_guard<std::mutex> lock(writeLock);
    openPath.clear();
    waitingLines.clear();
}

QString LogFile::folder()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + "/logs";
}
