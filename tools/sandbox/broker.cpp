#include "tools/sandbox/broker.h"

#include "tools/sandbox/log.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>

#include <arpa/inet.h>
#include <csignal>
#include <linux/close_range.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

namespace {

using namespace std::chrono_literals;
constexpr auto minRestartDelay = 500ms;
constexpr auto maxRestartDelay = 30000ms;
constexpr auto stableRunTime = 60s; // after it, the restart delay is the minimum again

// Another process may take the port before the broker does.
quint16 freePort()
{
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    const bool bound = ::bind(fd, reinterpret_cast<sockaddr *>(&address), size) == 0 &&
                       ::getsockname(fd, reinterpret_cast<sockaddr *>(&address), &size) == 0;
    ::close(fd);
    return bound ? ntohs(address.sin_port) : 0;
}

// A child that the kernel kills when its parent ends, and that inherits none of the parent's
// sockets.
class TiedProcess : public QProcess
{
protected:
    void setupChildProcess() override
    {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != m_parent) {
            ::_exit(1); // the parent ended before prctl() took effect
        }
        ::close_range(3, ~0U, CLOSE_RANGE_CLOEXEC);
    }

private:
    const pid_t m_parent = ::getpid();
};

} // namespace

Broker::Broker(const QString &program, QObject *parent)
    : QObject(parent)
    , m_program(program)
    , m_process(std::make_unique<TiedProcess>())
    , m_restartDelay(minRestartDelay)
{
    m_process->setProcessChannelMode(QProcess::MergedChannels);
    m_process->setStandardInputFile(QProcess::nullDevice());
    m_restartTimer.setSingleShot(true);
    connect(m_process.get(), &QProcess::readyRead, this, &Broker::readLog);
    connect(m_process.get(), &QProcess::stateChanged, this, [this](QProcess::ProcessState state) {
        if (state == QProcess::NotRunning && m_keepRunning) {
            restartLater();
        }
    });
    connect(&m_restartTimer, &QTimer::timeout, this, [this] {
        m_launchTime = std::chrono::steady_clock::now();
        m_process->start(m_program, {"-c", m_configuration});
    });
}

Broker::~Broker()
{
    stop();
}

bool Broker::configure(const Files &files, QString &error) const
{
    const QStringList lines{
        QStringLiteral("listener %1 127.0.0.1").arg(m_port),
        "cafile " + files.authority,
        "certfile " + files.certificate,
        "keyfile " + files.key,
        "require_certificate true",
        "allow_anonymous true", // clients authenticate by their certificates
        "user root",            // or mosquitto, started as root, could not read its files
        "persistence false",
        "max_queued_messages 0", // unlimited: thousands of states may come at once
        "message_size_limit 1048576",
        "set_tcp_nodelay true",
        "log_dest stderr",
        "log_timestamp false",
        "log_type error",
        "log_type warning",
        "log_type notice",
        "log_type information", // for the line "running"
    };
    QFile file(m_configuration);
    if (!file.open(QIODevice::WriteOnly) || file.write(lines.join('\n').toUtf8() + '\n') < 0) {
        error = QStringLiteral("Cannot write %1: %2").arg(m_configuration, file.errorString());
        return false;
    }
    return true;
}

bool Broker::start(const Files &files, quint16 port, QString &error)
{
    m_configuration = QDir(files.folder).filePath("mosquitto.conf");
    const int attempts = port == 0 ? 5 : 1;
    for (int i = 0; i < attempts; ++i) {
        m_port = port == 0 ? freePort() : port;
        if (!configure(files, error)) {
            return false;
        }
        if (launch(error)) {
            m_keepRunning = true;
            return true;
        }
    }
    return false;
}

bool Broker::launch(QString &error)
{
    m_listening = false;
    m_launchTime = std::chrono::steady_clock::now();
    m_process->start(m_program, {"-c", m_configuration});
    const QDeadlineTimer deadline(10000);
    while (!m_listening && m_process->state() != QProcess::NotRunning && !deadline.hasExpired()) {
        m_process->waitForReadyRead(static_cast<int>(deadline.remainingTime()));
        readLog(); // Qt does not emit readyRead() while a slot of it is running
    }
    if (m_listening && m_process->state() == QProcess::Running) {
        return true;
    }
    error = QStringLiteral("mosquitto did not start on port %1: %2")
                .arg(m_port)
                .arg(m_process->error() == QProcess::FailedToStart ? m_process->errorString()
                                                                   : m_lastError);
    stop();
    return false;
}

void Broker::readLog()
{
    static const QRegularExpression connectedLine(
        "^New client connected from \\S+ as (.+) \\(p\\d+, c\\d+, k\\d+");
    static const QRegularExpression disconnectedLine(
        "^Client (.+) (?:disconnected\\.|closed its connection\\.|"
        "has exceeded timeout, disconnecting\\.|"
        "disconnected: .*|disconnected due to .*)$");
    static const QRegularExpression runningLine("^mosquitto version \\S+ running$");
    while (m_process->canReadLine()) {
        const QString line = QString::fromUtf8(m_process->readLine(4096)).trimmed();
        if (const auto match = connectedLine.match(line); match.hasMatch()) {
            emit clientChanged(match.captured(1), true);
        } else if (const auto left = disconnectedLine.match(line); left.hasMatch()) {
            emit clientChanged(left.captured(1), false);
        } else if (runningLine.match(line).hasMatch()) {
            m_listening = true;
            qCInfo(lcSandbox) << "The broker listens on port" << m_port;
        } else if (line.contains("rror")) {
            m_lastError = line;
            qCWarning(lcSandbox).noquote() << "mosquitto:" << line;
        } else {
            qCDebug(lcSandbox).noquote() << "mosquitto:" << line;
        }
    }
}

void Broker::restartLater()
{
    readLog();
    emit crashed();
    m_restartDelay = std::chrono::steady_clock::now() - m_launchTime > stableRunTime
                         ? minRestartDelay
                         : std::min(m_restartDelay * 2, std::chrono::milliseconds(maxRestartDelay));
    qCWarning(lcSandbox) << "mosquitto exited with code" << m_process->exitCode()
                         << "- restarting it in" << m_restartDelay.count() << "ms";
    m_restartTimer.start(m_restartDelay);
}

void Broker::stop()
{
    m_keepRunning = false;
    m_restartTimer.stop();
    if (m_process->state() == QProcess::NotRunning) {
        return;
    }
    m_process->terminate();
    if (!m_process->waitForFinished(3000)) {
        m_process->kill();
        m_process->waitForFinished(3000);
    }
}
