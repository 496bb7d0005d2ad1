#pragma once

#include "check/checkstep.h"

#include <QDateTime>
#include <QObject>
#include <QTimer>

#include <memory>

class GatewayThing;
class QNetworkReply;
class QSslSocket;
struct ConnectionFailure;

// Looks for what is wrong with the connection to the cloud, one step after the other, each for ten
// seconds at most. Works without a registration as far as it goes. A connection that is up is left
// alone; one that is down is begun anew. Lives on the runner's thread, never blocks it.
class ConnectionCheck : public QObject
{
    Q_OBJECT

public:
    // `gateway` is borrowed.
    explicit ConnectionCheck(GatewayThing &gateway, QObject *parent = nullptr);
    ~ConnectionCheck() override;

    // For the report.
    void addDeviceType(const QString &name, const QString &version);

public slots:
    // Begins with the first step, also while a check is running.
    void start();
    // No further step is reported.
    void cancel();

signals:
    // Twice for each step: that it runs, and how it ended.
    void stepChanged(const CheckStep &step);
    // `facts`: lines on program, computer, device types and messages, for those who help the user;
    // in English, as the log is.
    void finished(const QString &facts);
    // The connection is to be begun anew, in the slot.
    void reconnectRequested();

private:
    struct Step
    {
        const char *name;
        void (ConnectionCheck::*begin)();
    };
    static const Step steps[];

    QString facts() const;
    void next();
    void end(CheckStep::Status status, const QString &seen, const QString &advice = {});
    void pass(const QString &seen) { end(CheckStep::Passed, seen); }
    void skip(const QString &why) { end(CheckStep::Skipped, why); }
    void fail(const QString &seen, const QString &advice);
    void fail(const ConnectionFailure &failure);
    // Skips a step that needs what an earlier one did not find.
    bool skipWithout(bool found);

    void checkSettings();
    void lookUpHost();
    void connectToPort();
    void encrypt();
    void checkCredentials();
    void signIn();
    void readLink();
    void askRegistrar();
    void readAnswer(QNetworkReply *reply);
    void checkClock();
    void checkFolder();

    GatewayThing &m_gateway;
    QStringList m_deviceTypes;
    QTimer m_limit; // of the step
    int m_number = -1;
    QString m_host;
    quint16 m_port = 0;
    std::unique_ptr<QObject> m_context;   // of the step's connections
    std::unique_ptr<QSslSocket> m_socket; // of the steps for port and encryption
    bool m_hasSettings = false;
    bool m_hasAddress = false;
    bool m_hasPort = false;
    bool m_hasEncryption = false;
    bool m_hasCredentials = false;
    QDateTime m_serverTime; // invalid: no server told it
};
