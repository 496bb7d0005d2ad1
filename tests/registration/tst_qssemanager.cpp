#include "registration/qssemanager.h"
#include "tests/support/fakeregistrar.h"
#include "tests/support/testmain.h"

#include <QNetworkReply>

#include <functional>

namespace {

// A client with a server, and all signals of the client in order. The limits are 13 characters for
// a line and 20 for the data of an event.
struct Session
{
    Session()
    {
        client->setLimits({13, 20});
        QSSEManager *const c = client.get();
        const auto record = [this](const QString &signal) {
            emitted << signal;
            onSignal(signal);
        };
        QObject::connect(c, &QSSEManager::closed, c, [record] { record("closed"); });
        QObject::connect(c, &QSSEManager::disconnected, c, [record] { record("disconnected"); });
        QObject::connect(c, &QSSEManager::finished, c, [record] { record("finished"); });
        QObject::connect(c, &QSSEManager::dataReady, c,
                         [record](auto... texts) { record(QStringList{texts...}.join('|')); });
    }
    bool open()
    {
        const int seen = server.documents.size();
        return client->open(server.url(), {}) &&
               QTest::qWaitFor([this, seen] { return server.documents.size() > seen; });
    }
    // Sends a chunk and waits until the client has read it, so that it arrives as one chunk.
    bool send(const QByteArray &chunk)
    {
        QSignalSpy read(client->findChildren<QNetworkReply *>().last(), &QIODevice::readyRead);
        server.stream->write(chunk);
        return read.wait();
    }

    FakeRegistrar server;
    std::unique_ptr<QSSEManager> client = std::make_unique<QSSEManager>();
    QStringList emitted;
    std::function<void(const QString &)> onSignal = [](const QString &) {};
};

} // namespace

class TestQSSEManager : public QObject
{
    Q_OBJECT

private slots:
    void chunksAreParsedAndExceededLimitsEndTheStream()
    {
        const QByteArray line = "data: 1234567\r\n";
        const QList<QPair<QByteArrayList, QStringList>> table = {
            // Two line feeds do not end an event; three do, and carriage returns do.
            {{"event: a\ndata: x\n\nevent: b\ndata: y\n\n", "\r\n"}, {"b|x\ny|"}},
            // A line end that is split over chunks ends the event.
            {{"data: x\r", "\ndata: y\r\n\r\n"}, {"|x|", "|y|"}},
            {{"data: x\r\r", "da", "ta:", " x", "y", "\r\n\r\n"}, {"|x|", "|xy|"}},
            {{" data :  x y\t\r\n \t \r\n"}, {"|x y|"}},
            {{":data: c\r\n: \r\nData: d\r\nfoo: e\r\n:\r\ndata: x:y\r\n\r\n"}, {"|x:y|"}},
            // An id is kept and an empty one ignored; the type is cleared, also without data.
            {{"event: a\r\nid: 7\r\ndata: x\r\n\r\nid:\r\nid\r\ndata\r\n\r\n"}, {"a|x|7", "||7"}},
            {{"data: \xc3", "\xa4 \xf0\x9f", "\x98", "\x80\r\n\r\n"}, {"|ä 😀|"}},
            {{QByteArray("data: a\0b\r\n\r\n", 12), "c\xff\r\n\r\n"}, {"|ac\uFFFD|"}},
            {{line + line + "data: 123\r\n\r\n"}, {"|1234567\n1234567\n123|"}},
            {{line + line + "data: 1234\r\n"}, {"finished", "closed"}},
            {{"data: 1\r\n\r\ndata: 34567890\r\ndata: 2\r\n\r\n"}, {"|1|", "finished", "closed"}}};
        for (const auto &[chunks, emitted] : table) {
            Session session;
            QVERIFY(session.open());
            for (const QByteArray &chunk : chunks) {
                QVERIFY(session.send(chunk));
            }
            QCOMPARE(session.emitted, emitted);
        }
    }

