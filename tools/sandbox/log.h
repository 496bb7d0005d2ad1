#pragma once

#include <QLoggingCategory>

// Everything that the sandbox says while it runs, on standard error. Never a key, a certificate
// or a payload.
Q_DECLARE_LOGGING_CATEGORY(lcSandbox)
