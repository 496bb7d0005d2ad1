// Says "first" and then each message that it hears, or sends its argument as a message and says
// "second". Starts with a line on its standard input, so that several start together. With the
// argument "--dawdle" it never gives up the turn to ask.
#include "app/singleapphandler.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QSystemSemaphore>

#include <cstdio>
#include <string>

namespace {

void say(const QString &text)
{
    std::puts(qPrintable(text));
    std::fflush(stdout);
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName("Guarded");
    const QString word = app.arguments().value(1);
    if (word == "--dawdle") {
        const QByteArray key = QCryptographicHash::hash("Guarded", QCryptographicHash::Sha256);
        QSystemSemaphore turn(QString::fromLatin1(key.toHex()) + "_semaphore", 1);
        turn.acquire();
        say("dawdles");
        return QCoreApplication::exec();
    }
    std::getchar();
    SingleAppHandler guard;
    QObject::connect(&guard, &SingleAppHandler::incomingMessage, &guard, say);
    if (guard.isFirstInstance()) {
        say("first");
        return QCoreApplication::exec();
    }
    guard.sendMessage(word);
    say("second");
    return 0;
}
