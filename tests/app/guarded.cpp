// Says "first" and then each message that it hears, or sends its argument as a message and says
// "second". Starts with a line on its standard input, so that several start together. With the
// argument "--dawdle" it never gives up the turn to ask; as another user, who has taken the socket
// or the shared memory too, with "--dawdle-socket", "--dawdle-segment" or
// "--dawdle-socket-segment". KVG_TEST_USER is the number of the user that it runs as.
#include "app/singleapphandler.h"
#include "tests/app/otheruser.h"

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
    if (!becomeUser(qEnvironmentVariableIntValue("KVG_TEST_USER"))) {
        say("no other user");
        return 0;
    }
    if (word.startsWith("--dawdle")) {
        const QString key = QString::fromLatin1(
            QCryptographicHash::hash("Guarded", QCryptographicHash::Sha256).toHex());
        if (word != "--dawdle" && !takeAsOtherUser(key, word)) {
            say("no other user");
            return 0;
        }
        QSystemSemaphore turn(key + "_semaphore", 1);
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
