#include "things/abstractthingtype.h"
#include "things/qabstractthing.h"

#include <QPluginLoader>
#include <QtTest>

// The contract is checked by kvg-plugin-check; here is what only this type promises.
class TestKettle : public QObject
{
    Q_OBJECT
private slots:
    void theCloudSetsTheTemperature()
    {
        auto *const type = qobject_cast<AbstractThingType *>(QPluginLoader(PLUGIN).instance());
        const std::unique_ptr<QAbstractThing> kettle(type->create("kettle", 1, {}, nullptr));
        QVERIFY(kettle->applyUpdate({{"temperature", 60}}));
        QVERIFY(!kettle->applyUpdate({{"temperature", 101}}));
        QCOMPARE(kettle->state()["temperature"].toInt(), 60);
    }
};
QTEST_GUILESS_MAIN(TestKettle)
#include "tst_kettle.moc"
