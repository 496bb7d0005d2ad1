#include "tests/support/fakething.h"
#include "tests/support/testmain.h"
#include "things/thingindex.h"

class TestThings : public QObject
{
    Q_OBJECT

private slots:
    void foreignIdsDoNotChangeTheRegistration()
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
        QVERIFY(!thing.QAbstractThing::applyUpdate({})); // a type that takes no updates
    }

    void theBestMatchOfSeveralOwnersIsFound()
    {
        QObject owner;
        QList<QAbstractThing *> things;
        for (const char *const serial : {"AB", "ABC", "ABCD", "ABC_D"}) {
            things.append(new FakeThing(serial, &owner));
        }
        for (const auto &[id, expected] : {std::pair("fake_1_ABC", 1),
                                           {"fake_1_ABC_7", 1},
                                           {"fake_1_ABC_D", 3}, // a serial with a separator
                                           {"fake_1_AB_CD", 0}, // the separator before the length
                                           {"fake_1_ABCX", 1},  // the longest prefix
                                           {"", -1}}) {
            QVERIFY2(things.indexOf(ThingIndex(things).find(id)) == expected, id);
        }
        QVERIFY(things.at(0)->ownsCloudid("fake_1_ABCD")); // a prefix test only
    }
};

KVG_TEST_MAIN(TestThings)
#include "tst_things.moc"
