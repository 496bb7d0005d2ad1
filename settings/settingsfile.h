#pragma once

// Takes out of this user's settings files the values of which the toolkit's reader would build
// whatever the file tells it to: a damaged one ends the process. The gateway writes no such values.
// A file that held one is kept beside itself as "….unsafe". To be called before the first settings
// object; later calls do the same again. Where settings are no files it does nothing.
void removeUnsafeSettings();
