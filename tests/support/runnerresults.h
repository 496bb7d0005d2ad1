#pragma once

#include "runner/zugatewrunner.h"

#include <QSignalSpy>

// The runner's finished() signals since the last call, as "Operation value".
inline QStringList takeResults(QSignalSpy &finished)
{
    QStringList texts;
    while (!finished.isEmpty()) {
        const QVariantList arguments = finished.takeFirst();
        const auto operation =
            QVariant::fromValue(ZugatewRunner::Operation(arguments.first().toInt()));
        texts.append((operation.toString() + ' ' + arguments.last().toString()).trimmed());
    }
    return texts;
}
