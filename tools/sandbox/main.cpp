#include "tools/sandbox/log.h"
#include "tools/sandbox/sandbox.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QJsonDocument>
#include <QSocketNotifier>

#include <array>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::array<int, 2> stopSockets{-1, -1}; // a signal handler may call write(), but not Qt

void writeLog(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    const QByteArray line = qFormatLogMessage(type, context, message).toLocal8Bit() + '\n';
    std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stderr);
}

void stopBySignals(QCoreApplication &app)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, stopSockets.data()) !=
        0) {
        return;
    }
    auto *notifier = new QSocketNotifier(stopSockets[1], QSocketNotifier::Read, &app);
    QObject::connect(notifier, &QSocketNotifier::activated, &app, &QCoreApplication::quit);
    struct sigaction action = {};
    action.sa_handler = [](int) {
        const char byte = 1;
        const ssize_t ignored = ::write(stopSockets[0], &byte, 1);
        static_cast<void>(ignored);
    };
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
    ::sigaction(SIGHUP, &action, nullptr);
}

void stopAtEndOfInput(QCoreApplication &app)
{
    auto *notifier = new QSocketNotifier(STDIN_FILENO, QSocketNotifier::Read, &app);
    QObject::connect(notifier, &QSocketNotifier::activated, &app, [&app, notifier] {
        std::array<char, 256> ignored{};
        if (::read(STDIN_FILENO, ignored.data(), ignored.size()) <= 0) {
            notifier->setEnabled(false);
            app.quit();
        }
    });
}

// -1 if `text` is no number within the limits.
qint64 number(const QString &text, qint64 min, qint64 max)
{
    bool good = false;
    const qint64 value = text.toLongLong(&good);
    return good && value >= min && value <= max ? value : -1;
}

int fail(const QString &reason)
{
    std::fprintf(stderr, "kvg-sandbox: %s\n", qPrintable(reason));
    return 1;
}

} // namespace

int main(int argc, char *argv[])
{
    ::umask(077); // for the keys
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName("kvg-sandbox");
    qSetMessagePattern("%{time process} kvg-sandbox: %{message}");
    qInstallMessageHandler(writeLog);

    QCommandLineParser parser;
    parser.setApplicationDescription(
        "A cloud on this computer, to try the gateway without an account.");
    parser.addHelpOption();
    parser.addOptions({{"authority", "Folder of the certificate authority.", "folder"},
                       {"dir", "Working folder; holds the registrations.", "folder"},
                       {"port", "Port of the web portal; 0: any free one.", "number", "0"},
                       {"broker-port", "Port of the broker; 0: as last time.", "number", "0"},
                       {"code-timeout", "Seconds that a code is valid.", "seconds", "300"},
                       {"until-eof", "End when standard input is closed."}});
    parser.process(app);
    const qint64 port = number(parser.value("port"), 0, 65535);
    const qint64 brokerPort = number(parser.value("broker-port"), 0, 65535);
    const qint64 timeout = number(parser.value("code-timeout"), 1, 86400);
    if (!parser.isSet("authority") || !parser.isSet("dir")) {
        return fail("--authority and --dir are needed");
    }
    if (port < 0 || brokerPort < 0 || timeout < 0) {
        return fail("A port is 0 to 65535, a timeout 1 to 86400 seconds");
    }

    stopBySignals(app);
    if (parser.isSet("until-eof")) {
        stopAtEndOfInput(app);
    }
    Sandbox sandbox({parser.value("authority"), parser.value("dir"), static_cast<quint16>(port),
                     static_cast<quint16>(brokerPort), std::chrono::seconds(timeout)});
    QString error;
    if (!sandbox.start(error)) {
        return fail(error);
    }
    const QByteArray line = QJsonDocument(sandbox.addresses()).toJson(QJsonDocument::Compact);
    std::printf("%s\n", line.constData());
    std::fflush(stdout);
    qCInfo(lcSandbox).noquote() << "Ready:" << sandbox.addresses().value("portal").toString();
    return QCoreApplication::exec();
}
