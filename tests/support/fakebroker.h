#pragma once

#include <QByteArray>
#include <QPointer>
#include <QSslCertificate>
#include <QSslKey>
#include <QSslSocket>
#include <QStringList>
#include <QTcpServer>

// A scriptable broker: TLS, one client at a time, packets of at most 16383 bytes. `seen` lists the
// packets received: "connect ID", "subscribe TOPIC", "publish TOPIC PAYLOAD", "disconnect".
class FakeBroker : public QTcpServer
{
public:
    FakeBroker(const QByteArray &certPem, const QByteArray &keyPem)
        : m_cert(certPem)
        , m_key(keyPem, QSsl::Rsa)
    {
        listen(QHostAddress::Any);
    }

    int connackCode = 0;
    int keepAlive = 0; // seconds, of the last CONNECT
    int confirmed = 0; // requests for a confirmation that were answered
    QStringList seen;
    QPointer<QSslSocket> client;

    void pauseReading() { client->setReadBufferSize(1); }
    void resumeReading()
    {
        client->setReadBufferSize(0);
        readPackets();
    }
    // Quality of service 0; both together are shorter than 126 bytes.
    void publish(const QByteArray &topic, const QByteArray &payload)
    {
        client->write(QByteArray("\x30") + char(2 + topic.size() + payload.size()) + '\0' +
                      char(topic.size()) + topic + payload);
    }

protected:
    void incomingConnection(qintptr descriptor) override
    {
        client = new QSslSocket(this);
        m_unread.clear();
        client->setSocketDescriptor(descriptor);
        client->setLocalCertificate(m_cert);
        client->setPrivateKey(m_key);
        connect(client, &QSslSocket::readyRead, this, [this] { readPackets(); });
        client->startServerEncryption();
    }

private:
    void readPackets()
    {
        if (client->readBufferSize() == 1) {
            return;
        }
        m_unread += client->readAll();
        while (m_unread.size() >= 2) {
            const bool isLong = m_unread.at(1) & 0x80; // the length has a second byte
            const int header = isLong ? 3 : 2;
            const int high = isLong && m_unread.size() > 2 ? m_unread.at(2) << 7 : 0;
            const int length = high + (m_unread.at(1) & 0x7f);
            if (m_unread.size() < header + length) {
                return;
            }
            record(quint8(m_unread.at(0)) >> 4, m_unread.mid(header, length));
            m_unread.remove(0, header + length);
        }
    }
    static QString text(const QByteArray &body, int at)
    {
        const int length = quint8(body.at(at)) << 8 | quint8(body.at(at + 1));
        return QString::fromUtf8(body.mid(at + 2, length));
    }
    void record(int type, const QByteArray &body)
    {
        switch (type) {
        case 1:
            seen << "connect " + text(body, 10);
            keepAlive = quint8(body.at(8)) << 8 | quint8(body.at(9));
            client->write(QByteArray("\x20\x02\x00", 3) + char(connackCode));
            if (connackCode != 0) {
                client->disconnectFromHost();
            }
            break;
        case 3:
            seen << "publish " + text(body, 0) + ' ' +
                        QString::fromUtf8(body.mid(2 + text(body, 0).toUtf8().size()));
            break;
        case 8:
            seen << "subscribe " + text(body, 2);
            client->write(QByteArray("\x90\x03", 2) + body.left(2) + '\0');
            break;
        case 10: // UNSUBSCRIBE
            ++confirmed;
            client->write(QByteArray("\xb0\x02", 2) + body.left(2));
            break;
        case 12:
            client->write(QByteArray("\xd0\x00", 2)); // to a ping
            break;
        case 14:
            seen << "disconnect";
            client->disconnectFromHost();
            break;
        default:
            break;
        }
    }

    QSslCertificate m_cert;
    QSslKey m_key;
    QByteArray m_unread;
};
