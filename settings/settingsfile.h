#pragma once

#include <functional>

class QVariant;

// Keeps this user's settings to this user, and takes out of them the values of which the toolkit's
// reader would build whatever they tell it to: a damaged one ends the process. The gateway writes
// no such values. What held one is kept as it was: a file beside itself as "….unsafe", a key of the
// registry as "Damaged …". To be called before the first settings object; later calls do the same
// again.
void secureSettings();

// Lets `replace` replace the settings as a whole: should the process end meanwhile, the next
// secureSettings() brings the old ones back. Returns what `replace` returns.
bool replaceSettings(const std::function<bool()> &replace);

// The value as the settings are to be given it, so that they give it back alike on all systems and
// after secureSettings(). A list that they cannot hold becomes a text with commas.
QVariant storable(const QVariant &value);
