#include "cloud/credentialstore.h"
#include "runner/zugatewrunner.h"
#include "settings/devicepool.h"
#include "settings/settingsstore.h"
#include "tests/support/fakeregistrar.h"
#include "tests/support/testbroker.h"
#include "tests/support/testclock.h"
#include "tests/support/testmain.h"
#include "things/gatewaything.h"

#include <QJsonArray>

using namespace std::chrono_literals;

// The whole exchange, against a registrar and a broker that are really there.
class TestRegistration : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY(m_broker.start());
        m_issued = m_broker.issue("gateway_200_S_G");
    }
    void init()
    {
        QSettings().clear();
        CredentialStore().removeCredentials();
        qApp->setProperty("fake/devices", QStringList{"A", "B"});
        m_registrar = std::make_unique<FakeRegistrar>();
        SettingsStore().set(keys::RegistrarEndpoint, m_registrar->url());
        m_runner = std::make_unique<ZugatewRunner>();
        m_runner->loadPlugins();
        m_runner->rescan();
        m_finished = std::make_unique<QSignalSpy>(m_runner.get(), &ZugatewRunner::finished);
    }
    void cleanup() { m_runner.reset(); }

    void theWholeWayFromNothingToConnectedAndBack()
    {
        m_runner->renameThing("fake_1_A", "a");
        next(ZugatewRunner::TRename);
        m_runner->generateDoc();
        QCOMPARE(next(ZugatewRunner::AliasFill).toStringList(),
                 (QStringList{"gateway_200_?", "fake_1_B"}));
        nameAll();
        m_runner->generateDoc();
        QTRY_COMPARE(m_registrar->documents.size(), 1);
        QCOMPARE(m_registrar->documents.first()["sib"],
                 (QJsonArray{QJsonArray{"fake_1_A", "a"}, QJsonArray{"fake_1_B", "b"}}));
        m_runner->generateDoc(); // a second request leaves the first alone
        QCOMPARE(status(), qMakePair(409, QString("Busy with another request")));
        const QJsonObject code = {{"value", 123456}, {"code", "123456"}, {"timeout", 300}};
        m_registrar->send("code", code);
        QCOMPARE(next(ZugatewRunner::RegCode).toJsonObject(), code);

        QSignalSpy connected(m_runner.get(), &ZugatewRunner::connectivityChanged);
        m_registrar->send("result", result());
        next(ZugatewRunner::SetUpdate);
        QJsonObject expected = result();
        expected.remove("cred");
        QCOMPARE(next(ZugatewRunner::ProcReg).toJsonObject(), expected);
        QTRY_COMPARE(connected.size(), 1);
        m_runner->applyCloudSettings(); // nothing has changed
        QCOMPARE(connected.size(), 1);
        SettingsStore().set(keys::KeepAlive, 30);
        m_runner->applyCloudSettings();
        QTRY_COMPARE(connected.size(), 3); // off and on again
        QVERIFY(m_finished->isEmpty());    // this connection was no request
        m_runner->registrationState();
        QCOMPARE(next(ZugatewRunner::RegStatus).toInt(), int(ZugatewRunner::Complete));
        const DevicePool pool = DevicePool::read();
        QCOMPARE(pool.at(pool.indexOf("fake_1_B")).regid, QString("2"));
        QCOMPARE(pool.at(pool.indexOf("gateway_200_S")).alias, QString("gate"));

        m_runner->generateDoc();
        QCOMPARE(status(), qMakePair(400, QString("No new devices to register")));

        // A device that came later is registered by a second stream of the same run.
        qApp->setProperty("fake/devices", QStringList{"A", "B", "C"});
        m_runner->rescan();
        m_runner->renameThing("fake_1_C", "c");
        m_finished->clear();
        m_runner->generateDoc();
        QTRY_COMPARE(m_registrar->documents.size(), 2);
        QCOMPARE(m_registrar->documents.last(),
                 (QJsonObject{{"app", "gateway_200_S_G"},
                              {"sib", QJsonArray{QJsonArray{"fake_1_C", "c"}}}}));
        m_registrar->send("result",
                          QJsonObject{{"fleet", QJsonArray{QJsonObject{{"id", "fake_1_C_3"},
                                                                       {"alias", "sea"}}}}});
        m_registrar->send("error", "{}"); // too late
        QCOMPARE(next(ZugatewRunner::ProcReg).toJsonObject().keys(), QStringList{"fleet"});
        QVERIFY(gateway()->hasSibling("fake_1_C_3"));

        const QTemporaryDir folder;
        const QString backup = folder.filePath("a.bak");
        m_runner->exportSettings(backup);
        next(ZugatewRunner::SExport);
        QMetaObject::invokeMethod(m_runner.get(), "importSettings", Qt::QueuedConnection,
                                  Q_ARG(QString, backup)); // comes while the connection ends
        m_runner->resetGateway();
        QCOMPARE(next(ZugatewRunner::CStatus).toJsonObject(),
                 (QJsonObject{{"gw", false}, {"key", 1}, {"cert", 1}}));
        QCOMPARE(next(ZugatewRunner::DUnreg), QVariant(true));
        QCOMPARE(gateway()->state()["count"].toInt(), 0);
        QVERIFY(!gateway()->isConnected());
        QCOMPARE(DevicePool::read().at(DevicePool::read().indexOf("fake_1_C")).regid, QString());
        QCOMPARE(next(ZugatewRunner::SImport), QVariant(true));
        QVERIFY(gateway()->hasSibling("fake_1_C_3"));
    }

    void failuresEndTheRegistrationAndAllowAnother()
    {
        nameAll();
        QCOMPARE(statusAfter("error", "x"), qMakePair(0, QString()));
        QCOMPARE(statusAfter("result", R"({"error":"late","code":9})"),
                 qMakePair(9, QString("late")));
        QCOMPARE(statusAfter({}, {}),
                 qMakePair(500, QString("Connection to the registrar service was closed "
                                        "unexpectedly.")));
        QCOMPARE(
            statusAfter("result", R"({"id":"gateway_200_S_G","cred":{"priv":"x","file":"y"}})"),
            qMakePair(498, QString("Reply processing error")));
    }

    void aRefusalIsToldInTheRegistrarsWords()
    {
        nameAll();
        for (const QByteArray answer : {"400 Bad Request", "499 Odd", "503 Busy"}) {
            m_registrar->head = "HTTP/1.1 " + answer + "\r\nConnection: close\r\n\r\n";
            QCOMPARE(statusAfter("error", R"({"error":"no","code":7})"),
                     qMakePair(7, QString("no")));
            QTRY_VERIFY(m_registrar->stream.isNull() ||
                        m_registrar->stream->state() != QTcpSocket::ConnectedState);
        }
        QCOMPARE(statusAfter({}, {}).first, 500); // no event, no words
        SettingsStore().set(keys::RegistrarEndpoint, QString("http://192.0.2.1/iot/register"));
        for (int attempt = 0; attempt < 2; ++attempt) {
            m_runner->generateDoc();
            QCOMPARE(status(), qMakePair(400, QString("Cannot establish a connection to the "
                                                      "registrar service")));
        }
    }

    void aRegistrarThatDoesNotAnswerIsGivenUp()
    {
        if (!testclock::canAdvance()) {
            QSKIP("The time cannot be moved here.");
        }
        nameAll();
        const QJsonObject unlimited = {{"value", 1}};
        const QJsonObject limited = {{"value", 1}, {"timeout", "300"}};
        const std::pair<QJsonObject, std::chrono::seconds> rows[] = {
            {{}, 120s}, {limited, 420s}, {unlimited, 0s}};
        for (const auto &[code, deadline] : rows) {
            const int before = m_registrar->documents.size();
            m_runner->generateDoc();
            QTRY_COMPARE(m_registrar->documents.size(), before + 1);
            if (!code.isEmpty()) {
                m_registrar->send("code", code);
                next(ZugatewRunner::RegCode);
            }
            testclock::advance(deadline == 0s ? 24h : deadline - 10s);
            QCoreApplication::processEvents();
            QVERIFY(m_finished->isEmpty());
            if (deadline == 0s) {
                m_registrar->send("error", "{}");
                next(ZugatewRunner::ProcReg);
            } else {
                testclock::advance(40s); // coarse: 5 percent
                QCOMPARE(status().first, 500);
            }
        }
        QCOMPARE(statusAfter("error", "{}").first, 0);
        testclock::advance(24h); // the deadline of a session that is over
        QCoreApplication::processEvents();
        QVERIFY(m_finished->isEmpty());
    }

    void anAbsentDeviceComesBackRegistered()
    {
        nameAll();
        m_runner->generateDoc();
        QTRY_COMPARE(m_registrar->documents.size(), 1);
        qApp->setProperty("fake/devices", QStringList{"A"});
        emit m_runner->findChild<QAbstractThing *>("B")->mediumGone();
        QSignalSpy reported(m_runner.get(), &ZugatewRunner::connectivityChanged);
        m_registrar->send("result", result());
        next(ZugatewRunner::SetUpdate);
        next(ZugatewRunner::ProcReg);
        const DevicePool pool = DevicePool::read();
        QCOMPARE(pool.at(pool.indexOf("fake_1_B")).regid, QString("2"));
        QCOMPARE(pool.at(pool.indexOf("fake_1_B")).alias, QString("bee"));
        qApp->setProperty("fake/devices", QStringList{"A", "B"});
        m_runner->rescan();
        next(ZugatewRunner::Rescan);
        QVERIFY(gateway()->hasSibling("fake_1_B_2"));
        QTRY_COMPARE(reported.size(), 1);
    }

    void voidingTheRegistrationEndsOneThatIsUnderWay()
    {
        nameAll();
        m_runner->generateDoc();
        QTRY_COMPARE(m_registrar->documents.size(), 1);
        m_runner->cancelRegistration(); // without a word, and another may begin
        m_runner->generateDoc();
        QTRY_COMPARE(m_registrar->documents.size(), 2);
        const QSignalSpy voided(m_runner.get(), &ZugatewRunner::registrationVoided);
        m_runner->resetGateway(); // the user's wish, and no error
        next(ZugatewRunner::CStatus);
        next(ZugatewRunner::DUnreg);
        QCOMPARE(voided.size(), 1);
        QTRY_VERIFY(m_registrar->stream.isNull() ||
                    m_registrar->stream->state() != QTcpSocket::ConnectedState);
    }

