// What another process writes into the guard's socket: whole lines arrive, in pieces or at once.
#include "app/singleapphandler.h"
#include "fuzz/fuzz.h"

#include <QCryptographicHash>
#include <QDeadlineTimer>
#include <QLocalSocket>

void fuzz(const QByteArray &bytes)
{
    static const QByteArray name = QCryptographicHash::hash(
        QCoreApplication::applicationName().toUtf8(), QCryptographicHash::Sha256);
    static QStringList messages;
    static auto *const guard = [] {
        auto *const made = new SingleAppHandler;
        require(made->isFirstInstance());
        QObject::connect(made, &SingleAppHandler::incomingMessage,
                         [](const QString &message) { messages.append(message); });
        return made;
    }();
    QStringList expected;
    for (const QByteArray &line : bytes.left(bytes.lastIndexOf('\n') + 1).split('\n')) {
        expected.append(QString::fromUtf8(line));
    }
    expected.removeLast();
    messages.clear();
    QLocalSocket client(guard);
    client.connectToServer(QString::fromLatin1(name.toHex()));
    require(client.waitForConnected());
    inPieces(bytes, [&](const QByteArray &piece) {
        client.write(piece);
        client.flush();
        if (bytes.size() % 2 == 0) {
            QCoreApplication::processEvents();
        }
    });
    for (const QDeadlineTimer deadline(9000); messages != expected && !deadline.hasExpired();) {
        QCoreApplication::processEvents();
    }
    require(messages == expected);
    client.disconnectFromServer();
    QCoreApplication::processEvents();
}
