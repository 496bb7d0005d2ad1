#include "tests/support/testclock.h"
#include "tests/support/testmain.h"
#include "things/abstractthingtype.h"
#include "things/qabstractthing.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QPluginLoader>
#include <QThread>

#include <memory>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/file.h>
#include <unistd.h>

namespace {

// A board at a pseudo-terminal.
class Board
{
public:
    Board()
    {
        int slave = -1;
        char path[64] = {};
        termios raw = {};
        cfmakeraw(&raw);
        openpty(&m_master, &slave, path, &raw, nullptr);
        close(slave);
        port = QString::fromLatin1(path);
    }
    ~Board() { unplug(); }
    void unplug() { close(std::exchange(m_master, -1)); }
    // Blocks while the port takes no more.
    void print(const QByteArray &text)
    {
        QCOMPARE(write(m_master, text.data(), size_t(text.size())), ssize_t(text.size()));
    }
    QByteArray read()
    {
        char text[1000];
        const int size = is(POLLIN) ? int(::read(m_master, text, sizeof(text))) : 0;
        return QByteArray(text, qMax(0, size));
    }
    bool isOpen() const { return !is(POLLHUP); }

    QString port;

private:
    bool is(short event) const
    {
        pollfd file{m_master, POLLIN, 0};
        return poll(&file, 1, 0) > 0 && (file.revents & event) != 0;
    }

    int m_master = -1;
};

using ThingPointer = std::unique_ptr<QAbstractThing>;

} // namespace

class TestSerial : public QObject
{
    Q_OBJECT

    QObject *const m_plugin =
        QPluginLoader(QStringLiteral(KVG_PLUGIN_DIR "/thing_serial")).instance();
    AbstractThingType *const m_type = qobject_cast<AbstractThingType *>(m_plugin);

    void configure(const QString &ports, const QStringList &listed = {})
    {
        qobject_cast<ConfigurableThingType *>(m_plugin)->configure(
            {{"ports", ports}, {"listed", listed.join(", ")}, {"wait", 5}});
    }
    // Scans, lets each board print its text once its port is open, and creates what is found.
    ThingPointer plugIn(const QVector<Board *> &boards, const QVector<QByteArray> &texts,
                        int timeout = 30000)
    {
        QStringList ports("/dev/null"); // which cannot be opened
        for (const Board *board : boards) {
            ports += board->port;
        }
        configure("Listed ports", ports);
        for (int i = 0; i < boards.size(); ++i) {
            static_cast<void>(QTest::qWaitFor([&] {
                m_type->discover();
                return boards[i]->isOpen(); // what comes before is lost
            }));
            boards[i]->print(texts[i]);
        }
        return find(timeout);
    }
    ThingPointer find(int timeout = 30000)
    {
        static_cast<void>(
            QTest::qWaitFor([this] { return !m_type->discover().isEmpty(); }, timeout));
        const auto found = m_type->discover();
        return ThingPointer(found.isEmpty() ? nullptr
                                            : m_type->create(found.begin().key(),
                                                             found.begin().value(), {}, nullptr));
    }

private slots:
    void cleanup() { configure("Off"); }

    void aBoardBecomesAThing()
    {
        Board board;
        const ThingPointer thing = plugIn(
            {&board}, {"ture\":1}\r\nets Jul 29 2019 rst:0x1\n{\"thing\":{\"serial\":\"a_b/1\","
                       "\"title\":\" Weather\\n\\u0007station \"},\"t\":21.5}\r\n"});
        QVERIFY(thing);
        QCOMPARE(thing->serial(), QString("a-b-1"));
        QCOMPARE(thing->alias(), QString("Weather station"));
        QCOMPARE(thing->state(), (QJsonObject{{"t", 21.5}}));
        QCOMPARE(m_type->discover().size(), 1);
        QVERIFY(m_type->claims(m_type->discover().begin().key(), thing.get()));

        board.print("{\"door\":\"open\",\"t\":");
        board.print("null}\n{\"door\":\n");
        QTRY_COMPARE(thing->state(), (QJsonObject{{"door", "open"}}));

        QVERIFY(!thing->applyUpdate({{"led", true}}));
        QByteArray received;
        QTRY_COMPARE((received += board.read()), QByteArray("{\"led\":true}\n"));

        QSignalSpy gone(thing.get(), &QAbstractThing::mediumGone);
        const QString key = m_type->discover().begin().key();
        board.unplug();
        QTRY_COMPARE(gone.size(), 1);
        QVERIFY(!m_type->claims(key, thing.get()));
    }

    void aSilentPortIsLeftAlone()
    {
        Board board;
        QVERIFY(!plugIn({&board}, {"OK\r\n[1,2]\n"}, 1000));
        QVERIFY(board.isOpen());
        testclock::advance(std::chrono::seconds(6));
        QTRY_VERIFY(!board.isOpen());
        m_type->discover();
        QTest::qWait(100);
        QVERIFY(!board.isOpen());
        QSignalSpy scanWanted(m_plugin, SIGNAL(devicesChanged()));
        configure("Off"); // the user's way to try it again
        QCOMPARE(scanWanted.size(), 0);
        configure("Listed ports", {board.port});
        QCOMPARE(scanWanted.size(), 1); // without it, the next scan may be far
        QVERIFY(plugIn({&board}, {"{\"a\":1}\n"}));
    }

