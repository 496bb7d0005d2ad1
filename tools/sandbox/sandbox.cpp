#include "tools/sandbox/sandbox.h"

#include "tools/sandbox/authority.h"
#include "tools/sandbox/broker.h"
#include "tools/sandbox/brokerwatch.h"
#include "tools/sandbox/eventhub.h"
#include "tools/sandbox/fleet.h"
#include "tools/sandbox/log.h"
#include "tools/sandbox/portal.h"
#include "tools/sandbox/registrar.h"
#include "tools/sandbox/webserver.h"

#include <QDir>
#include <QFile>
#include <QLockFile>
#include <QStandardPaths>

namespace {

bool writeFile(const QString &path, const QByteArray &content, QString &error)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size()) {
        error = QStringLiteral("Cannot write %1: %2").arg(path, file.errorString());
        return false;
    }
    return true;
}

// A user's PATH often lacks /usr/sbin, where mosquitto is installed.
QString brokerProgram()
{
    const QString found = QStandardPaths::findExecutable("mosquitto");
    return found.isEmpty()
               ? QStandardPaths::findExecutable("mosquitto", {"/usr/sbin", "/usr/local/sbin"})
               : found;
}

} // namespace

struct Sandbox::Parts
{
    Parts(const QString &folder, const QString &program)
        : lock(QDir(folder).filePath("lock"))
        , fleet(AccountFile(QDir(folder).filePath("state.json")))
        , broker(program)
        , watch(fleet, hub)
    {
        lock.setStaleLockTime(0); // no limit: a sandbox may run for days
    }

    QLockFile lock;
    Authority authority;
    Fleet fleet;
    EventHub hub;
    Broker broker;
    BrokerWatch watch;
    std::unique_ptr<Registrar> registrar;
    std::unique_ptr<Portal> portal;
    std::unique_ptr<WebServer> server;
};

Sandbox::Sandbox(const Options &options, QObject *parent)
    : QObject(parent)
    , m_options(options)
{
}

Sandbox::~Sandbox()
{
    if (!m_parts) {
        return;
    }
    // Wake the waiting handlers, so that the server can end; it uses the other parts. The broker
    // ends last, or its end would look like a crash.
    m_parts->hub.close();
    if (m_parts->registrar) {
        m_parts->registrar->shutDown();
    }
    if (m_parts->server) {
        m_parts->server->finish();
    }
    m_parts->watch.stop();
    m_parts->broker.stop();
}

bool Sandbox::prepareFolder(QString &error)
{
    const QDir dir(m_options.folder);
    if (!dir.mkpath(".") ||
        !QFile::setPermissions(dir.absolutePath(),
                               QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner)) {
        error = QStringLiteral("Cannot make the folder %1").arg(dir.absolutePath());
        return false;
    }
    const QString program = brokerProgram();
    if (program.isEmpty()) {
        error = QStringLiteral("mosquitto is not installed");
        return false;
    }
    m_parts = std::make_unique<Parts>(dir.absolutePath(), program);
    if (!m_parts->lock.tryLock()) {
        error = QStringLiteral("Another sandbox uses %1").arg(dir.absolutePath());
        return false;
    }
    return true;
}

bool Sandbox::startBroker(QString &error)
{
    const QDir dir(m_options.folder);
    Broker::Files files{dir.absolutePath(), m_parts->authority.certificateFile(),
                        dir.absoluteFilePath("broker.pem"), dir.absoluteFilePath("broker.key")};
    BrokerWatch::Endpoint endpoint{0, files.authority, dir.absoluteFilePath("watch.pem"),
                                   dir.absoluteFilePath("watch.key")};
    const auto forBroker = m_parts->authority.issue("localhost", Authority::Role::Server, error);
    const auto forWatch =
        m_parts->authority.issue("kvg-sandbox-watch", Authority::Role::Client, error);
    if (!forBroker || !forWatch || !writeFile(files.certificate, forBroker->cert, error) ||
        !writeFile(files.key, forBroker->key, error) ||
        !writeFile(endpoint.certificate, forWatch->cert, error) ||
        !writeFile(endpoint.key, forWatch->key, error)) {
        return false;
    }

    Fleet &fleet = m_parts->fleet;
    connect(&m_parts->broker, &Broker::clientChanged, this, [this](const QString &id, bool on) {
        if (m_parts->fleet.setConnected(id, on)) {
            m_parts->hub.post(streamEvent("link", QJsonObject{{"id", id}, {"connected", on}}));
        }
    });
    connect(&m_parts->broker, &Broker::crashed, this, [this] {
        m_parts->fleet.disconnectAll();
        m_parts->hub.requestSnapshots();
    });
    const quint16 known = fleet.brokerPort();
    if (m_options.brokerPort != 0 || known == 0) {
        if (!m_parts->broker.start(files, m_options.brokerPort, error)) {
            return false;
        }
    } else if (!m_parts->broker.start(files, known, error)) {
        // The settings of every registered gateway hold this port.
        if (!fleet.isEmpty()) {
            error += QStringLiteral("; the registered gateways know the broker by this port");
            return false;
        }
        if (!m_parts->broker.start(files, 0, error)) {
            return false;
        }
    }
    if (m_parts->broker.port() != known && !fleet.setBrokerPort(m_parts->broker.port(), error)) {
        return false;
    }
    endpoint.port = m_parts->broker.port();
    return m_parts->watch.start(endpoint, error);
}

bool Sandbox::start(QString &error)
{
    if (!prepareFolder(error) || !m_parts->authority.load(m_options.authority, error) ||
        !m_parts->fleet.load(error) || !startBroker(error)) {
        return false;
    }
    m_parts->server = std::make_unique<WebServer>();
    if (!m_parts->server->bind(m_options.port, error)) {
        return false;
    }
    m_parts->registrar = std::make_unique<Registrar>(
        m_parts->fleet, m_parts->authority,
        Registrar::Broker{QStringLiteral("localhost"), m_parts->broker.port()},
        m_options.codeTimeout);
    m_parts->portal = std::make_unique<Portal>(
        m_parts->fleet, *m_parts->registrar, m_parts->hub,
        [watch = &m_parts->watch](const QString &id, const QByteArray &update) {
            return watch->send(id, update);
        });
    m_parts->portal->serve(*m_parts->server);
    m_parts->server->run();
    return true;
}

QJsonObject Sandbox::addresses() const
{
    const QString root = QStringLiteral("http://127.0.0.1:%1").arg(m_parts->server->port());
    return {{"portal", root + "/things"},
            {"register", root + "/iot/register"},
            {"broker", QJsonObject{{"host", "localhost"}, {"port", m_parts->broker.port()}}},
            {"ca", m_parts->authority.certificateFile()}};
}
