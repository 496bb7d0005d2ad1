#include "app/logfile.h"
#include "tests/support/files.h"
#include "tests/support/testmain.h"

#include <QDir>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QTemporaryFile>

#include <thread>

class TestLogFile : public QObject
{
    Q_OBJECT

private slots:
    void init() { QDir(LogFile::folder()).removeRecursively(); }

    void aMessageIsOneLineWhateverItHolds()
    {
        LogFile log;
        log.open();
        qWarning().noquote() << "two\nlines\x1b[31m" << QChar(0x202e) << QString(5000, 'x');
        qDebug("unseen");
        QCOMPARE(lines().size(), 2); // the first tells the version
        static const QRegularExpression form(
            "^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} W default "
            "two\\\\nlines\\\\u001b\\[31m \\\\u202e x{1900,2000}…$");
        QVERIFY2(form.match(lines()[1]).hasMatch(), qPrintable(lines()[1]));
    }

    void aRunBeginsWithItsVersionInTheFileOrLeavesTheFileAlone()
    {
        {
            const LogFile neverOpened;
            qWarning("of a second instance");
        }
        QVERIFY(!QFile::exists(path()));
        LogFile log;
        qWarning("before");
        log.open();
        QCOMPARE(lines().size(), 2);
        QVERIFY(lines()[0].contains("starts with") && lines()[1].endsWith("before"));
    }

    void othersCannotReadIt()
    {
        const auto others = QFile::ReadGroup | QFile::ReadOther | QFile::WriteOther;
        QTemporaryFile secret;
        QVERIFY(secret.open());
        if (secret.permissions() & others) {
            QSKIP("Files have no such modes here; what lies in a profile is private");
        }
        LogFile log;
        log.open();
        QVERIFY(!(QFile::permissions(path()) & others));
        QVERIFY(!(QFile::permissions(LogFile::folder()) & others));
    }

    void aFileThatSomebodyReadsStaysBounded()
    {
        const auto loud =
            qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
        const auto restored = qScopeGuard([loud] { qInstallMessageHandler(loud); });
        QVERIFY(QDir().mkpath(LogFile::folder()));
        QVERIFY(writeFile(path(), QByteArray(LogFile::longestFile, '\n')));
        QVERIFY(writeFile(path() + ".1", "older"));
        QFile reader(path());
        QFile olderReader(path() + ".1");
        QVERIFY(reader.open(QIODevice::ReadOnly) && olderReader.open(QIODevice::ReadOnly));
        LogFile log;
        log.open();
        qInfo("seen");
        QVERIFY(QFileInfo(path()).size() < 1000);
        QCOMPARE(lines().filter("seen").size(), 1);
    }

    void twoFilesAreKeptAndBoundedThoughThreadsWriteThem()
    {
        const auto loud =
            qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
        const auto restored = qScopeGuard([loud] { qInstallMessageHandler(loud); });
        LogFile log;
        log.open();
        const QByteArray full(LogFile::longestFile - 10, '\n');
        QVERIFY(writeFile(path() + ".1", "older"));
        QVERIFY(writeFile(path(), full));
        std::array<std::thread, 4> threads;
        for (std::thread &thread : threads) {
            thread = std::thread([] {
                for (int n = 0; n < 100; ++n) {
                    qInfo("%s", QByteArray(500, 'y').constData());
                }
            });
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
        QCOMPARE(lines().filter(QRegularExpression("^.{23} I default y{500}$")).size(), 400);
        QCOMPARE(readFile(path() + ".1"), full);
    }

private:
    static QString path() { return LogFile::folder() + "/kvg-gate.log"; }
    static QStringList lines()
    {
        return QString::fromUtf8(readFile(path())).split('\n', Qt::SkipEmptyParts);
    }
};

KVG_TEST_MAIN(TestLogFile)
#include "tst_logfile.moc"