    void linesBeyondTheBoundsAreIgnored()
    {
        Board board;
        const ThingPointer thing = plugIn({&board}, {"{\"a\":1}\n"});
        QCOMPARE(thing->serial(), board.port.section('/', -1));
        QJsonObject many;
        for (int i = 0; i < 100; ++i) {
            many.insert(QString::number(i), i);
        }
        board.print(QJsonDocument(many).toJson(QJsonDocument::Compact) + '\n');
        board.print("{\"b\":[[[[[[1]]]]]]}\n{\"" + QByteArray(101, 'n') + "\":1}\n");
        board.print("{\"c\":\"" + QByteArray(257, 's') + "\"}\n{\"d\":1e999}\n{\"e\":\"\xff\"}\n");
        board.print("{\"f\":\"" + QByteArray(1 << 16, 'x') + "\"}\n{\"z\":1}\n");
        QTRY_COMPARE_WITH_TIMEOUT(thing->state(), (QJsonObject{{"a", 1}, {"z", 1}}), 30000);
    }

    void boardsWithOneSerialAreNeverMixedUp()
    {
        Board first;
        Board second;
        const QByteArray line("{\"thing\":{\"serial\":\"x\"},\"a\":1}\n");
        QVERIFY(!plugIn({&first, &second}, {line, line}, 1000));
        QTRY_VERIFY(m_type->discover().isEmpty() && !first.isOpen() && !second.isOpen());
        configure("Off");
        const ThingPointer thing = plugIn({&first}, {line});
        bool wasOpen = false;
        plugIn({&first, &second}, {"", line});
        QTRY_VERIFY((wasOpen = wasOpen || second.isOpen()) && m_type->discover().size() == 1 &&
                    !second.isOpen());

        // A board that takes another name is another thing, without the first one's values.
        QSignalSpy gone(thing.get(), &QAbstractThing::mediumGone);
        first.print("{\"thing\":{\"serial\":\"y\"},\"b\":1}\n");
        QTRY_COMPARE(gone.size(), 1);
        const ThingPointer other = find();
        QCOMPARE(other->serial(), QString("y"));
        QCOMPARE(thing->serial(), QString("x"));
        QCOMPARE(other->state(), (QJsonObject{{"b", 1}}));
    }

    void aFloodAndABoardThatDoesNotReadBlockNothing()
    {
        Board board;
        const ThingPointer thing = plugIn({&board}, {"{\"i\":-1}\n"});
        for (int i = 0; i < 1000; ++i) {
            thing->applyUpdate({{"text", QString(1000, 'x')}});
        }
        QSignalSpy changed(thing.get(), &QAbstractThing::stateChanged);
        static int warnings = 0;
        const auto former =
            qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &text) {
                warnings += text.contains("slowed down") ? 1 : 0;
            });
        for (int i = 0; i <= 2000; ++i) {
            board.print("{\"i\":" + QByteArray::number(i) + "}\n");
        }
        QTRY_COMPARE_WITH_TIMEOUT(thing->state()["i"].toInt(), 2000, 30000);
        qInstallMessageHandler(former);
        QVERIFY(changed.size() < 500);
        QCOMPARE(warnings, 1);
    }

    void aPortBelongsToOneProgramAndIsFreeAfterwards()
    {
        Board board;
        const int other = open(board.port.toLocal8Bit().constData(), O_RDWR | O_NOCTTY);
        flock(other, LOCK_EX);
        QVERIFY(!plugIn({&board}, {"{\"a\":1}\n"}, 1000));
        close(other);
        ThingPointer thing = plugIn({&board}, {"{\"a\":1}\n"});
        thing.reset(); // as for a type that the user disables
        QVERIFY(!board.isOpen());
        thing = plugIn({&board}, {"{\"a\":1}\n"});
        QSignalSpy gone(thing.get(), &QAbstractThing::mediumGone);
        configure("Off");
        QCOMPARE(gone.size(), 1);
        QVERIFY(!board.isOpen());
    }

    void noPortStaysOpenWhenTheThreadOfTheTypeEnds()
    {
        const QTemporaryDir dir; // another file is another instance
        const QString copy = dir.filePath("thing_serial.so");
        QVERIFY(QFile::copy(KVG_PLUGIN_DIR "/thing_serial.so", copy));
        const Board board;
        QObject worker;
        QThread thread;
        worker.moveToThread(&thread);
        thread.start();
        const auto scan = [&] {
            QObject *const root = QPluginLoader(copy).instance();
            qobject_cast<ConfigurableThingType *>(root)->configure(
                {{"ports", "Listed ports"}, {"listed", board.port}});
            qobject_cast<AbstractThingType *>(root)->discover();
        };
        QMetaObject::invokeMethod(&worker, scan, Qt::BlockingQueuedConnection);
        QTRY_VERIFY(board.isOpen());
        thread.quit();
        thread.wait();
        QVERIFY(!board.isOpen());
    }
};

KVG_TEST_MAIN(TestSerial)
#include "tst_serial.moc"
