#include "app/platform/process.h"

#include <cstdlib>

#ifdef __GLIBC__
#include <malloc.h>
#endif

void prepareProcess() {}

void releaseFreeMemory()
{
#ifdef __GLIBC__ // other C libraries have no such call
    malloc_trim(0);
#endif
}
