#pragma once

#include <QString>

// Why a file cannot be a library of this platform, as far as its head tells; empty when it can.
// Nothing is loaded.
QString pluginFileFault(const QString &path);
