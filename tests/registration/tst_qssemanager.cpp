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
        const auto say = [this](const char *word) {
            return [this, word] {
                said << word;
                onWord(word);
            };
        };
        QObject::connect(c, &QSSEManager::closed, c, say("closed"));
        QObject::connect(c, &QSSEManager::disconnected, c, say("disconnected"));
        QObject::connect(c, &QSSEManager::finished, c, say("finished"));
        QObject::connect(c, &QSSEManager::dataReady, c,
                         [this](const QString &event, const QString &data, const QString &id) {
                             said << event + '|' + data + '|' + id;
                             onWord(data);
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
    std::function<void(const QString &)> onWord = [](const QString &) {};
};

} // namespace

class TestQSSEManager : public QObject
{
    Q_OBJECT

private slots:
    void piecesBecomeEvents()
    {
        using Pieces = QList<QByteArray>;
        const QList<QPair<Pieces, QStringList>> table = {
            {{"event: code\r\ndata: x\r\n\r\n"}, {"code|x|"}},
            // Two line feeds do not end an event; three do, and so do carriage returns.
            {{"event: a\ndata: x\n\nevent: b\ndata: y\n\n", "\r\n"}, {"b|x\ny|"}},
            {{"data: x\n\n\n"}, {"|x|"}},
            {{"data: x\r\r"}, {"|x|"}},
            // A line end that is split over pieces ends the event.
            {{"data: x\r", "\ndata: y\r\n\r\n"}, {"|x|", "|y|"}},
            {{"da", "ta:", " x", "y", "\r\n\r\n"}, {"|xy|"}},
            {{" data :  x y \t\r\n \t \r\n"}, {"|x y|"}},
            {{":data: c\r\n: \r\nData: d\r\nfoo: e\r\n:\r\ndata: x:y\r\n\r\n"}, {"|x:y|"}},
            // The id stays and an empty one is ignored; the type goes, also without data.
            {{"event: a\r\nid: 7\r\ndata: x\r\n\r\nid:\r\nid\r\ndata\r\n\r\n"}, {"a|x|7", "||7"}},
            {{"event: a\r\n\r\ndata: x\r\n\r\n"}, {"|x|"}},
            {{"data: \xc3", "\xa4 \xf0\x9f", "\x98", "\x80\r\n\r\n"}, {QString::fromUtf8("|ä 😀|")}},
            {{QByteArray("data: a\0b\r\n\r\n", 12), "c\xff\r\n\r\n"},
             {QString::fromUtf8("|ac\xef\xbf\xbd|")}},
        };
        for (const auto &[pieces, events] : table) {
            Session session;
            QVERIFY(session.open());
            for (const QByteArray &piece : pieces) {
                QVERIFY(session.send(piece));
            }
            QCOMPARE(session.said, events);
        }
    }

    void anEndIsAnnouncedOnceAndAllowsAnother()
    {
        Session session;
        QVERIFY(!session.client->isOpen());
        for (const bool failure : {false, true}) {
            session.said.clear();
            QVERIFY(session.open());
            QVERIFY(session.client->isOpen());
            QVERIFY(!session.client->open(session.server.url(), {}));
            QCOMPARE(session.client->retry(), 3000);
            QVERIFY(session.send("id: 1\r\nretry: 5000\r\nretry: x\r\ndata: a\r\n\r\ndata: half"));
            QCOMPARE(session.client->retry(), 5000);
            QTcpSocket *socket = session.server.sockets.last();
            failure ? socket->abort() : socket->close();
            QTRY_COMPARE(session.said, (QStringList{"|a|1", "finished"}));
            QVERIFY(!session.client->isOpen());
        }
        QVERIFY(session.open());
        QVERIFY(session.send("data: b\r\n\r\n"));
        session.client->close();
        session.client->close();
        session.server.close();
        QVERIFY(session.client->open(session.server.url("localhost"), {}));
        QTRY_COMPARE(session.said, (QStringList{"|a|1", "finished", "|b|", "disconnected", "closed",
                                                "finished"}));
        session.client->close(); // nothing is open any more, but a reply is there to release
        session.client->sse_finished();
        QCOMPARE(session.said.mid(6), QStringList{"closed"});
    }

