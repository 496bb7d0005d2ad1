#pragma once

// Lets the files that this process makes be readable by its user alone, where the platform does
// not see to that by itself. Called before any thread is started.
void keepFilesPrivate();
