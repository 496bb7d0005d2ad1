#include "bench/bench.h"
#include "runner/zugatewrunner.h"
#include "settings/devicepool.h"
#include "settings/settingsstore.h"
#include "things/qabstractthing.h"

// The first scan for lamps that the pool knows as registered, and a second scan without new ones.
int bench::scan(int devices)
{
    {
        SettingsStore store;
        store.clear();
        store.setPluginValue("lamp", "count", devices);
        store.setPluginValue("host", "enabled", false);
        store.set(keys::CloudSerial, QString("S"));
    }
    ZugatewRunner runner;
    runner.loadPlugins();
    runner.rescan(); // learns the serials
    DevicePool::update([&runner](DevicePool &pool) {
        pool.put({"gateway", "200", "S", "G", "gateway"});
        const auto things = runner.findChildren<QAbstractThing *>();
        for (const QAbstractThing *const thing : things) {
            if (thing->type() == QLatin1String("lamp")) {
                pool.put({thing->type(), thing->version(), thing->serial(), "r",
                          "Lamp " + thing->serial()});
            }
        }
    });

    ZugatewRunner fresh;
    fresh.loadPlugins();
    const Stopwatch adoption;
    fresh.rescan();
    const double adopted = adoption.seconds();
    const Stopwatch again;
    fresh.rescan();
    print({{"adoption", adopted},
           {"rescan", again.seconds()},
           {"things", fresh.findChildren<QAbstractThing *>().size() - 1}});
    return 0;
}
