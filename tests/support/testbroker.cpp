#include "tests/support/testbroker.h"

#include "tests/support/files.h"

#include <QDeadlineTimer>
#include <QRandomGenerator>
#include <QTcpSocket>

namespace {

bool openssl(const QStringList &arguments, const QByteArray &input = {})
{
    HostProcess process;
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

const QString authority = QStringLiteral(KVG_AUTHORITY_DIR "/authority");

} // namespace

QString TestBroker::caFile() const
{
    return authority + QLatin1String(".pem");
}

TestBroker::Credentials TestBroker::issue(const QString &commonName, int days)
{
    const QString key = m_dir.filePath("issued.key");
    const QString request = m_dir.filePath("issued.csr");
    const QString cert = m_dir.filePath("issued.pem");
    if (!openssl({"req", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=" + commonName, "-keyout",
                  key, "-out", request}) ||
        !openssl({"x509", "-req", "-in", request, "-CA", caFile(), "-CAkey",
                  authority + QLatin1String(".key"), "-set_serial",
                  QString::number(qHash(commonName) | 1U), "-days", QString::number(days),
                  "-extfile", "/dev/stdin", "-out", cert},
                 "subjectAltName=DNS:localhost,IP:127.0.0.1\n")) {
        return {};
    }
    return {readFile(cert), readFile(key)};
}

TestBroker::Credentials TestBroker::selfSigned()
{
    const QString key = m_dir.filePath("own.key");
    const QString cert = m_dir.filePath("own.pem");
    openssl({"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=localhost", "-addext",
             "subjectAltName=DNS:localhost", "-days", "30", "-keyout", key, "-out", cert});
    return {readFile(cert), readFile(key)};
}

bool TestBroker::start()
{
    const Credentials own = issue("localhost");
    if (own.cert.isEmpty() || !writeFile(m_dir.filePath("broker.pem"), own.cert) ||
        !writeFile(m_dir.filePath("broker.key"), own.key)) {
        return false;
    }
    for (int attempt = 0; attempt < 5; ++attempt) {
        // Below the ports that systems give away: none gets it while the broker is down. Another
        // process may have it already: so retry.
        m_port = quint16(QRandomGenerator::system()->bounded(20000, 30000));
        const QStringList lines = {
            QStringLiteral("listener %1 127.0.0.1").arg(m_port),
            "user root", // else a broker started as root changes user and cannot read its files
            "max_queued_messages 0",
            "set_tcp_nodelay true",
            "allow_anonymous true",
            "require_certificate true",
            "cafile " + caFile(),
            "certfile " + m_dir.filePath("broker.pem"),
            "keyfile " + m_dir.filePath("broker.key")};
        writeFile(m_dir.filePath("mosquitto.conf"), lines.join('\n').toUtf8() + '\n');
        if (restart()) {
            return true;
        }
    }
    return false;
}

bool TestBroker::restart()
{
    m_process.start(QStringLiteral(KVG_MOSQUITTO), {"-c", m_dir.filePath("mosquitto.conf")});
    const QDeadlineTimer deadline(10000);
    while (m_process.state() != QProcess::NotRunning && !deadline.hasExpired()) {
        QTcpSocket probe;
        probe.connectToHost("127.0.0.1", m_port);
        // If another process took the port and answers, the broker ends.
        if (probe.waitForConnected(1000) && !m_process.waitForFinished(50)) {
            return true;
        }
        m_process.waitForFinished(20);
    }
    qWarning().noquote() << "mosquitto did not start:" << m_process.readAll();
    return false;
}

void TestBroker::kill()
{
    m_process.kill();
    m_process.waitForFinished();
}
