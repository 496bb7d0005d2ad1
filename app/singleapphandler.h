#pragma once

#include <QHash>
#include <QObject>
#include <QString>
#include <QStringList>

#include <chrono>
#include <memory>

class QFile;
class QLocalServer;
class QLocalSocket;
class QSharedMemory;

// Allows one running instance for each user, and sends messages from a second instance to the
// first. Needs the application's name. Interface thread; the first instance needs an event loop to
// receive messages.
//
// Semaphore, shared memory and local server are named by the SHA-256 of the application's name, so
// two installations of that name share one guard. Every user of the computer can open them: those
// of another user are ignored. A lock file in the application's data folder, which only this user
// can write, always keeps a second instance out. When another user has the server's name, the
// server uses a second one: in that folder, on Windows made from the home folder.
class SingleAppHandler : public QObject
{
    Q_OBJECT

public:
    explicit SingleAppHandler(QObject *parent = nullptr);
    ~SingleAppHandler() override;

    // True when no other instance of this user runs. This one is then the first until the object is
    // destroyed, and receives messages; further calls return true. Waits at most maxSemaphoreWait.
    // A part of the guard that fails is logged and left out.
    [[nodiscard]] bool isFirstInstance();

    // Sends a text without line breaks to this user's first instance. Waits at most maxConnectWait
    // for it to listen, then maxWriteWait for the bytes to leave. A message that does not arrive is
    // lost without a log line.
    void sendMessage(const QString &message);

    static constexpr std::chrono::seconds maxSemaphoreWait{3};
    static constexpr int maxConnectWait = 500;  // milliseconds
    static constexpr int maxWriteWait = 5000;   // milliseconds; Windows waits until they are read
    static constexpr int maxMessageSize = 4096; // bytes; a client that sends more is disconnected
    static constexpr int maxClients = 16;       // at a time; further ones are disconnected

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
    const QString m_folder;          // only this user can write it
    const QStringList m_serverNames; // the second one is used when another user has the first
    std::unique_ptr<QFile> m_lock;
    std::unique_ptr<QSharedMemory> m_segment;
    std::unique_ptr<QLocalServer> m_server;
    QHash<QLocalSocket *, QByteArray> m_received; // of each client: an incomplete message
};
