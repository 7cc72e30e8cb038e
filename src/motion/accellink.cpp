// AccelLink: plays the cycle definition at the phase given by a control object's
// world acceleration between two chosen values, measured over a span of frames.
#include <iterator>

#include "controls/choice.h"
#include "module/server_table.h"
#include "motion/cycle_link.h"

namespace {

const char *const kTrackChoices[] = {"Acceleration in +X", "Acceleration in +Y", "Acceleration in +Z",
                                     "Absolute Acceleration", nullptr};

const ControlSpec kRows[] = {
    CycleControlChoice(),
    CycleControlItem(),
    CycleCaption(131, "Define Cycle Phase By Control Object's:"),
    CycleSourceChoice(250, 150, kTrackChoices),
    CycleRangeText("RANGE1", 20, 280),
    CycleLookahead(5),
    CycleSourceValue("LOWFROM", 190, 305, "Accel (m/s^2) for Cycle Start", 0),
    CycleSourceValue("HIGHFROM", 190, 330, "Accel (m/s^2) for Cycle End", 1),
};

const CycleMember kMember = {"AccelLink", CycleSource::Accel, kRows, std::size(kRows)};

}  // namespace

extern const PluginDef accelLinkPlugin = {"AccelLink", PluginClass::ItemMotion, &kCycleHandler<kMember>};
