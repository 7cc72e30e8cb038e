// SpeedLink: plays the cycle definition at the phase given by a control object's
// world velocity between two chosen values, measured over a span of frames.
#include <iterator>

#include "controls/choice.h"
#include "module/server_table.h"
#include "motion/cycle_link.h"

namespace {

const char *const kTrackChoices[] = {"Velocity in +X", "Velocity in +Y", "Velocity in +Z", "Absolute Velocity", nullptr};

const ControlSpec kRows[] = {
    CycleControlChoice(),
    CycleControlItem(),
    CycleCaption(132, "Define Cycle Phase By Control Object's:"),
    CycleSourceChoice(250, 150, kTrackChoices),
    CycleRangeText("RANGE1", 20, 280),
    CycleLookahead(1),
    CycleSourceValue("LOWFROM", 190, 305, "Velocity (m/s) for Cycle Start", 0),
    CycleSourceValue("HIGHFROM", 190, 330, "Velocity (m/s) for Cycle End", 1),
};

const CycleMember kMember = {"SpeedLink", CycleSource::Speed, kRows, std::size(kRows)};

}  // namespace

extern const PluginDef speedLinkPlugin = {"SpeedLink", PluginClass::ItemMotion, &kCycleHandler<kMember>};
