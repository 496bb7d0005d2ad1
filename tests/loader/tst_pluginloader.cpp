#include "loader/pluginloader.h"
#include "tests/support/files.h"
#include "tests/support/testmain.h"

#include <QtEndian>

// Every test puts an application folder together from the built files.
class TestPluginLoader : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(QDir(m_dir->path()).mkpath("app"));
    }

    void theFolderBesideTheProgramWinsOverTheOneAbove()
    {
        copy("plugins/thing_fake", "plugins/thing_fake");
        QCOMPARE(pluginsFound(), 1);
        QVERIFY(QDir(m_dir->path()).mkpath("app/plugins"));
        QCOMPARE(pluginsFound(), 0);
    }

    void filesThatAreNoPluginsAreSkipped()
    {
        copy("plugins/thing_fake", "app/plugins/thing_fake", ".dll"); // everywhere
        copy("plugins/thing_fake", "app/plugins/other_fake");
        copy("loader/thing_foreign", "app/plugins/thing_foreign");
        QVERIFY(QDir(m_dir->path()).mkpath("app/plugins/thing_folder" + suffix));
        PluginLoader loader(m_dir->filePath("app"));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("Skipped.*thing_foreign.*implement"));
        loader.load();
        QCOMPARE(loader.plugins().size(), 1);
        const LoadedPlugin plugin = loader.plugins().first();
        QCOMPARE(plugin.name, QString("fake"));
        QVERIFY(plugin.type != nullptr && plugin.keyed == nullptr);
    }

    void damagedAndForeignLibrariesAreSkipped_data()
    {
        QTest::addColumn<QByteArray>("contents");
        const QByteArray whole = readFile(built("plugins/thing_fake"));
        QVERIFY(whole.size() > 1000);
        // Within what the plugin says about itself.
        const int inside = whole.indexOf("QTMETADATA ") + 40;
        for (const int size : {0, 1, 63, 500, whole.size() / 2, inside}) {
            QTest::addRow("the first %d bytes", size) << whole.left(size);
        }
        const bool isPe = whole.startsWith("MZ");
        QByteArray other = whole;
        other.replace(0, 4, QByteArray::fromHex(isPe ? "7f454c46" : "4d5a9000"));
        QTest::newRow("of another system") << other;
        other = whole;
        if (isPe) { // at 60: where the header is; four bytes into that: the machine
            const int header = qFromLittleEndian<int>(whole.constData() + 60);
            qToLittleEndian<quint16>(0x14c, other.data() + header + 4);
        } else {
            other[4] = 1;
        }
        QTest::newRow("of 32 bits") << other;
        other = whole;
        QTest::newRow("without what it is linked with") << other.replace("thing1", "absent");
    }
    void damagedAndForeignLibrariesAreSkipped()
    {
        QFETCH(QByteArray, contents);
        QVERIFY(QDir(m_dir->path()).mkpath("app/plugins"));
        QVERIFY(writeFile(m_dir->filePath("app/plugins/thing_fake" + suffix), contents));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("Skipped.*thing_fake"));
        QCOMPARE(pluginsFound(), 0);
    }

    void aPluginOfANewerKitIsNotTouched()
    {
        copy("loader/kvgdep-3", "app/kvgdep-3");
        QVERIFY(QDir(m_dir->path()).mkpath("app/plugins"));
        QByteArray plugin = readFile(built("loader/thing_newer"));
        for (const char *const reason : {"kit 2.* kit 1", "not the number"}) {
            QVERIFY(writeFile(m_dir->filePath("app/plugins/thing_newer" + suffix), plugin));
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(reason));
            QCOMPARE(pluginsFound(), 0);
            QCOMPARE(qApp->property("dep/init").toInt(), 0);
            plugin.replace("sdk\x02", "sdk\x20"); // -1 in CBOR
        }
    }

    // Also for a plugin that is turned down; by name, whatever the version; once each.
    void dependenciesAreLoadedOnce()
    {
        copy("loader/kvgdep-3", "app/kvgdep-3");
        copy("loader/thing_foreign", "app/plugins/thing_foreign");
        {
            PluginLoader loader(m_dir->filePath("app"));
            loader.load();
            QCOMPARE(qApp->property("dep/init").toInt(), 1);
            copy("plugins/thing_fake", "app/plugins/thing_fake");
            loader.load();
            QCOMPARE(loader.plugins().size(), 1);
            QCOMPARE(qApp->property("dep/init").toInt(), 1);
        }
        QCOMPARE(qApp->property("dep/deinit").toInt(), 1);
    }

private:
    int pluginsFound() const
    {
        PluginLoader loader(m_dir->filePath("app"));
        loader.load();
        return loader.plugins().size();
    }
    void copy(const QString &from, const QString &to, const QString &toSuffix = suffix)
    {
        const QString target = m_dir->filePath(to + toSuffix);
        QVERIFY(QDir().mkpath(QFileInfo(target).path()));
        QVERIFY2(QFile::copy(built(from), target), qPrintable(from));
    }
    static QString built(const QString &name)
    {
        return qApp->applicationDirPath() + '/' + name + suffix;
    }

    static inline const QString suffix = KVG_MODULE_SUFFIX;
    std::unique_ptr<QTemporaryDir> m_dir;
};

KVG_TEST_MAIN(TestPluginLoader)
#include "tst_pluginloader.moc"
