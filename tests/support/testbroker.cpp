#include "tests/support/testbroker.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>

#include <csignal>
#include <sys/prctl.h>

namespace {

bool openssl(const QStringList &arguments, const QByteArray &input = {})
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(QStringLiteral(KVG_OPENSSL), arguments);
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(60000) || process.exitCode() != 0) {
        qWarning().noquote() << "openssl failed:" << process.readAll();
        return false;
    }
    return true;
}

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

const QString authority = QStringLiteral(KVG_AUTHORITY_DIR "/authority");

} // namespace

void TestBroker::Process::setupChildProcess()
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
}

TestBroker::TestBroker()
{
    m_process.setProcessChannelMode(QProcess::MergedChannels);
}

TestBroker::~TestBroker()
{
    kill();
}

QString TestBroker::caFile() const
{
    return authority + QLatin1String(".pem");
}

TestBroker::Credentials TestBroker::issue(const QString &commonName)
{
    const QString key = m_dir.filePath("issued.key");
    const QString request = m_dir.filePath("issued.csr");
    const QString cert = m_dir.filePath("issued.pem");
    const QString extensions = m_dir.filePath("issued.ext");
    QFile ext(extensions);
    if (!ext.open(QIODevice::WriteOnly)) {
        return {};
    }
    ext.write("subjectAltName=DNS:localhost,IP:127.0.0.1\n");
    ext.close();
    if (!openssl({"req", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=" + commonName, "-keyout",
                  key, "-out", request}) ||
        !openssl({"x509", "-req", "-in", request, "-CA", caFile(), "-CAkey",
                  authority + QLatin1String(".key"), "-set_serial",
                  QString::number(qHash(commonName) | 1U), "-days", "30", "-extfile", extensions,
                  "-out", cert})) {
        return {};
    }
    return {contents(cert), contents(key)};
}

bool TestBroker::launch()
{
    const QStringList lines = {
        QStringLiteral("listener %1 127.0.0.1").arg(m_port),
        "user root", // started as root it would drop rights and not read its files
        "persistence false",
        "log_dest stderr",
        "max_queued_messages 0",
        "set_tcp_nodelay true",
        "allow_anonymous true",
        "require_certificate true",
        "cafile " + caFile(),
        "certfile " + m_dir.filePath("broker.pem"),
        "keyfile " + m_dir.filePath("broker.key")};
    QFile configuration(m_dir.filePath("mosquitto.conf"));
    if (!configuration.open(QIODevice::WriteOnly)) {
        return false;
    }
    configuration.write(lines.join('\n').toUtf8() + '\n');
    configuration.close();
    m_process.start(QStringLiteral(KVG_MOSQUITTO), {"-c", configuration.fileName()});
    const QDeadlineTimer deadline(10000);
    while (m_process.state() != QProcess::NotRunning && !deadline.hasExpired()) {
        QTcpSocket probe;
        probe.connectToHost("127.0.0.1", m_port);
        if (probe.waitForConnected(1000)) {
            return m_process.state() == QProcess::Running;
        }
        m_process.waitForFinished(20);
    }
    qWarning().noquote() << "mosquitto did not start:" << m_process.readAll();
    return false;
}

bool TestBroker::start()
{
    if (!QFile::exists(m_dir.filePath("broker.pem"))) {
        const Credentials own = issue("localhost");
        for (const auto &[name, text] :
             {std::pair("broker.pem", own.cert), std::pair("broker.key", own.key)}) {
            QFile file(m_dir.filePath(name));
            if (text.isEmpty() || !file.open(QIODevice::WriteOnly)) {
                return false;
            }
            file.write(text);
        }
    }
    if (m_port != 0) {
        return launch();
    }
    for (int attempt = 0; attempt < 5; ++attempt) {
        QTcpServer reservation; // another process may take the port meanwhile: hence the attempts
        if (!reservation.listen(QHostAddress::LocalHost)) {
            return false;
        }
        m_port = reservation.serverPort();
        reservation.close();
        if (launch()) {
            return true;
        }
        kill();
    }
    return false;
}

void TestBroker::kill()
{
    m_process.kill();
    m_process.waitForFinished();
}
