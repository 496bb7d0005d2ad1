#include "tests/support/fakething.h"
#include "tests/support/testmain.h"
#include "things/thingindex.h"
#include "things/thingstate.h"

#include <QSequentialIterable>

class TestThings : public QObject
{
    Q_OBJECT

private slots:
    void anAliasIsAnnouncedOnlyWhenItDiffers()
    {
        FakeThing thing("1");
        QSignalSpy changes(&thing, &QAbstractThing::nameChanged);
        thing.rename("a");
        thing.setAlias("a");
        thing.rename("");
        QCOMPARE(thing.alias(), QString("a"));
        thing.setAlias("");
        QCOMPARE(changes.size(), 2);
        QCOMPARE(changes.at(1).at(0).toString(), QString());
    }

    void aForeignIdLeavesTheRegistrationAsItIs()
    {
        FakeThing thing("1");
        thing.setRegid("old");
        for (const char *const id : {"fake_1_12_new", "fake_1_1", "other_1_1_new", ""}) {
            thing.setRegidFromCid(id);
            QCOMPARE(thing.cloudid(), QString("fake_1_1_old"));
        }
        thing.setRegidFromCid("fake_1_1_new_er");
        QCOMPARE(thing.regid(), QString("new_er"));
        thing.setRegid("");
        QCOMPARE(thing.cloudid(), thing.shortid());
    }

    void aRecordHoldsTheStateOnlyIfAsked()
    {
        FakeThing thing("1");
        thing.setAlias("a");
        thing.setRegid("r");
        const ThingState bare(&thing, false);
        QVERIFY(bare.state.isEmpty());
        const ThingState full(&thing, true);
        QCOMPARE(full.state, thing.current);
        const QVariant list = QVariant::fromValue(ThingStateList{bare, full});
        QCOMPARE(list.value<QSequentialIterable>().size(), 2);
        QVERIFY(full.alias == "a" && full.shortid == "fake_1_1" && full.regid == "r" && !full.gone);
    }

    void theBestMatchOfSeveralOwnersIsFound_data()
    {
        QTest::addColumn<QString>("id");
        QTest::addColumn<int>("expected"); // serial's place in the list
        QTest::newRow("equal") << "fake_1_ABC" << 1;
        QTest::newRow("with a registration id") << "fake_1_ABC_7" << 1;
        QTest::newRow("serial with a separator") << "fake_1_ABC_D" << 3;
        QTest::newRow("separator before length") << "fake_1_AB_CD" << 0;
        QTest::newRow("longest bare prefix") << "fake_1_ABCX" << 1;
        QTest::newRow("longer equal") << "fake_1_ABCD" << 2;
        QTest::newRow("none") << "fake_1_Z" << -1;
        QTest::newRow("empty") << "" << -1;
    }
    void theBestMatchOfSeveralOwnersIsFound()
    {
        QObject owner;
        QList<QAbstractThing *> things;
        for (const char *const serial : {"AB", "ABC", "ABCD", "ABC_D"}) {
            things.append(new FakeThing(serial, &owner));
        }
        QFETCH(QString, id);
        QTEST(things.indexOf(ThingIndex(things).find(id)), "expected");
        QVERIFY(things.at(0)->ownsCloudid("fake_1_ABCD")); // the bare test owns far more
    }

    void aThingWithARuleOfItsOwnIsFound()
    {
        class Greedy : public FakeThing
        {
        public:
            using FakeThing::FakeThing;
            bool ownsCloudid(const QString &id) const override { return id == "mine"; }
        };
        Greedy greedy("1");
        QCOMPARE(ThingIndex({&greedy}).find("mine"), &greedy);
        QVERIFY(ThingIndex({&greedy}).find("fake_1_1") == nullptr);
    }
};

KVG_TEST_MAIN(TestThings)
#include "tst_things.moc"
