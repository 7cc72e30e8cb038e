// ThrottleLink: plays the cycle definition at a phase that advances at an
// animatable phase velocity (100% is one cycle a second), integrated from
// time 0. It has no control object.
#include <iterator>

#include "controls/choice.h"
#include "module/server_table.h"
#include "motion/cycle_link.h"

namespace {

const ControlSpec kRows[] = {
    CyclePercent("PHASEVELOCITY", 150, 175, "Phase Velocity (%/sec)", 1),
    CyclePercent("STARTPHASE", 150, 200, "Starting Cycle Phase", 0),
};

const CycleMember kMember = {"ThrottleLink", CycleSource::Throttle, kRows, std::size(kRows)};

}  // namespace

extern const PluginDef throttleLinkPlugin = {"ThrottleLink", PluginClass::ItemMotion, &kCycleHandler<kMember>};
