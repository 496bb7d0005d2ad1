#pragma once

#include <functional>

class QVariant;

// Makes the settings safe to open. To be called by the only instance of the gateway, before the
// first QSettings; later calls do the same again.
// - Removes values in the forms @Variant and @DateTime: QSettings would deserialise arbitrary types
//   from them, and a damaged one ends the process. The gateway writes none. The original is kept: a
//   file as "<file>.unsafe", a key of the registry as "Damaged <key>".
// - Undoes a replaceSettings() that a kill interrupted.
// - Removes the lock and the temporary files that a kill left.
void secureSettings();

// Calls `replace`, which replaces the settings as a whole, and returns its result. False, without
// the call, when secureSettings() could not undo it.
bool replaceSettings(const std::function<bool()> &replace);

// `value` in the form that QSettings returns alike on all platforms and that secureSettings()
// leaves alone. A list that the platform cannot store becomes a text with commas.
QVariant storable(const QVariant &value);

// The part of secureSettings() that differs between the platforms.
void secureStore();
