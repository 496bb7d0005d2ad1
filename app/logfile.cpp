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

QtMessageHandler before = nullptr;
std::mutex writing;
const QString *current = nullptr; // path of the file; null until LogFile::open()
QByteArrayList early;             // lines from before that
constexpr int mostEarly = 100;

// A message must not look like several lines, nor reorder what stands beside it.
QString plain(const QString &text)
{
    QString result;
    for (const QChar c : text.left(LogFile::longestText)) {
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
    return text.size() > LogFile::longestText ? result + QStringLiteral("…") : result;
}

char initialOf(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return 'D';
    case QtInfoMsg:
        return 'I';
    case QtWarningMsg:
        return 'W';
    case QtCriticalMsg:
        return 'C';
    case QtFatalMsg:
        break;
    }
    return 'F';
}

// Opened for each line: then a user may remove the file, and Windows lets it be renamed.
void append(const QByteArray &line)
{
    const std::lock_guard<std::mutex> lock(writing);
    if (current == nullptr) {
        if (early.size() < mostEarly) {
            early.append(line);
        }
        return;
    }
    QFile file(*current);
    if (file.size() + line.size() > LogFile::longestFile) {
        const QString older = *current + ".1";
        QFile::remove(older);
        if (!QFile::rename(*current, older)) {
            file.resize(0); // somebody holds it open
        }
    }
    const bool isNew = !file.exists();
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered)) {
        return;
    }
    if (isNew) {
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    }
    file.write(line);
}

void handleMessage(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    if (type != QtDebugMsg) {
        const QString line = QStringLiteral("%1 %2 %3 %4\n")
                                 .arg(QDateTime::currentDateTime().toString(
                                          QStringLiteral("yyyy-MM-dd hh:mm:ss.zzz")),
                                      QString(QLatin1Char(initialOf(type))),
                                      QLatin1String(context.category), plain(text));
        append(line.toUtf8());
    }
    before(type, context, text);
}

} // namespace

LogFile::LogFile()
    : m_path(folder() + "/kvg-gate.log")
{
    before = qInstallMessageHandler(handleMessage);
}

void LogFile::open()
{
    QByteArrayList kept;
    if (QDir().mkpath(folder())) {
        QFile::setPermissions(folder(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        const std::lock_guard<std::mutex> lock(writing);
        current = &m_path;
        kept.swap(early);
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
    qInstallMessageHandler(before);
    const std::lock_guard<std::mutex> lock(writing);
    current = nullptr;
    early.clear();
}

QString LogFile::folder()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + "/logs";
}
