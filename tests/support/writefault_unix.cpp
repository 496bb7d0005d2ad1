#include "tests/support/writefault.h"

#include <csignal>
#include <sys/resource.h>

// Stands in for a full disk: no file of this process grows past the limit.
std::shared_ptr<void> fileFault(const QString & /*path*/, int bytes)
{
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit former{};
    getrlimit(RLIMIT_FSIZE, &former);
    const rlimit limit{rlim_t(bytes), former.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
    return {nullptr, [former](void *) { setrlimit(RLIMIT_FSIZE, &former); }};
}

std::shared_ptr<void> settingsFault()
{
    return fileFault({}, 0);
}
