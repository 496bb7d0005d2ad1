#include "app/consolesession.h"

#include "runner/zugatewrunner.h"
#include "settings/settingsstore.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QMetaEnum>

#include <algorithm>
#include <chrono>
#include <cstdio>

using namespace std::chrono_literals;

namespace {

constexpr int loaded = -1;                // no operation: the start-up chain is done
constexpr int longestCommand = 64 * 1024; // bytes

QJsonObject toJson(const ThingState &thing)
{
    return {{"id", thing.shortid},
            {"alias", thing.alias},
            {"regid", thing.regid},
            {"gone", thing.gone},
            {"state", thing.state}};
}

QJsonValue toJson(const QVariant &result)
{
    if (result.userType() != qMetaTypeId<ThingStateList>()) {
        return QJsonValue::fromVariant(result);
    }
    QJsonArray things;
    const auto list = result.value<ThingStateList>();
    for (const ThingState &thing : list) {
        things.append(toJson(thing));
    }
    return things;
}

void print(const QJsonObject &line)
{
    const QByteArray text = QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n';
    std::fwrite(text.constData(), 1, static_cast<size_t>(text.size()), stdout);
    std::fflush(stdout);
}

std::chrono::milliseconds scanPeriod()
{
    const qint64 minutes = SettingsStore().value(keys::ScanInterval);
    return std::clamp<std::chrono::milliseconds>(std::chrono::minutes(minutes), 30s, 24h);
}

} // namespace

ConsoleSession::ConsoleSession(QObject *parent)
    : QObject(parent)
    , m_awaited(loaded)
{
    ZugatewRunner *const runner = m_worker.runner();
    connect(runner, &ZugatewRunner::finished, this, &ConsoleSession::showResult);
    connect(runner, &ZugatewRunner::thingChanged, this, &ConsoleSession::showThing);
    connect(runner, &ZugatewRunner::connectivityChanged, this, [](bool on) {
        print({{"connected", on}});
    });
    // Without a window there is nothing to show a device's own interface in.
    connect(runner, &ZugatewRunner::deviceCreated, this, [](QObject *ui) { delete ui; });
    connect(&m_input, &StandardInput::received, this, &ConsoleSession::readInput);
    connect(&m_input, &StandardInput::ended, this, &QCoreApplication::quit);
    connect(&m_scanTimer, &QTimer::timeout, this, &ConsoleSession::requestScan);
}

ConsoleSession::~ConsoleSession()
{
    m_worker.stop();
}

void ConsoleSession::start()
{
    m_worker.start();
    m_awaited = ZugatewRunner::Load;
    queue(&ZugatewRunner::loadPlugins);
    if (SettingsStore().value(keys::AutoScan)) {
        m_scanTimer.start(scanPeriod());
    }
}

template <typename Slot>
void ConsoleSession::queue(Slot slot)
{
    QMetaObject::invokeMethod(m_worker.runner(), slot, Qt::QueuedConnection);
}

void ConsoleSession::requestScan()
{
    if (!m_scanning) {
        m_scanning = true;
        queue(&ZugatewRunner::rescan);
    }
}

void ConsoleSession::showResult(int operation, const QVariant &result)
{
    const char *const name = QMetaEnum::fromType<ZugatewRunner::Operation>().valueToKey(operation);
    print({{"op", QString::fromLatin1(name)}, {"result", toJson(result)}});
    if (operation == ZugatewRunner::Rescan) {
        m_scanning = false;
    }
    // A command of the user's may ask for the same meanwhile; the chain goes on step by step.
    if (operation == m_awaited) {
        continueLoading();
    }
}

void ConsoleSession::continueLoading()
{
    switch (m_awaited) {
    case ZugatewRunner::Load:
        m_awaited = ZugatewRunner::Lsmod;
        queue(&ZugatewRunner::listPlugins);
        break;
    case ZugatewRunner::Lsmod:
        m_awaited = ZugatewRunner::Rescan;
        requestScan();
        break;
    case ZugatewRunner::Rescan:
        m_awaited = ZugatewRunner::Lsthings;
        queue(&ZugatewRunner::listThings);
        break;
    case ZugatewRunner::Lsthings:
        m_awaited = ZugatewRunner::CConnect;
        QMetaObject::invokeMethod(m_worker.runner(), "connectToCloud", Qt::QueuedConnection,
                                  Q_ARG(bool, true));
        break;
    case ZugatewRunner::CConnect:
        m_awaited = ZugatewRunner::CStatus;
        queue(&ZugatewRunner::cloudStatus);
        break;
    default:
        m_awaited = loaded;
        print({{"ready", true}});
        break;
    }
}

void ConsoleSession::showThing(const ThingState &thing)
{
    print({{"thing", toJson(thing)}});
}

void ConsoleSession::readInput(const QByteArray &piece)
{
    m_unread += piece;
    for (int end = m_unread.indexOf('\n'); end >= 0; end = m_unread.indexOf('\n')) {
        const QByteArray line = m_unread.left(end).trimmed();
        m_unread.remove(0, end + 1);
        execute(line);
    }
    if (m_unread.size() > longestCommand) {
        print({{"error", "command too long"}});
        m_unread.clear();
    }
}

void ConsoleSession::execute(const QByteArray &line)
{
    const QString text = QString::fromUtf8(line);
    const QString command = text.section(QLatin1Char(' '), 0, 0);
    if (command == QLatin1String("register")) {
        queue(&ZugatewRunner::generateDoc);
    } else if (command == QLatin1String("rename")) {
        QMetaObject::invokeMethod(m_worker.runner(), "renameThing", Qt::QueuedConnection,
                                  Q_ARG(QString, text.section(QLatin1Char(' '), 1, 1)),
                                  Q_ARG(QString, text.section(QLatin1Char(' '), 2)));
    } else if (command == QLatin1String("things")) {
        queue(&ZugatewRunner::listThings);
    } else if (command == QLatin1String("status")) {
        queue(&ZugatewRunner::cloudStatus);
    } else if (command == QLatin1String("state")) {
        queue(&ZugatewRunner::registrationState);
    } else if (command == QLatin1String("rescan")) {
        requestScan();
    } else if (command == QLatin1String("reset")) {
        queue(&ZugatewRunner::resetGateway);
    } else if (command == QLatin1String("quit")) {
        // By way of the runner, so that what was asked before is still answered.
        QMetaObject::invokeMethod(
            m_worker.runner(),
            [this] {
                QMetaObject::invokeMethod(this, &QCoreApplication::quit, Qt::QueuedConnection);
            },
            Qt::QueuedConnection);
    } else if (!command.isEmpty()) {
        print({{"error", QStringLiteral("unknown command: %1").arg(command.left(80))}});
    }
}
