#include "tools/sandbox/log.h"

Q_LOGGING_CATEGORY(lcSandbox, "kvg.sandbox", QtInfoMsg)
