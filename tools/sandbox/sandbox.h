#pragma once

#include <QJsonObject>
#include <QObject>
#include <QString>

#include <chrono>
#include <memory>

// The whole cloud: broker, registrar and portal. Main thread.
class Sandbox : public QObject
{
    Q_OBJECT

public:
    struct Options
    {
        QString authority;      // folder of the build's authority
        QString folder;         // working folder, created if missing; for one sandbox at a time
        quint16 port = 0;       // of the portal; 0: any free one
        quint16 brokerPort = 0; // 0: the stored one, or any free one at the first start
        std::chrono::seconds codeTimeout{300};
    };

    explicit Sandbox(const Options &options, QObject *parent = nullptr);
    ~Sandbox() override;

    // Blocks until all parts are ready. False, with the reason, if one cannot start.
    [[nodiscard]] bool start(QString &error);
    // The addresses of all parts, for the output.
    QJsonObject addresses() const;

private:
    struct Parts;
    [[nodiscard]] bool prepareFolder(QString &error);
    [[nodiscard]] bool startBroker(QString &error);

    const Options m_options;
    std::unique_ptr<Parts> m_parts;
};
