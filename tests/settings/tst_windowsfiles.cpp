#include "settings/privatefile.h"
#include "tests/support/fileaccess.h"
#include "tests/support/files.h"
#include "tests/support/testmain.h"

#include <QThread>
#include <qt_windows.h>

#include <future>

class TestWindowsFiles : public QObject
{
    Q_OBJECT

private slots:
    void aPathMayBeLongerThan260Characters()
    {
        openToEverybody(m_dir.path());
        const QString folder =
            m_dir.filePath(QString::fromUtf8("лампалампалампалампалампа/").repeated(20));
        QVERIFY(QDir().mkpath(folder));
        const QString path = folder + "a.bak";
        QString error;
        for (const QByteArray &bytes : {QByteArray("one"), QByteArray()}) {
            QVERIFY2(replacePrivateFile(path, bytes, error), qPrintable(error));
            QVERIFY(isRegularFile(path));
            QVERIFY(isPrivate("\\\\?\\" + QDir::toNativeSeparators(path)));
            QCOMPARE(readFile(path), bytes);
        }
        QCOMPARE(QDir(folder).entryList(QDir::Files), QStringList{"a.bak"});
    }

    void devicesPipesAndFoldersAreRejected()
    {
        HANDLE pipe = CreateNamedPipeW(L"\\\\.\\pipe\\kvg-test", PIPE_ACCESS_DUPLEX, 0, 1, 100, 100,
                                       0, nullptr);
        QVERIFY(pipe != INVALID_HANDLE_VALUE);
        QVERIFY(writeFile(m_dir.filePath("host"), "whole"));
        for (const QString &path :
             {QString("NUL"), QString("con"), m_dir.filePath("COM1"), m_dir.filePath("Lpt9.bak"),
              m_dir.path(), m_dir.filePath("host:stream"), QString("\\\\.\\pipe\\kvg-test"),
              QString("\\\\?\\pipe\\kvg-test"), QString("//./C:"), QString(),
              m_dir.filePath(QString("a") + QChar(0) + "b")}) {
            QString error;
            QVERIFY2(!replacePrivateFile(path, "x", error), qPrintable(path));
            QVERIFY2(!isRegularFile(path), qPrintable(path));
        }
        CloseHandle(pipe);
        QCOMPARE(readFile(m_dir.filePath("host")), QByteArray("whole"));
        QCOMPARE(QDir(m_dir.path()).entryList(QDir::Files), QStringList{"host"});
    }

    // As a virus scanner does.
    void aFileThatAnotherProgramReadsIsReplacedSoon()
    {
        const QString path = m_dir.filePath("read");
        QVERIFY(writeFile(path, "old"));
        QFile reader(path);
        QVERIFY(reader.open(QIODevice::ReadOnly));
        QString error;
        QVERIFY(!replacePrivateFile(path, "new", error));
        QCOMPARE(reader.readAll(), QByteArray("old"));
        auto closing = std::async(std::launch::async, [&reader] {
            QThread::msleep(30);
            reader.close();
        });
        QVERIFY2(replacePrivateFile(path, "new", error), qPrintable(error));
        QCOMPARE(readFile(path), QByteArray("new"));
    }

    void theTargetOfALinkIsReplaced()
    {
        const QString link = m_dir.filePath("link");
        CreateSymbolicLinkW(QDir::toNativeSeparators(link).toStdWString().c_str(), L"host", 0);
        if (!QFileInfo(link).isSymLink()) {
            QSKIP("This user cannot create symbolic links");
        }
        QString error;
        QVERIFY2(replacePrivateFile(link, "new", error), qPrintable(error));
        QCOMPARE(readFile(m_dir.filePath("host")), QByteArray("new"));
        QVERIFY(QFileInfo(link).isSymLink());
    }

private:
    QTemporaryDir m_dir;
};

KVG_TEST_MAIN(TestWindowsFiles)
#include "tst_windowsfiles.moc"
