#include "app/platform/process.h"

void prepareProcess() {}
