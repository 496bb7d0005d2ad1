#include "tests/support/tiedprocess.h"

// Under Wine, all processes of a profile end with it.
void TiedProcess::setupChildProcess() {}
