#include "registration/qssemanager.h"
#include "tests/support/testmain.h"

#include <QTcpServer>
#include <QTcpSocket>

#include <functional>

namespace {

const QByteArray streamHead = "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\n"
                              "Connection: close\r\n\r\n";

// An HTTP server of which the test writes every answer itself. An answer ends with its connection.
class Server : public QTcpServer
{
public:
    Server()
    {
        listen(QHostAddress::LocalHost);
        connect(this, &QTcpServer::newConnection, this, [this] {
            QTcpSocket *socket = nextPendingConnection();
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] {
                m_head += socket->readAll();
                if (m_head.endsWith("\r\n\r\n")) {
                    requests << std::exchange(m_head, QByteArray()).split('\r').constFirst();
                    sockets << socket;
                }
            });
        });
    }
    QString url(const char *host = "127.0.0.1") const
    {
        return QStringLiteral("http://%1:%2/register").arg(QLatin1String(host)).arg(serverPort());
    }

    QList<QByteArray> requests; // their first lines
    QList<QTcpSocket *> sockets;

private:
    QByteArray m_head;
};

// The client under test, on a stream of a server, and all that it says, in order.
struct Session
{
    explicit Session(const EventStreamParser::Limits &limits = {})
    {
        client->setLimits(limits);
        QSSEManager *c = client.get();
        const auto say = [this](const char *word) { return [this, word] { said << word; }; };
        QObject::connect(c, &QSSEManager::closed, c, say("closed"));
        QObject::connect(c, &QSSEManager::disconnected, c, say("disconnected"));
        QObject::connect(c, &QSSEManager::finished, c, say("finished"));
        QObject::connect(c, &QSSEManager::dataReady, c,
                         [this](const QString &event, const QString &data, const QString &id) {
                             said << event + '|' + data + '|' + id;
                             if (onEvent) {
                                 onEvent(data);
                             }
                         });
    }
    bool open()
    {
        const int before = server.sockets.size();
        return client->open(server.url(), {}) &&
               QTest::qWaitFor([&] { return server.sockets.size() > before; }) &&
               server.sockets.last()->write(streamHead) > 0;
    }
    // Sends a piece and waits until the client has seen it, so that it is a piece there too.
    bool send(const QByteArray &piece)
    {
        QSignalSpy read(client->findChildren<QNetworkReply *>().last(), &QIODevice::readyRead);
        server.sockets.last()->write(piece);
        server.sockets.last()->flush();
        return read.count() > 0 || read.wait();
    }

    Server server;
    std::unique_ptr<QSSEManager> client = std::make_unique<QSSEManager>();
    QStringList said;
    std::function<void(const QString &)> onEvent;
};

} // namespace

class TestQSSEManager : public QObject
{
    Q_OBJECT

private slots:
    void piecesBecomeEvents_data()
    {
        QTest::addColumn<QList<QByteArray>>("pieces");
        QTest::addColumn<QStringList>("events");
        using Pieces = QList<QByteArray>;
        QTest::newRow("plain") << Pieces{"event: code\r\ndata: x\r\n\r\n"}
                               << QStringList{"code|x|"};
        QTest::newRow("two line feeds do not end an event")
            << Pieces{"event: a\ndata: x\n\nevent: b\ndata: y\n\n", "\r\n"}
            << QStringList{"b|x\ny|"};
        QTest::newRow("three line feeds do") << Pieces{"data: x\n\n\n"} << QStringList{"|x|"};
        QTest::newRow("carriage returns alone") << Pieces{"data: x\r\r"} << QStringList{"|x|"};
        QTest::newRow("line end split over pieces ends the event")
            << Pieces{"data: x\r", "\ndata: y\r\n\r\n"} << QStringList{"|x|", "|y|"};
        QTest::newRow("line split over pieces")
            << Pieces{"da", "ta:", " x", "y", "\r\n\r\n"} << QStringList{"|xy|"};
        QTest::newRow("white space, blank lines of blanks")
            << Pieces{" data :  x y \t\r\n \t \r\n"} << QStringList{"|x y|"};
        QTest::newRow("comments, unknown fields, names in capitals")
            << Pieces{":data: c\r\n: \r\nData: d\r\nfoo: e\r\n:\r\ndata: x:y\r\n\r\n"}
            << QStringList{"|x:y|"};
        QTest::newRow("id stays, an empty one is ignored; type goes")
            << Pieces{"event: a\r\nid: 7\r\ndata: x\r\n\r\nid:\r\nid\r\ndata\r\n\r\n"}
            << QStringList{"a|x|7", "||7"};
        QTest::newRow("an event without data")
            << Pieces{"event: a\r\n\r\ndata: x\r\n\r\n"} << QStringList{"|x|"};
        QTest::newRow("characters split over pieces")
            << Pieces{"data: \xc3", "\xa4 \xf0\x9f", "\x98", "\x80\r\n\r\n"}
            << QStringList{QString::fromUtf8("|ä 😀|")};
        QTest::newRow("a piece ends at NUL, and bytes that are no UTF-8")
            << Pieces{QByteArray("data: a\0b\r\n\r\n", 12), "c\xff\r\n\r\n"}
            << QStringList{QString::fromUtf8("|ac\xef\xbf\xbd|")};
    }

