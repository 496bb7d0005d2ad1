// A library that plugins depend on; it counts its calls in the application object.

#include <QCoreApplication>
#include <QVariant>

extern "C" Q_DECL_EXPORT void init()
{
    qApp->setProperty("dep/init", qApp->property("dep/init").toInt() + 1);
}

extern "C" Q_DECL_EXPORT void deinit()
{
    qApp->setProperty("dep/deinit", qApp->property("dep/deinit").toInt() + 1);
}
