#pragma once

// Restricts the folders in which libraries are searched, and switches off the system's error boxes.
// First call in main(), before the application object.
void prepareProcess();

// Gives back to the system what the start has used and freed. Any thread.
void releaseFreeMemory();
