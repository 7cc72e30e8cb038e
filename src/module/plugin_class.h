// The five host classes a plug-in can belong to, what the host calls them, how
// many handler slots each class's version-2 record has, and the one record that
// describes a plug-in to the server table: its name, class and handler slots.
#pragma once

#include <cstddef>

#include "hostapi/lwhost.h"

enum class PluginClass { ItemMotion, Displacement, Shader, PixelFilter, ImageFilter };

struct PluginClassInfo {
    const char *handlerClass;    // server class name of the handler row
    const char *interfaceClass;  // server class name of the interface row
    unsigned version2Slots;      // slots in the version-2 record; version 3 adds two
    const char *createFailure;   // what create reports when an instance cannot be built
};

const PluginClassInfo &ClassInfo(PluginClass cls);

// Bytes of the handler record the host allocates for a class at a version
// (2 or 3; earlier versions are refused before anything is written).
size_t HandlerRecordBytes(PluginClass cls, long version);

// One plug-in: its server name, class and a complete version-3 handler record of
// its class (ItemMotionHandler, DisplacementHandler, ...) holding its callbacks.
struct PluginDef {
    const char *name;
    PluginClass cls;
    const void *handler;
};
