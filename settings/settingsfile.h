#pragma once

#include <functional>

class QVariant;

// Makes the settings safe to open. Only the first instance may call it, before its first QSettings.
// - Removes @Variant and @DateTime values: QSettings would deserialise arbitrary types from them,
//   and crash on damaged ones. The gateway writes none. The original is kept: a file as
//   "<file>.unsafe", a registry key as "Damaged <key>".
// - Undoes a replaceSettings() that a kill interrupted.
// - Removes the lock and the temporary files that a kill left.
void sanitizeStoredSettings();

// Calls `replace`, which replaces all settings, and returns its result. False, without the call,
// when the old settings cannot be copied for sanitizeStoredSettings() to restore.
[[nodiscard]] bool replaceSettings(const std::function<bool()> &replace);

// Converts `value` to a form that QSettings returns alike on all platforms and that
// sanitizeStoredSettings() keeps. A list that the registry cannot store becomes a text with commas.
QVariant storable(const QVariant &value);

// The part of sanitizeStoredSettings() that differs between the platforms.
void sanitizeStore();