    void finishedIsEmittedOnceAndTheStreamCanBeReopened()
    {
        Session session;
        for (const bool failure : {false, true}) {
            session.emitted.clear();
            QVERIFY(session.open());
            QVERIFY(!session.client->open(session.server.url(), {}));
            QVERIFY(session.send("id: 1\r\ndata: a\r\n\r\ndata: half"));
            failure ? session.server.stream->abort() : session.server.stream->close();
            QTRY_COMPARE(session.emitted, (QStringList{"|a|1", "finished"}));
        }
    }

    void handlersMayCloseReopenOrDestroyTheClient()
    {
        // At the first signal the handler does the second column; the rest are all signals.
        const QList<QStringList> table = {
            {"|1|", "close open", "|1|", "disconnected", "closed", "|new|"},
            {"|1|", "destroy", "|1|"},
            {"|1|", "close open destroy", "|1|", "disconnected", "closed"},
            {"|resting|", "close", "|1|", "|2|", "|resting|", "disconnected", "closed"},
            {"finished", "open", "|1|", "|2|", "|resting|", "finished", "|new|"},
            {"finished", "destroy", "|1|", "|2|", "|resting|", "finished"}};
        for (const QStringList &row : table) {
            Session session;
            QVERIFY(session.open());
            session.onSignal = [&](const QString &signal) {
                const QString what = signal == row.first() ? row.at(1) : QString();
                if (what.contains("close")) {
                    session.client->close();
                    session.client->close(); // no effect
                    session.client->error(QNetworkReply::ConnectionRefusedError);
                }
                if (what.contains("open")) {
                    QVERIFY(session.client->open(session.server.url(), {}));
                }
                if (what.contains("destroy")) {
                    session.client.reset();
                }
            };
            QVERIFY(session.send("data: 1\r\n\r\ndata: 2\r\n\r\ndata: rest"));
            if (row.first() != "|1|") {
                session.server.stream->write("ing\r\n\r\n");
                session.server.stream->close();
            }
            if (row.contains("|new|")) {
                QTRY_COMPARE(session.server.documents.size(), 2);
                session.server.stream->write("data: new\r\n\r\n");
            }
            QTRY_COMPARE(session.emitted, row.mid(2));
        }
    }

    void onlyHttpsAndLoopbackAddressesAreOpened()
    {
        for (const char *url : // port 1: the addresses that may carry them
             {"https://127.0.0.1:1/", "http://LOCALHOST:1/", "http://[::1]:1/", "http://192.0.2.1/",
              "http://127.0.0.1.x/", "http://localhost@192.0.2.1/", "http:///x", "ftp://127.0.0.1/",
              "file:///etc/hostname", "127.0.0.1", ""}) {
            QVERIFY2(QSSEManager().open(url, {}) == QByteArray(url).endsWith(":1/"), url);
        }
    }

    // The second host reaches this computer, too, but is no loopback address.
    void queriesAreEncodedAndOnlyLoopbackRedirectsAreFollowed()
    {
        for (const QByteArray host : {"localhost", "0.0.0.0"}) {
            Session session;
            FakeRegistrar front;
            front.head = "HTTP/1.1 302 Found\r\nContent-Length: 0\r\nLocation: http://" + host +
                         ':' + QByteArray::number(session.server.serverPort()) +
                         "/iot/register\r\n\r\n";
            QVERIFY(session.client->open(front.url() + "?old=1",
                                         {{"doc", "a-_=="}, {"b", "%41+&c=d#\u00e9 "}}));
            if (host == "localhost") {
                QTRY_COMPARE(session.server.documents.size(), 1);
                session.server.send("e", "x");
                QTRY_COMPARE(session.emitted, QStringList{"e|x|"});
            } else {
                QTRY_COMPARE(session.emitted, (QStringList{"finished", "closed"}));
                QVERIFY(!QTest::qWaitFor([&] { return !session.server.documents.isEmpty(); }, 300));
            }
            QCOMPARE(front.target, "/iot/register?b=%2541%2B%26c%3Dd%23%C3%A9%20&doc=a-_%3D%3D");
        }
    }
};

KVG_TEST_MAIN(TestQSSEManager)
#include "tst_qssemanager.moc"
