#pragma once

#include <QObject>

// Describes the gateway's widgets to the tour under Wine, which has no assistive technology.
// Connects to the port of 127.0.0.1 that KVG_PILOT_PORT names and answers each line with one line
// of JSON, the accessible tree of the visible widgets.
//
// It is a plugin so that the unchanged program loads it. As it is no device type, the gateway then
// skips it.
class Pilot : public QObject
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "pro.nimbra.kvg_gate.Pilot/1.0")

public:
    // Any thread; everything else runs on the interface thread.
    Pilot();
};
