#include "settings/settingsstore.h"
#include "tests/support/files.h"
#include "tests/support/testmain.h"
#include "updates/cvupdater.h"

// The updater with a test library in place of WinSparkle.
class TestWinSparkle : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QCoreApplication::setApplicationVersion("1.2.3");
        qputenv("KVG_SPARKLE_CALLS", QFile::encodeName(m_calls));
    }
    void init() { QFile::remove(m_library); }

    void anIncompleteLibraryIsNotCalled()
    {
        QVERIFY(!makeUpdater("https://host.example/"));
        QVERIFY(QFile::copy(beside("winsparkle_partial.dll"), m_library));
        QVERIFY(!makeUpdater("https://host.example/"));
        QVERIFY(QFile::remove(m_library)); // which needs it unloaded
        QVERIFY(!QFile::exists(m_calls));
    }

    void theLibraryIsConfiguredBeforeItsInit()
    {
        SettingsStore().set(keys::UpdateAutomatically, false);
        QVERIFY(QFile::copy(beside("winsparkle_whole.dll"), m_library));
        const QByteArray key = readFile(":/upd/corvalt_dsa_win_pub.pem");
        // Git would change the file if it converted line ends.
        QCOMPARE(key.size(), 2268);
        for (const auto &[days, seconds] : {std::pair(QVariant(3), "259200"),
                                            {0, "86400"},
                                            {4000000000U, "2147483647"},
                                            {"weekly", "604800"}}) {
            SettingsStore().setVariant(keys::UpdateInterval, days);
            QFile::remove(m_calls);
            {
                const auto updater = makeUpdater("https://host.example/%D0%96.xml");
                QVERIFY(updater);
                QVERIFY(readFile(m_calls).endsWith("\ninit\n"));
                updater->checkNow();
            }
            QCOMPARE(readFile(m_calls), "details Corvalt, KVG-Gate, 1.2.3\n"
                                        "feed https://host.example/%D0%96.xml\n"
                                        "automatic 0\ninterval " +
                                            QByteArray(seconds) + "\nkey " + key +
                                            "\ninit\ncheck\ncleanup\n");
        }
    }

private:
    static QString beside(const QString &name)
    {
        return QCoreApplication::applicationDirPath() + '/' + name;
    }

    QTemporaryDir m_folder;
    const QString m_calls = m_folder.filePath("calls");
    const QString m_library = beside("WinSparkle.dll");
};

KVG_TEST_MAIN(TestWinSparkle)
#include "tst_winsparkle.moc"
