#include "registration/registrationdocument.h"
#include "tests/support/testmain.h"
#include "things/qabstractthing.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <memory>

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

QByteArray compact(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

} // namespace

class TestRegistrationDocument : public QObject
{
    Q_OBJECT

private slots:
    void theDocumentHoldsWhatIsNotRegistered_data()
    {
        QTest::addColumn<QString>("gatewayId");
        QTest::addColumn<QStringList>("thingIds");
        QTest::addColumn<QByteArray>("document");
        QTest::newRow("nothing") << "" << QStringList()
                                 << QByteArray("{'alias':'%1 Hub','gw':'gate%2way_200_?'}");
        QTest::newRow("only things")
            << "R" << QStringList{"", "X", ""}
            << QByteArray(
                   "{'app':'gate%2way_200_G_R','sib':[['t_200_0','Ä~0'],['t_200_2','Ä~2']]}");
        QTest::newRow("the gateway and a thing")
            << "" << QStringList{"X", ""}
            << QByteArray("{'alias':'%1 Hub','gw':'gate%2way_200_?','sib':[['t_200_1','Ä~1']]}");
        QTest::newRow("all registered") << "R" << QStringList{"X"} << QByteArray("{}");
    }

    void theDocumentHoldsWhatIsNotRegistered()
    {
        QFETCH(QString, gatewayId);
        QFETCH(QStringList, thingIds);
        QFETCH(QByteArray, document);
        const Thing gateway("gate%2way", "G", "%1 Hub", gatewayId);
        std::vector<std::unique_ptr<Thing>> owner;
        QList<QAbstractThing *> things;
        for (const QString &id : qAsConst(thingIds)) {
            const QString serial = QString::number(things.size());
            owner.push_back(
                std::make_unique<Thing>("t", serial, QString::fromUtf8("Ä~") + serial, id));
            things << owner.back().get();
        }
        QCOMPARE(compact(registrationDocument(gateway, things)).replace('"', '\''), document);
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
            const QByteArray json = compact(document);
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
        const struct
        {
            RegistrationFailure failure;
            QByteArray status;
        } table[] = {
            {RegistrationFailure::Busy, R"({"code":409,"error":"Busy with another request"})"},
            {RegistrationFailure::NothingToRegister,
             R"({"code":400,"error":"No new devices to register"})"},
            {RegistrationFailure::NoConnection,
             R"({"code":400,"error":"Cannot establish a connection to the registrar service"})"},
            {RegistrationFailure::BadReply, R"({"code":498,"error":"Reply processing error"})"},
            {RegistrationFailure::StreamEnded,
             R"({"code":500,"error":"Connection to the registrar service was closed unexpectedly."})"},
        };
        for (const auto &row : table) {
            QCOMPARE(compact(registrationStatus(row.failure)), row.status);
        }
    }
};

KVG_TEST_MAIN(TestRegistrationDocument)
#include "tst_registrationdocument.moc"
