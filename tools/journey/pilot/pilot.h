#pragma once

#include <QObject>

// Tells the journey what the gateway's windows show, where no assistive technology can: Wine has
// none. Connects to the port of 127.0.0.1 that KVG_PILOT_PORT names and answers each line with one
// line of JSON, the accessible tree of what can be seen.
//
// A plugin only to get into the unchanged program. It is no device type, so the gateway skips it
// once it is there, and the window knows nothing of it.
class Pilot : public QObject
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "pro.nimbra.kvg_gate.Pilot/1.0")

public:
    // On any thread; all that follows happens on the interface's.
    Pilot();
};
