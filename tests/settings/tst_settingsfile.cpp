#include "settings/settingsfile.h"
#include "tests/support/files.h"
#include "tests/support/testmain.h"

#include <QSettings>

class TestSettingsFile : public QObject
{
    Q_OBJECT

private slots:
    // The toolkit builds whatever such a value says, down to the end of the process.
    void valuesThatNobodyCanTrustAreTakenOut()
    {
        QSettings().setValue("a", 1); // the folder
        const QString path = QSettings().fileName();
        const QByteArray huge("@Variant(\\0\\0\\0\\t\\x7f\\xff\\xff\\xff)\n");
        const QByteArray text = "[Cloud]\nSerial=S\n; say \"\nHost=\\\n" + huge +
                                "KeepAlive = \"x, @Variant(\"\n" + "Port=a, \\x40" + huge.mid(1) +
                                "Interval=\"\\100\"Vari" + huge.mid(5) +
                                "[UI]\nDark=@@Variant(\nLanguage=ru";
        QVERIFY(writeFile(path, text));
        secureSettings();
        QCOMPARE(readFile(path + ".unsafe"), text);
        QCOMPARE(readFile(path),
                 QByteArray("[Cloud]\nSerial=S\n; say \"\nKeepAlive = \"x, @Variant(\"\n"
                            "[UI]\nDark=@@Variant(\nLanguage=ru"));
        secureSettings();
        QCOMPARE(readFile(path + ".unsafe"), text);
    }
};

KVG_TEST_MAIN(TestSettingsFile)
#include "tst_settingsfile.moc"
