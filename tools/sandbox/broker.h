#pragma once

#include <QObject>
#include <QString>
#include <QTimer>

#include <chrono>
#include <memory>

class QProcess;

// mosquitto as a child process: TLS on 127.0.0.1, client certificates required. Main thread; the
// thread that starts the child must be the one that lives as long as the process, since on Linux
// the child is killed when that thread ends, however it ends.
class Broker : public QObject
{
    Q_OBJECT

public:
    struct Files
    {
        QString folder; // where the configuration is written
        QString authority;
        QString certificate;
        QString key;
    };
    explicit Broker(const QString &program, QObject *parent = nullptr);
    ~Broker() override;

    // Starts mosquitto and waits until it listens. Port 0: any free one. False, with the reason,
    // when it does not come up. A broker that ends by itself later is started again on its port.
    bool start(const Files &files, quint16 port, QString &error);
    quint16 port() const { return m_port; }
    // Ends the child and waits for it.
    void stop();

signals:
    // A client came or went. Ids are the clients' own claims.
    void clientChanged(const QString &clientId, bool connected);
    // The broker ended by itself: nobody is connected any more.
    void lost();

private:
    bool configure(const Files &files, QString &error) const;
    bool launch(QString &error);
    void readLog();
    void ended();

    const QString m_program;
    std::unique_ptr<QProcess> m_process;
    QTimer m_restart;
    QString m_configuration;
    QString m_complaint; // the last that was logged while the broker did not run yet
    bool m_listening = false;
    quint16 m_port = 0;
    bool m_wanted = false; // it runs, and shall be started again when it ends
    std::chrono::milliseconds m_delay;
    std::chrono::steady_clock::time_point m_launched;
};
