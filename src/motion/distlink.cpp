// DistLink: plays the cycle definition at a phase given by the distance a
// control object has travelled since time 0: one cycle per chosen distance
// (a walk step per stride, a wheel turn per circumference).
#include <iterator>

#include "controls/choice.h"
#include "module/server_table.h"
#include "motion/cycle_link.h"

namespace {

const char *const kTrackChoices[] = {"World Distance Travelled in +X direction", "World Distance Travelled in +Y direction",
                                     "World Distance Travelled in +Z direction", "Total World Distance Travelled", nullptr};

const ControlSpec kRows[] = {
    CycleControlChoice(),
    CycleControlItem(),
    CycleCaption(145, "Define Cycle Phase By Control Object's:"),
    CycleSourceChoice(250, 170, kTrackChoices),
    CycleRangeText("RANGE1", 20, 268),
    CycleSourceValue("DISTANCE", 175, 290, "Distance for one cycle (m)", 1),
    CyclePercent("QUALITY", 175, 315, "Sampling Quality", 0.5),
    CyclePercent("STARTPHASE", 175, 340, "Starting Cycle Phase", 0),
};

const CycleMember kMember = {"DistLink", CycleSource::Distance, kRows, std::size(kRows)};

}  // namespace

extern const PluginDef distLinkPlugin = {"DistLink", PluginClass::ItemMotion, &kCycleHandler<kMember>};
