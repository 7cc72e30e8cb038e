// ThrottleLink: plays the cycle definition at a phase that advances at an
// animatable phase velocity (100% is one cycle a second), integrated from
// time 0. It has no control object.
#include "controls/choice.h"
#include "module/lifecycle.h"
#include "module/server_table.h"
#include "motion/cycle_link.h"

namespace {

const ControlSpec kRows[] = {
    CyclePercent("PHASEVELOCITY", 150, 175, "Phase Velocity (%/sec)", 1),
    CyclePercent("STARTPHASE", 150, 200, "Starting Cycle Phase", 0),
};

LWInstance Create(LWError *err, LWItemID item);
const CycleMember kMember = {"ThrottleLink", CycleSource::Throttle, kRows, sizeof kRows / sizeof kRows[0], Create};
LWInstance Create(LWError *err, LWItemID item) { return CycleCreate(kMember, err, item); }

const ItemMotionHandler kHandler = {Create,        SharedDestroy, SharedCopy,     SharedLoad,    SharedSave,
                                    CycleEvaluate, CycleDescribe, SharedOwnerItemsUsed, SharedChangeID};

}  // namespace

extern const PluginDef throttleLinkPlugin = {"ThrottleLink", PluginClass::ItemMotion, &kHandler};
