#pragma once

#include <QObject>
#include <QString>
#include <QTimer>

#include <chrono>
#include <memory>

class QProcess;

// mosquitto as a child process: TLS on 127.0.0.1, client certificates required. Use it on the main
// thread: Linux kills the child when the thread that started it ends.
class Broker : public QObject
{
    Q_OBJECT

public:
    struct Files
    {
        QString folder; // for the configuration
        QString authority;
        QString certificate;
        QString key;
    };
    explicit Broker(const QString &program, QObject *parent = nullptr);
    ~Broker() override;

    // Starts mosquitto and waits until it listens. Port 0: any free one. False, with the reason, on
    // failure. If mosquitto exits later, it is restarted on the same port.
    [[nodiscard]] bool start(const Files &files, quint16 port, QString &error);
    quint16 port() const { return m_port; }
    // Ends the child and waits for it.
    void stop();

signals:
    // `clientId` is what the client calls itself.
    void clientChanged(const QString &clientId, bool connected);
    // mosquitto exited unexpectedly: all clients are disconnected.
    void crashed();

private:
    [[nodiscard]] bool configure(const Files &files, QString &error) const;
    [[nodiscard]] bool launch(QString &error);
    void readLog();
    void restartLater();

    const QString m_program;
    std::unique_ptr<QProcess> m_process;
    QTimer m_restartTimer;
    QString m_configuration;
    QString m_lastError; // from mosquitto's log
    bool m_listening = false;
    quint16 m_port = 0;
    bool m_keepRunning = false;
    std::chrono::milliseconds m_restartDelay;
    std::chrono::steady_clock::time_point m_launchTime;
};