    void piecesBecomeEvents()
    {
        QFETCH(QList<QByteArray>, pieces);
        QFETCH(QStringList, events);
        Session session;
        QVERIFY(session.open());
        for (const QByteArray &piece : qAsConst(pieces)) {
            QVERIFY(session.send(piece));
        }
        QCOMPARE(session.said, events);
    }

    void retryIsRememberedUntilTheNextRequest()
    {
        Session session;
        QVERIFY(session.open());
        QCOMPARE(session.client->retry(), 3000);
        QVERIFY(session.send("retry: 5000\r\nretry: soon\r\nretry: 99999999999\r\n"));
        QCOMPARE(session.client->retry(), 5000);
        session.client->close();
        QVERIFY(session.open());
        QCOMPARE(session.client->retry(), 3000);
    }

    void anEndIsAnnouncedOnceAndAllowsAnother_data()
    {
        QTest::addColumn<bool>("failure");
        QTest::newRow("server closes") << false;
        QTest::newRow("connection breaks") << true;
    }

    void anEndIsAnnouncedOnceAndAllowsAnother()
    {
        QFETCH(bool, failure);
        Session session;
        QVERIFY(!session.client->isOpen());
        QVERIFY(session.open());
        QVERIFY(session.client->isOpen());
        QVERIFY(!session.client->open(session.server.url(), {}));
        QVERIFY(session.send("id: 1\r\ndata: a\r\n\r\ndata: never completed\r\nevent: e\r\nda"));
        if (failure) {
            session.server.sockets.last()->abort();
        } else {
            session.server.sockets.last()->close();
        }
        QTRY_COMPARE(session.said, (QStringList{"|a|1", "finished"}));
        QVERIFY(!session.client->isOpen());
        QVERIFY(session.open());
        QVERIFY(session.send("data: b\r\n\r\n"));
        session.client->close();
        session.client->close();
        session.server.close();
        QVERIFY(session.client->open(session.server.url("localhost"), {}));
        QTRY_COMPARE(session.said, (QStringList{"|a|1", "finished", "|b|", "disconnected", "closed",
                                                "finished"}));
        session.client->close(); // nothing is open any more, but a reply is there to release
        QCOMPARE(session.said.last(), QString("closed"));
        QCOMPARE(session.server.requests.size(), 2);
    }

    void finishingByHandDeliversTheRest()
    {
        Session session;
        session.onEvent = [&](const QString &data) {
            if (data == QLatin1String("2")) {
                session.client->sse_finished();
            }
        };
        QVERIFY(session.open());
        QVERIFY(session.send("data: 1\r\n\r\ndata: 2\r\n\r\ndata: 3\r\n\r\n"));
        const QStringList all = {"|1|", "|2|", "finished", "closed"};
        QCOMPARE(session.said, all);
        session.client->sse_finished();
        QCOMPARE(session.said, all);
    }

