#include "app/platform/process.h"

#include <sys/stat.h>

void keepFilesPrivate()
{
    umask(S_IRWXG | S_IRWXO);
}
