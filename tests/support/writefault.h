#pragma once

#include <QString>

#include <memory>

// While what this returns lives, no more than `bytes` of the file can be written. A full disk,
// where one can be had; else the file is in somebody's hands.
std::shared_ptr<void> fileFault(const QString &path, int bytes);

// The same for the gateway's settings, which can be read and not written.
std::shared_ptr<void> settingsFault();
