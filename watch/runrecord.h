#pragma once

#include <QtGlobal>

// What the file of runwatch holds, as it lies in memory. Texts are UTF-8 and end with 0; 0 stands
// for "none" in every number but the indices.

struct PluginRecord
{
    char path[512];
    qint64 size;       // of the file, bytes
    qint64 modified;   // milliseconds since 1970
    qint64 crashes[2]; // seconds since 1970, the latest first
    qint64 leftOut;    // runwatch::Reason
};

struct RunRecord
{
    static constexpr int maxPlugins = 64;

    char magic[8];       // with the version
    qint32 isStarting;   // 1 until this run is ready or ends as it should
    qint32 failedStarts; // in a row, before this run
    qint32 running;      // index of the plugin whose code runs while the gateway starts; -1: none
    qint32 crashCode;    // signal or exception
    qint32 crashPlugin;  // index of the plugin to blame; -1: none
    qint32 count;        // of the plugins
    qint64 crashTime;    // seconds since 1970
    char crashModule[256];
    PluginRecord plugins[maxPlugins];
};
