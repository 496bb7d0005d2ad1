#pragma once

#include <QJsonObject>
#include <QObject>
#include <QString>

#include <chrono>
#include <memory>

// The whole little cloud, put together. Main thread. Its parts end in the order that none
// outlives what it borrows.
class Sandbox : public QObject
{
    Q_OBJECT

public:
    struct Options
    {
        QString authority;      // folder of the build's authority
        QString folder;         // working folder, made when missing; one sandbox at a time
        quint16 port = 0;       // of the portal; 0: any free one
        quint16 brokerPort = 0; // 0: the one of last time, else any free one
        std::chrono::seconds codeTimeout{300};
    };

    explicit Sandbox(const Options &options, QObject *parent = nullptr);
    ~Sandbox() override;

    // False, with the reason, when any part cannot start. Blocks until all is ready to be used.
    bool start(QString &error);
    // Where everything is, for whoever started the sandbox.
    QJsonObject addresses() const;

private:
    struct Parts;
    bool prepareFolder(QString &error);
    bool startBroker(QString &error);

    const Options m_options;
    std::unique_ptr<Parts> m_parts;
};
