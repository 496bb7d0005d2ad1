// A library that plugins depend on; it counts its calls in the application object.

#include <QCoreApplication>
#include <QVariant>

namespace {

void count(const char *property)
{
    qApp->setProperty(property, qApp->property(property).toInt() + 1);
}

} // namespace

extern "C" Q_DECL_EXPORT void init()
{
    count("dep/init");
}

extern "C" Q_DECL_EXPORT void deinit()
{
    count("dep/deinit");
}
