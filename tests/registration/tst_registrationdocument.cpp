#include "registration/registrationdocument.h"
#include "tests/support/fakething.h"
#include "tests/support/testmain.h"

#include <QJsonArray>
#include <QJsonDocument>

class TestRegistrationDocument : public QObject
{
    Q_OBJECT

private slots:
    void theDocumentListsUnregisteredThings()
    {
        FakeThing gateway("", nullptr, "gate%2way");
        gateway.setAlias("%1 Hub");
        FakeThing known("0");
        known.setRegid("X");
        FakeThing fresh("%1");
        fresh.setAlias("\u00c4");
        QJsonObject expected{{"gw", "gate%2way_1_?"}, {"alias", "%1 Hub"}};
        QCOMPARE(registrationDocument(gateway, {&known}), expected);
        const QJsonArray siblings{QJsonArray{"fake_1_%1", "\u00c4"}};
        expected["sib"] = siblings;
        QCOMPARE(registrationDocument(gateway, {&known, &fresh}), expected);

        gateway.setRegid("R");
        QCOMPARE(registrationDocument(gateway, {&known}), QJsonObject());
        expected = {{"app", "gate%2way_1__R"}, {"sib", siblings}};
        QCOMPARE(registrationDocument(gateway, {&fresh, &known}), expected);
    }

    void theEncodedDocumentIsZlibInUrlSafeBase64()
    {
        QString seen;
        for (const int length : {0, 1, 30, 60, 297}) { // together they give '-', '_' and '='
            const QJsonObject document{{"a", QString(length, QChar(0x20 + length * 7))}};
            const QString text = encodeRegistrationDocument(document);
            seen += text;
            QCOMPARE(text.size() % 4, 0);
            QVERIFY(text.startsWith("eJ")); // 78 9C: zlib at its default level (RFC 1950)
            const QByteArray json = QJsonDocument(document).toJson(QJsonDocument::Compact);
            const auto options = QByteArray::Base64UrlEncoding;
            const QByteArray zlib = QByteArray::fromBase64(text.toLatin1(), options);
            QCOMPARE(qUncompress(QByteArray(4, '\0') + zlib), json);
        }
        QVERIFY(seen.contains('-') && seen.contains('_') && seen.contains('='));
        QVERIFY(!seen.contains('+') && !seen.contains('/'));
    }
};

KVG_TEST_MAIN(TestRegistrationDocument)
#include "tst_registrationdocument.moc"
