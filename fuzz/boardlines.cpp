// Lines of a board at a serial port.
#include "plugins/serial/boardlines.h"
#include "cloud/topics.h"
#include "fuzz/fuzz.h"

#include <QJsonDocument>

void fuzz(const QByteArray &bytes)
{
    BoardLines whole;
    require(whole.feed(bytes) == (whole.report.hasSpoken || whole.report.hasRejected));
    BoardLines cut;
    inPieces(bytes, [&](const QByteArray &piece) { cut.feed(piece); });
    const BoardReport &report = whole.report;
    require(cut.report.state == report.state && cut.report.serial == report.serial);
    require(cut.report.title == report.title && cut.parsedLines() == whole.parsedLines());
    require(cut.report.hasSpoken == report.hasSpoken);
    require(cut.report.hasRejected == report.hasRejected);

    // What is published, and what it is published under.
    const QByteArray state = QJsonDocument(report.state).toJson(QJsonDocument::Compact);
    const QJsonDocument read = QJsonDocument::fromJson(state);
    require(read.toJson(QJsonDocument::Compact) == state && state.size() < 220000);
    require(read.object().keys() == report.state.keys());
    require(!report.state.contains("thing") && report.title.size() <= 100);
    require(report.serial.isEmpty() ||
            (report.serial.size() <= 64 && topics::isValidId("serial_1_" + report.serial) &&
             !report.serial.contains('_') && !report.serial.contains('/')));
}
