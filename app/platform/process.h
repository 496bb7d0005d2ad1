#pragma once

// Restricts the folders in which libraries are searched, and switches off the system's error boxes.
// First call in main(), before the application object.
void prepareProcess();
