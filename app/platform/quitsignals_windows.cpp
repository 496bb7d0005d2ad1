#include "app/platform/quitsignals.h"

// The end of the session reaches the application as a window message, which the toolkit handles.
QuitSignals::QuitSignals(QObject *parent)
    : QObject(parent)
{
}

QuitSignals::~QuitSignals() = default;
