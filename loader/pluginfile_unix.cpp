#include "loader/pluginfile.h"

// Qt looks at a library itself before it reads what the plugin says about itself.
QString pluginFileFault(const QString & /*path*/)
{
    return {};
}
