#pragma once

// Settles what holds for the whole process: where libraries are looked for, and that the system
// opens no boxes of its own. First thing in main(), before the application object.
void prepareProcess();