private:
    void nameAll()
    {
        m_runner->renameThing("gateway_200_?", "gate");
        m_runner->renameThing("fake_1_A", "a");
        m_runner->renameThing("fake_1_B", "b");
        m_finished->clear();
    }
    QJsonObject result() const
    {
        return {{"id", "gateway_200_S_G"},
                {"alias", "gate"},
                {"server", "localhost"},
                {"port", m_broker.port()},
                {"cred", QJsonObject{{"priv", QString::fromLatin1(m_issued.key)},
                                     {"file", QString::fromLatin1(m_issued.cert)}}},
                {"fleet", QJsonArray{QJsonObject{{"id", "fake_1_A_1"}, {"alias", "a"}},
                                     QJsonObject{{"id", "fake_1_B_2"}, {"alias", "bee"}}}}};
    }
    // The next result, which must be of this operation.
    QVariant next(int operation)
    {
        [&] { QTRY_VERIFY(!m_finished->isEmpty()); }();
        const QVariantList arguments =
            m_finished->isEmpty() ? QVariantList() : m_finished->takeFirst();
        [&] { QCOMPARE(arguments.value(0).toInt(), operation); }();
        return arguments.value(1);
    }
    QPair<int, QString> status()
    {
        const QJsonObject object = next(ZugatewRunner::ProcReg).toJsonObject();
        return {object["code"].toInt(), object["error"].toString()};
    }
    // Of a registration that the registrar answers with this event; without one, it hangs up.
    QPair<int, QString> statusAfter(const QByteArray &event, const QByteArray &data)
    {
        const int before = m_registrar->documents.size();
        QCoreApplication::processEvents(); // the end of an earlier stream is queued
        m_runner->generateDoc();
        [&] { QTRY_COMPARE(m_registrar->documents.size(), before + 1); }();
        m_registrar->send("unheard-of", "{}");
        if (event.isEmpty()) {
            m_registrar->stream->close();
        } else {
            m_registrar->send(event, data);
        }
        return status();
    }
    GatewayThing *gateway() const { return m_runner->findChild<GatewayThing *>(); }

    TestBroker m_broker;
    TestBroker::Credentials m_issued;
    std::unique_ptr<FakeRegistrar> m_registrar;
    std::unique_ptr<ZugatewRunner> m_runner;
    std::unique_ptr<QSignalSpy> m_finished;
};

KVG_TEST_MAIN(TestRegistration)
#include "tst_registration.moc"
