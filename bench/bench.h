#pragma once

#include <QJsonObject>
#include <QString>

#include <chrono>

class VelmorCloudClient;

// The loads of the benchmark program: each prints one line of JSON, from which bench.py makes the
// table.
namespace bench {

// The broker's port, and the PEM files that a client of it needs.
struct Broker
{
    quint16 port = 0;
    QString caFile;
    QString certFile;
    QString keyFile;
};

int publishLines(const Broker &broker); // each line of standard input is a payload
int streamInput(const Broker &broker);  // standard input over TLS alone, to any server
int fillOutbox(int count);              // publishes without a connection
int drainOutbox(const Broker &broker);  // what waits; payloads of updates are monotonic()
int publishSteadily(const Broker &broker, int seconds); // offline without a broker's port
int changeStates(const Broker &broker, int things, int changes);
// With libmosquitto, until `count` messages or an empty one arrived, or until the broker ends; with
// `reconnects` it goes on when that is back.
int subscribe(const Broker &broker, int count, bool reconnects = false);
int runFleet(const Broker &broker, int size); // until the standard input ends
int scan(int devices);
int parseStream(int megabytes);
int parseLine(int kilobytes);

void print(const QJsonObject &result);
bool useCredentials(const Broker &broker);
// Ends the connection and the program this long after no message is pending.
void quitWhenSent(VelmorCloudClient &client, std::chrono::milliseconds delay = {});
double monotonic(); // nanoseconds, the same clock for all processes

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
