#pragma once

#include <QHash>
#include <QObject>
#include <QString>
#include <QStringList>

#include <memory>

class QLocalServer;
class QLocalSocket;
class QSharedMemory;

// Keeps the application to one running instance for each user, and carries a word from a second
// one to the first. Needs the application's name. Interface thread; the first instance needs an
// event loop to hear anything.
//
// All system-wide names come from the SHA-256 of the application's name, so two installations of
// that name share one guard. Where they belong to another user of the computer, names made with
// the home folder as well take their place.
class SingleAppHandler : public QObject
{
    Q_OBJECT

public:
    explicit SingleAppHandler(QObject *parent = nullptr);
    // Lets a new first instance start.
    ~SingleAppHandler() override;

    // True when no other instance lives; this one then counts as the first until the object
    // goes, and listens. A further call of a first instance answers true again. Takes three
    // seconds at the most: where the system does not let the instance mark its presence, it still
    // counts as the first, with a log line, and the socket alone keeps the next one away.
    bool isFirstInstance();

    // Hands a text without line breaks to the first instance. Waits at most 500 ms for the
    // connection, and five seconds for the bytes to leave: on Windows, for the other's event loop
    // to read them. A message that does not get through is lost without a word.
    void sendMessage(const QString &message);

    static constexpr int longestMessage = 4096; // bytes; who sends more is cut off
    static constexpr int mostClients = 16;      // at a time; further ones are turned away

signals:
    void incomingMessage(const QString &msg);

private slots:
    void processConnection();
    void processDisconnected();
    void clientReadyRead();

private:
    bool isAnswered() const;
    void receive(QLocalSocket *client);
    void listen(const QStringList &names);

    const QString m_key;
    const QStringList m_names; // the key, and what stands in for it
    std::unique_ptr<QSharedMemory> m_segment;
    std::unique_ptr<QLocalServer> m_server;
    QHash<QLocalSocket *, QByteArray> m_received; // of each client, not yet a whole message
};
