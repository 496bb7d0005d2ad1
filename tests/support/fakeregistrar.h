#pragma once

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QList>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>
#include <QUrlQuery>

#include <utility>

// A scriptable registrar: it answers every request with `head`; the test sends the events.
class FakeRegistrar : public QTcpServer
{
public:
    FakeRegistrar()
    {
        listen(QHostAddress::LocalHost);
        connect(this, &QTcpServer::newConnection, this, [this] {
            QTcpSocket *const socket = nextPendingConnection();
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] {
                m_head += socket->readAll();
                if (!m_head.endsWith("\r\n\r\n")) {
                    return;
                }
                const QByteArray path = std::exchange(m_head, {}).split(' ').value(1);
                // Clients of other tests may still ask for what was at this port before.
                if (path.startsWith("/iot/register")) {
                    target = path;
                    stream = socket;
                    recordDocument(QUrl::fromEncoded(target));
                    socket->write(head);
                }
            });
        });
    }

    QString url() const
    {
        return QStringLiteral("http://127.0.0.1:%1/iot/register").arg(serverPort());
    }
    void send(const QByteArray &event, const QByteArray &data)
    {
        stream->write("event: " + event + "\r\ndata: " + data + "\r\n\r\n");
    }
    void send(const QByteArray &event, const QJsonObject &data)
    {
        send(event, QJsonDocument(data).toJson(QJsonDocument::Compact));
    }

    QByteArray target;            // path and query of the last request
    QList<QJsonObject> documents; // of the requests, decoded
    QPointer<QTcpSocket> stream;  // of the last request
    QByteArray head = "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\n"
                      "Connection: close\r\n\r\n";

private:
    void recordDocument(const QUrl &url)
    {
        const QString doc = QUrlQuery(url).queryItemValue("doc", QUrl::FullyDecoded);
        const QByteArray zlib =
            QByteArray::fromBase64(doc.toLatin1(), QByteArray::Base64UrlEncoding);
        documents.append(QJsonDocument::fromJson(qUncompress(QByteArray(4, '\0') + zlib)).object());
    }

    QByteArray m_head;
};
