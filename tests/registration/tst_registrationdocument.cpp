#include "registration/registrationdocument.h"
#include "tests/support/testmain.h"
#include "things/qabstractthing.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace {

class Thing : public QAbstractThing
{
public:
    Thing(const QString &type, const QString &serial, const QString &alias, const QString &regid)
        : m_type(type)
        , m_serial(serial)
    {
        setAlias(alias);
        setRegid(regid);
    }
    QString type() const override { return m_type; }
    QString version() const override { return QStringLiteral("200"); }
    int kind() const override { return 1; }
    QString serial() const override { return m_serial; }
    QJsonObject state() const override { return {}; }

private:
    QString m_type;
    QString m_serial;
};

} // namespace

class TestRegistrationDocument : public QObject
{
    Q_OBJECT

private slots:
    void theDocumentHoldsWhatIsNotRegistered()
    {
        const Thing known("t", "0", "Known", "X");
        const Thing odd("t", "%1", "\u00c4", "");
        const Thing plain("t", "2", "Plain", "");
        const auto list = [](std::initializer_list<const Thing *> things) {
            QList<QAbstractThing *> result;
            for (const Thing *thing : things) {
                result << const_cast<Thing *>(thing);
            }
            return result;
        };
        const QJsonArray oddPair{"t_200_%1", "\u00c4"};
        const QJsonArray plainPair{"t_200_2", "Plain"};

        const Thing fresh("gate%2way", "", "%1 Hub", "");
        QJsonObject expected{{"gw", "gate%2way_200_?"}, {"alias", "%1 Hub"}};
        QCOMPARE(registrationDocument(fresh, list({&known})), expected);
        expected["sib"] = QJsonArray{QJsonValue(oddPair)};
        QCOMPARE(registrationDocument(fresh, list({&known, &odd})), expected);

        const Thing registered("gateway", "G", "Hub", "R");
        QCOMPARE(registrationDocument(registered, list({&known})), QJsonObject());
        expected = {{"app", "gateway_200_G_R"}, {"sib", QJsonArray{oddPair, plainPair}}};
        QCOMPARE(registrationDocument(registered, list({&odd, &known, &plain})), expected);
    }

    void theEncodedDocumentIsBareZlibInUrlSafeBase64()
    {
        QString seen;
        for (int length = 0; length < 300; ++length) {
            const QJsonObject document{{"a", QString(length, QChar(0x20 + length * 7))}};
            const QString text = encodeRegistrationDocument(document);
            seen += text;
            QCOMPARE(text.size() % 4, 0);
            QVERIFY(text.startsWith("eJ")); // 78 9C: zlib at its default level (RFC 1950)
            const QByteArray json = QJsonDocument(document).toJson(QJsonDocument::Compact);
            QByteArray stream(4, '\0');
            stream[2] = static_cast<char>(json.size() >> 8);
            stream[3] = static_cast<char>(json.size());
            stream += QByteArray::fromBase64(text.toLatin1(), QByteArray::Base64UrlEncoding);
            QCOMPARE(qUncompress(stream), json);
        }
        QVERIFY(seen.contains('-') && seen.contains('_') && seen.contains('='));
        QVERIFY(!seen.contains('+') && !seen.contains('/'));
    }

    void statusesAreTheAgreedOnes()
    {
        using Failure = RegistrationFailure;
        const QList<QPair<Failure, QJsonObject>> table = {
            {Failure::Busy, {{"code", 409}, {"error", "Busy with another request"}}},
            {Failure::NothingToRegister, {{"code", 400}, {"error", "No new devices to register"}}},
            {Failure::NoConnection,
             {{"code", 400}, {"error", "Cannot establish a connection to the registrar service"}}},
            {Failure::BadReply, {{"code", 498}, {"error", "Reply processing error"}}},
            {Failure::StreamEnded,
             {{"code", 500},
              {"error", "Connection to the registrar service was closed unexpectedly."}}}};
        for (const auto &[failure, status] : table) {
            QCOMPARE(registrationStatus(failure), status);
        }
    }
};

KVG_TEST_MAIN(TestRegistrationDocument)
#include "tst_registrationdocument.moc"
