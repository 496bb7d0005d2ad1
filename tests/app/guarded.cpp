// A program with a SingleAppHandler. The first instance prints "first" and each message that it
// receives; a second one sends its argument as a message and prints "second". It waits for a line
// on its standard input, so that several can start together. With "--hold" it acquires the
// semaphore for good and prints "holds"; with "--hold-socket", "--hold-segment" or
// "--hold-socket-segment" it does so as another user who owns the socket, the shared memory or
// both. KVG_TEST_USER is the id of the user to run as.
#include "app/singleapphandler.h"
#include "tests/app/otheruser.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QSystemSemaphore>

#include <cstdio>
#include <string>

namespace {

void print(const QString &text)
{
    std::puts(qPrintable(text));
    std::fflush(stdout);
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName("Guarded");
    const QString argument = app.arguments().value(1);
    if (!becomeUser(qEnvironmentVariableIntValue("KVG_TEST_USER"))) {
        print("no other user");
        return 0;
    }
    if (argument.startsWith("--hold")) {
        const QString key = QString::fromLatin1(
            QCryptographicHash::hash("Guarded", QCryptographicHash::Sha256).toHex());
        if (argument != "--hold" && !takeAsOtherUser(key, argument)) {
            print("no other user");
            return 0;
        }
        QSystemSemaphore semaphore(key + "_semaphore", 1);
        semaphore.acquire();
        print("holds");
        return QCoreApplication::exec();
    }
    std::getchar();
    SingleAppHandler guard;
    QObject::connect(&guard, &SingleAppHandler::incomingMessage, &guard, print);
    if (guard.isFirstInstance()) {
        print("first");
        return QCoreApplication::exec();
    }
    guard.sendMessage(argument);
    print("second");
    return 0;
}
