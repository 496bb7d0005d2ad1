#include "app/logfile.h"
#include "tests/support/files.h"
#include "tests/support/testmain.h"

#include <QDir>
#include <QRegularExpression>
#include <QTemporaryFile>

#include <thread>

class TestLogFile : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // Keeps hundreds of lines out of the test's output.
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    }

    void linesArePrivateAndEscapedAndASecondInstanceWritesNone()
    {
        {
            const LogFile neverOpened;
            qWarning("of a second instance");
        }
        QVERIFY(!QFile::exists(path()));
        LogFile log;
        qWarning().noquote() << "two\nlines\x1b[31m" << QChar(0x202e) << QString(5000, 'x');
        qDebug("unseen");
        log.open();
        QCOMPARE(lines().size(), 2);
        QVERIFY(lines()[0].contains("starts with"));
        static const QRegularExpression form(
            "^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} W default "
            "two\\\\nlines\\\\u001b\\[31m \\\\u202e x{1900,2000}…$");
        QVERIFY2(form.match(lines()[1]).hasMatch(), qPrintable(lines()[1]));
        // Qt creates these with access for the owner only, on systems with file modes.
        QTemporaryFile secret;
        QVERIFY(secret.open());
        QCOMPARE(QFile::permissions(path()), QFile::permissions(secret.fileName()));
        QCOMPARE(QFile::permissions(LogFile::folder()), QFile::permissions(QTemporaryDir().path()));
    }

    void threadsFillTwoFilesOfBoundedSizeWhileOthersReadThem()
    {
        const QByteArray full(LogFile::maxFileSize - 10, '\n');
        for (const bool isRead : {false, true}) {
            LogFile log;
            log.open();
            QVERIFY(writeFile(path() + ".1", "older") && writeFile(path(), full));
            QFile reader(path());
            QFile olderReader(path() + ".1");
            QVERIFY(!isRead || (reader.open(QFile::ReadOnly) && olderReader.open(QFile::ReadOnly)));
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
            QVERIFY(QFileInfo(path()).size() < LogFile::maxFileSize);
            QVERIFY(isRead || readFile(path() + ".1") == full);
        }
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
