#pragma once

#include <QJsonObject>
#include <QString>

#include <chrono>

// The parts of the benchmark program: each runs one load and prints one line of JSON, which
// bench.py turns into the table.
namespace bench {

// Where the broker of the run listens, and the certificate and key (PEM files) to use there.
struct Broker
{
    quint16 port = 0;
    QString caFile;
    QString certFile;
    QString keyFile;
};

int publishLines(const Broker &broker);            // standard input, a payload each line
int drainBacklog(const Broker &broker, int count); // messages that waited for the connection
int changeStates(const Broker &broker, int things, int changes);
int subscribe(const Broker &broker, int count); // an independent client: libmosquitto
int scan(int devices);
int parseStream(int megabytes);
int parseLine(int kilobytes);

void print(const QJsonObject &result);

class Stopwatch
{
public:
    double seconds() const
    {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
    }

private:
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

} // namespace bench
