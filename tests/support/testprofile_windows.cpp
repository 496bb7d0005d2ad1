#include "tests/support/testprofile.h"

#include <QCoreApplication>

#include <cstdio>
#include <cstdlib>

// A process cannot redirect its registry and folders. The script that starts the tests provides
// a profile for them alone and sets the variable.
TestProfile::TestProfile()
{
    if (qEnvironmentVariableIsEmpty("KVG_THROWAWAY_PROFILE")) {
        std::fputs("This test overwrites the settings and data of the Windows user it runs as.\n"
                   "Where that does no harm, set KVG_THROWAWAY_PROFILE=1.\n",
                   stderr);
        std::exit(EXIT_FAILURE);
    }
    QCoreApplication::setOrganizationName("Corvalt");
    QCoreApplication::setApplicationName("KVG-Gate");
}
