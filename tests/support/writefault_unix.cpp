#include "tests/support/writefault.h"

#include <csignal>
#include <sys/resource.h>

// No file of this process can grow past the limit, as on a full disk.
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
