#include "bench/bench.h"

#include "runner/metatypes.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QJsonDocument>
#include <QLoggingCategory>

#include <cstdio>

void bench::print(const QJsonObject &result)
{
    std::printf("%s\n", QJsonDocument(result).toJson(QJsonDocument::Compact).constData());
    std::fflush(stdout);
}

int main(int argc, char *argv[])
{
    registerMetaTypes();
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName("Corvalt");
    QCoreApplication::setApplicationName("KVG-Gate");
    QLoggingCategory::setFilterRules("kvg.*.info=false\nkvg.*.warning=true");

    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOptions({{"port", "Port of the broker.", "port"},
                       {"ca", "Authority of the broker.", "file"},
                       {"cert", "Client certificate.", "file"},
                       {"key", "Client key.", "file"},
                       {"count", "Size of the load.", "count", "0"}});
    parser.addPositionalArgument("load",
                                 "publish, tls, fill, drain, steady, states, subscribe, follow, "
                                 "fleet, scan, stream, line");
    parser.process(app);
    const bench::Broker broker = {static_cast<quint16>(parser.value("port").toUInt()),
                                  parser.value("ca"), parser.value("cert"), parser.value("key")};
    const QString load = parser.positionalArguments().value(0);
    const int count = parser.value("count").toInt();
    if (load == "publish") {
        return bench::publishLines(broker);
    }
    if (load == "tls") {
        return bench::streamInput(broker);
    }
    if (load == "fill") {
        return bench::fillOutbox(count);
    }
    if (load == "drain") {
        return bench::drainOutbox(broker);
    }
    if (load == "steady") {
        return bench::publishSteadily(broker, count);
    }
    if (load == "states") {
        return bench::changeStates(broker, 1000, count);
    }
    if (load == "subscribe") {
        return bench::subscribe(broker, count);
    }
    if (load == "follow") {
        return bench::subscribe(broker, 0, true);
    }
    if (load == "fleet") {
        return bench::runFleet(broker, count);
    }
    if (load == "scan") {
        return bench::scan(count);
    }
    if (load == "stream") {
        return bench::parseStream(count);
    }
    if (load == "line") {
        return bench::parseLine(count);
    }
    parser.showHelp(2);
}