    void aHandlerMayDoAnything_data()
    {
        QTest::addColumn<QString>("what");
        QTest::addColumn<QStringList>("said");
        QTest::newRow("close") << "close" << QStringList{"|1|", "disconnected", "closed"};
        QTest::newRow("reopen") << "reopen"
                                << QStringList{"|1|", "disconnected", "closed", "|new|"};
        QTest::newRow("destroy") << "destroy" << QStringList{"|1|"};
        QTest::newRow("reopen and destroy")
            << "reopen, destroy" << QStringList{"|1|", "disconnected", "closed"};
        QTest::newRow("run an event loop until the server has closed")
            << "loop" << QStringList{"|1|", "|2|", "|resting|", "finished"};
    }

    void aHandlerMayDoAnything()
    {
        QFETCH(QString, what);
        QFETCH(QStringList, said);
        Session session;
        session.onEvent = [&](const QString &data) {
            if (data != QLatin1String("1")) {
                return;
            }
            if (what == QLatin1String("loop")) {
                session.server.sockets.last()->write("ing\r\n\r\n");
                session.server.sockets.last()->close();
                QVERIFY(QTest::qWaitFor([&] { return !session.client->isOpen(); }));
            }
            if (what.contains("close") || what.contains("reopen")) {
                session.client->close();
            }
            if (what.contains("reopen")) {
                QVERIFY(session.client->open(session.server.url(), {}));
            }
            if (what.contains("destroy")) {
                session.client.reset();
            }
        };
        QVERIFY(session.open());
        QVERIFY(session.send("data: 1\r\n\r\ndata: 2\r\n\r\ndata: rest"));
        if (what == QLatin1String("reopen")) {
            QTRY_COMPARE(session.server.sockets.size(), 2);
            session.server.sockets.last()->write(streamHead + "data: new\r\n\r\n");
        }
        QTRY_COMPARE(session.said, said);
    }

    void theEndMayReopenOrDestroy()
    {
        Session session;
        const auto again = connect(session.client.get(), &QSSEManager::finished, [&] {
            QVERIFY(session.client->open(session.server.url(), {}));
        });
        QVERIFY(session.open());
        session.server.sockets.last()->close();
        QTRY_COMPARE(session.server.sockets.size(), 2);
        QVERIFY(session.client->isOpen());
        disconnect(again);
        connect(session.client.get(), &QSSEManager::finished, [&] { session.client.reset(); });
        session.server.sockets.last()->write(streamHead);
        session.server.sockets.last()->close();
        QTRY_VERIFY(!session.client);
    }

