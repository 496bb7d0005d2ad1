#pragma once

// Registers every type that crosses threads. Called first in main(), by the runner and by the
// tests; further calls cost nothing.
void registerMetaTypes();
