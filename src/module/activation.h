// Handler activation, the same for every plug-in: refuse host versions above 3
// and below 2, bind the host services, then fill the host's handler record with
// the version-2 slots and, for version 3, the two slots that end it.
#pragma once

#include "module/plugin_class.h"

int ActivatePluginHandler(const PluginDef &plugin, long version, GlobalFunc *global, void *local);

// Each plug-in gets an activation function of its own for its server row.
template <const PluginDef *Plugin>
int ActivateHandler(long version, GlobalFunc *global, void *local, void * /*serverData*/) {
    return ActivatePluginHandler(*Plugin, version, global, local);
}

// The one interface activation behind all 33 interface rows; the host tells the
// plug-ins apart by the instance it passes as local.
extern "C" int ActivateInterface(long version, GlobalFunc *global, void *local, void *serverData);
