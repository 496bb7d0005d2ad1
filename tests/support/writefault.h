#pragma once

#include <QString>

#include <memory>

// While the result lives, no more than `bytes` bytes of the file can be written: on Linux as on a
// full disk, on Windows because another handle locks the file.
[[nodiscard]] std::shared_ptr<void> fileFault(const QString &path, int bytes);

// While the result lives, the gateway's settings can be read but not written.
[[nodiscard]] std::shared_ptr<void> settingsFault();
