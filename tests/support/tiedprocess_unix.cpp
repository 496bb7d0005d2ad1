#include "tests/support/tiedprocess.h"

#include <csignal>
#include <sys/prctl.h>

void TiedProcess::setupChildProcess()
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
}
