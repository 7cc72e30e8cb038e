// The cycle-link engine shared by PhaseLink, SpeedLink, AccelLink,
// ThrottleLink and DistLink: a keyed stretch of the item's own motion (the
// cycle definition) played back at a phase driven by something else. A member
// names its source and its own controls; the engine builds its panel (the
// common controls first, then the member's), resolves the control object,
// turns source values into phases, evaluates, describes and draws the graph.
// Items used are the shared ones (the control item, then the item itself).
#pragma once

#include "controls/plugin_instance.h"

enum class CycleSource { Phase, Speed, Accel, Throttle, Distance };

struct CycleMember {
    const char *name;  // panel, settings envelope and description lines
    CycleSource source;
    const ControlSpec *rows;  // the member's own controls, created after the common ones
    int rowCount;
    LWInstance (*create)(LWError *err, LWItemID item);  // the member's create (kept by the panel)
};

// The change callback of every control that moves the graph.
void CycleRefresh(PluginInstance *p);

LWInstance CycleCreate(const CycleMember &member, LWError *err, LWItemID item);
void CycleEvaluate(LWInstance instance, const ItemMotionAccess *access);
const char *CycleDescribe(LWInstance instance);
