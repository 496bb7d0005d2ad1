#include "app/platform/standardinput.h"

#include <QCoreApplication>
#include <QPointer>

#include <io.h>
#include <thread>

// The event loop cannot wait for a console or a pipe here, so a thread does; it ends with the
// input or with the process.
StandardInput::StandardInput(QObject *parent)
    : QObject(parent)
{
    const QPointer<StandardInput> self(this);
    std::thread([self] {
        char buffer[4096];
        constexpr int standardInput = 0;
        for (int count = 1; count > 0;) {
            count = ::_read(standardInput, buffer, sizeof buffer);
            const QByteArray piece(buffer, qMax(count, 0));
            QMetaObject::invokeMethod(
                QCoreApplication::instance(),
                [self, piece] {
                    if (self && piece.isEmpty()) {
                        emit self->ended();
                    } else if (self) {
                        emit self->received(piece);
                    }
                },
                Qt::QueuedConnection);
        }
    }).detach();
}