    void aHandlerMayDoAnything()
    {
        // When the handler hears the first word it does the second, and this is said in all.
        const QList<QStringList> table = {
            {"1", "close", "|1|", "disconnected", "closed"},
            {"1", "close open", "|1|", "disconnected", "closed", "|new|"},
            {"1", "finish", "|1|", "finished", "closed"},
            {"1", "destroy", "|1|"},
            {"1", "close open destroy", "|1|", "disconnected", "closed"},
            {"1", "event loop", "|1|", "|2|", "|resting|", "finished"},
            {"resting", "close", "|1|", "|2|", "|resting|", "disconnected", "closed"},
            {"finished", "open", "|1|", "|2|", "|resting|", "finished", "|new|"},
            {"finished", "destroy", "|1|", "|2|", "|resting|", "finished"}};
        for (const QStringList &row : table) {
            const QString what = row.at(1);
            Session session;
            const auto sendRest = [&] {
                session.server.sockets.first()->write("ing\r\n\r\n");
                session.server.sockets.first()->close();
            };
            session.onWord = [&](const QString &word) {
                if (word != row.first()) {
                    return;
                }
                if (what.contains("event loop")) {
                    sendRest();
                    QVERIFY(QTest::qWaitFor([&] { return !session.client->isOpen(); }));
                }
                if (what.contains("close")) {
                    session.client->close();
                }
                if (what.contains("open")) {
                    QVERIFY(session.client->open(session.server.url(), {}));
                }
                if (what.contains("finish")) {
                    session.client->sse_finished();
                }
                if (what.contains("destroy")) {
                    session.client.reset();
                }
            };
            QVERIFY(session.open());
            QVERIFY(session.send("data: 1\r\n\r\ndata: 2\r\n\r\ndata: rest"));
            if (row.first() != "1") {
                sendRest();
            }
            if (row.contains("|new|")) {
                QTRY_COMPARE(session.server.sockets.size(), 2);
                session.server.sockets.last()->write(streamHead + "data: new\r\n\r\n");
            }
            QTRY_COMPARE(session.said, row.mid(2));
        }
    }

    void whatIsTooLongEndsTheStream()
    {
        const QByteArray line = "data: 1234567\r\n";
        const QList<QPair<QByteArray, QStringList>> table = {
            {"data: 3456789\r\n\r\n", {"|3456789|"}},
            {line + line + "data: 123\r\n\r\n", {"|1234567\n1234567\n123|"}},
            {"data: 34567890\r\n\r\n", {"finished", "closed"}},
            {QByteArray(14, 'x'), {"finished", "closed"}},
            {line + line + "data: 1234\r\n", {"finished", "closed"}},
            {QByteArray("data\r\n").repeated(21), {"finished", "closed"}},
            {"data: 1\r\n\r\ndata: 34567890\r\ndata: 2\r\n\r\n", {"|1|", "finished", "closed"}}};
        for (const auto &[content, said] : table) {
            Session session({13, 20});
            QVERIFY(session.open());
            QVERIFY(session.send(content));
            QCOMPARE(session.said, said);
            QCOMPARE(session.client->isOpen(), !said.contains("closed"));
        }
    }

    void credentialsTravelSafely()
    {
        for (const char *url : {"https://127.0.0.1:1/", "http://LOCALHOST:1/",
                                "http://127.3.2.1:1/", "http://[::1]:1/"}) {
            QVERIFY2(QSSEManager().open(url, {}), url);
        }
        for (const char *url :
             {"http://192.0.2.1/", "http://0.0.0.0/", "http://128.0.0.1/", "http://127.0.0.1.x/",
              "http://localhost.example/", "http://localhost@192.0.2.1/", "http://[2001:db8::1]/",
              "http:///x", "https:///x", "ftp://127.0.0.1/", "file:///etc/hostname", "data:,x",
              "127.0.0.1", "", "http://["}) {
            QSSEManager client;
            QVERIFY2(!client.open(url, {}) && !client.isOpen(), url);
        }
    }

    void redirectsToThisComputerAreFollowed()
    {
        Server target;
        target.close();
        QVERIFY(target.listen(QHostAddress::Any));
        QSignalSpy arrived(&target, &QTcpServer::newConnection);
        // The second reaches the same server, but is no loopback address.
        for (const char *host : {"localhost", "0.0.0.0"}) {
            Session session;
            QVERIFY(session.client->open(session.server.url(), {}));
            QTRY_COMPARE(session.server.sockets.size(), 1);
            session.server.sockets.last()->write(
                "HTTP/1.1 302 Found\r\nContent-Length: 0\r\nLocation: " +
                target.url(host).toUtf8() + "\r\n\r\n");
            if (arrived.isEmpty()) {
                QTRY_COMPARE(target.sockets.size(), 1);
                target.sockets.last()->write(streamHead + "data: x\r\n\r\n");
                QTRY_COMPARE(session.said, QStringList{"|x|"});
            } else {
                QTRY_COMPARE(session.said, (QStringList{"finished", "closed"}));
                QVERIFY(!session.client->isOpen());
                QVERIFY(!arrived.wait(300));
            }
        }
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
