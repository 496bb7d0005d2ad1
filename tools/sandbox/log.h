#pragma once

#include <QLoggingCategory>

// Goes to standard error. Never log a key, a certificate or a payload.
Q_DECLARE_LOGGING_CATEGORY(lcSandbox)