    void whatIsTooLongEndsTheStream_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QStringList>("said");
        const QStringList failed = {"finished", "closed"};
        QTest::newRow("longest line")
            << QByteArray("data: 3456789\r\n\r\n") << QStringList{"|3456789|"};
        QTest::newRow("line, ended") << QByteArray("data: 34567890\r\n\r\n") << failed;
        QTest::newRow("line without end") << QByteArray(14, 'x') << failed;
        QTest::newRow("longest event")
            << QByteArray("data: 1234567\r\n").repeated(2) + "data: 123\r\n\r\n"
            << QStringList{"|1234567\n1234567\n123|"};
        QTest::newRow("event") << QByteArray("data: 1234567\r\n").repeated(2) + "data: 1234\r\n\r\n"
                               << failed;
        QTest::newRow("event of empty lines") << QByteArray("data\r\n").repeated(21) << failed;
        QTest::newRow("after an event")
            << QByteArray("data: 1\r\n\r\n") + QByteArray(14, 'x') + "\r\ndata: 2\r\n\r\n"
            << (QStringList{"|1|"} + failed);
    }

    void whatIsTooLongEndsTheStream()
    {
        QFETCH(QByteArray, content);
        QFETCH(QStringList, said);
        Session session({13, 20});
        QVERIFY(session.open());
        const bool ends = said.contains("closed");
        if (ends) {
            QTest::ignoreMessage(QtWarningMsg, "stream given up: a line or an event is too long");
        }
        QVERIFY(session.send(content));
        QCOMPARE(session.said, said);
        QCOMPARE(session.client->isOpen(), !ends);
    }

    void longLinesArriveWholeAndInOrder()
    {
        Session session({20 * 1000 * 1000, 20 * 1000 * 1000});
        QVERIFY(session.open());
        const QByteArray line(10 * 1000 * 1000, 'x');
        session.server.sockets.last()->write("data:" + line + "\r\n\r\ndata: last\r\n\r\n");
        session.server.sockets.last()->close();
        QTRY_COMPARE_WITH_TIMEOUT(session.said.size(), 3, 60000);
        QVERIFY(session.said.at(0) == '|' + QString::fromLatin1(line) + '|');
        QCOMPARE(session.said.mid(1), (QStringList{"|last|", "finished"}));
    }

    void credentialsTravelSafely_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<bool>("accepted");
        QTest::newRow("HTTPS") << "https://127.0.0.1:1/" << true;
        QTest::newRow("loopback name") << "http://LOCALHOST:1/" << true;
        QTest::newRow("loopback net") << "http://127.3.2.1:1/" << true;
        QTest::newRow("loopback IPv6") << "http://[::1]:1/" << true;
        for (const char *url :
             {"http://192.0.2.1/", "http://0.0.0.0/", "http://128.0.0.1/", "http://127.0.0.1.x/",
              "http://localhost.example/", "http://localhost@192.0.2.1/", "http://[2001:db8::1]/",
              "http:///x", "https:///x", "ftp://127.0.0.1/", "file:///etc/hostname", "data:,x",
              "127.0.0.1", "", "http://["}) {
            QTest::newRow(url) << url << false;
        }
    }

    void credentialsTravelSafely()
    {
        QFETCH(QString, url);
        QFETCH(bool, accepted);
        QSSEManager client;
        QCOMPARE(client.open(url, {}), accepted);
        QCOMPARE(client.isOpen(), accepted);
    }

    void redirects_data()
    {
        QTest::addColumn<QByteArray>("host");
        QTest::addColumn<bool>("followed");
        QTest::newRow("to this computer") << QByteArray("localhost") << true;
        // Reaches the same server, but is no loopback address.
        QTest::newRow("elsewhere") << QByteArray("0.0.0.0") << false;
    }

    void redirects()
    {
        QFETCH(QByteArray, host);
        QFETCH(bool, followed);
        Server target;
        target.close();
        QVERIFY(target.listen(QHostAddress::Any));
        QSignalSpy arrived(&target, &QTcpServer::newConnection);
        Session session;
        QVERIFY(session.client->open(session.server.url(), {}));
        QTRY_COMPARE(session.server.sockets.size(), 1);
        session.server.sockets.last()->write(
            "HTTP/1.1 302 Found\r\nContent-Length: 0\r\nLocation: " +
            target.url(host.constData()).toUtf8() + "\r\n\r\n");
        if (followed) {
            QTRY_COMPARE(target.sockets.size(), 1);
            target.sockets.last()->write(streamHead + "data: x\r\n\r\n");
            QTRY_COMPARE(session.said, QStringList{"|x|"});
            return;
        }
        QTRY_COMPARE(session.said, (QStringList{"finished", "closed"}));
        QVERIFY(!session.client->isOpen());
        QVERIFY(!arrived.wait(300));
    }

    void queriesArriveAsTheyWere()
    {
        Session session;
        QVERIFY(session.client->open(session.server.url() + "?old=1",
                                     {{"doc", "a-_=="}, {"b", "%41+&c=d#\u00e9 "}, {"a", 7}}));
        QTRY_COMPARE(session.server.requests.size(), 1);
        QCOMPARE(
            session.server.requests.first(),
            QByteArray("GET /register?a&b=%2541%2B%26c%3Dd%23%C3%A9%20&doc=a-_%3D%3D HTTP/1.1"));
    }
};

KVG_TEST_MAIN(TestQSSEManager)
#include "tst_qssemanager.moc"
