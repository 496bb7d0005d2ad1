#pragma once

// Keeps the folder of this user's settings to this user, and takes out of the settings files the
// values of which the toolkit's reader would build whatever the file tells it to: a damaged one
// ends the process. The gateway writes no such values. A file that held one is kept beside itself
// as "….unsafe". To be called before the first settings object; later calls do the same again.
void secureSettings();
