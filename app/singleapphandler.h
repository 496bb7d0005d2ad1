#pragma once

#include <QHash>
#include <QObject>
#include <QString>
#include <QStringList>

#include <memory>

class QFile;
class QLocalServer;
class QLocalSocket;
class QSharedMemory;

// Keeps the application to one running instance for each user, and passes messages from a second
// one to the first. Needs the application's name. Interface thread; the first instance needs an
// event loop to receive anything.
//
// Semaphore, shared memory and local server are named by the SHA-256 of the application's name, so
// two installations of that name share one guard. They are open to every user of the computer:
// what another user has put there counts for nothing. A lock file in the application's data folder,
// which only this user can write, keeps a second instance away in any case; the server moves there
// too when its first name is taken (on Windows to a name made with the home folder as well).
class SingleAppHandler : public QObject
{
    Q_OBJECT

public:
    explicit SingleAppHandler(QObject *parent = nullptr);
    // Lets a new first instance start.
    ~SingleAppHandler() override;

    // True when no other instance of this user runs; this one then is the first until the object is
    // destroyed, and listens. A further call of a first instance returns true again. Waits at most
    // three seconds for a semaphore that another process holds. What cannot be used is logged, and
    // the rest of the guard does without.
    bool isFirstInstance();

    // Hands a text without line breaks to this user's first instance. Waits at most 500 ms for the
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
    bool lock();
    bool listen();
    void receive(QLocalSocket *client);

    const QString m_key;
    const QString m_folder;    // only this user can write it
    const QStringList m_names; // of the server, by preference
    std::unique_ptr<QFile> m_lock;
    std::unique_ptr<QSharedMemory> m_segment;
    std::unique_ptr<QLocalServer> m_server;
    QHash<QLocalSocket *, QByteArray> m_received; // of each client, not yet a whole message
};
