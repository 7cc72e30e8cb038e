// PhaseLink: plays the cycle definition at the phase given by a control
// object's position, angle or scale between two chosen values.
#include <iterator>

#include "controls/choice.h"
#include "module/server_table.h"
#include "motion/cycle_link.h"

namespace {

const char *const kTrackChoices[] = {"X Position", "Y Position", "Z Position", "Heading", "Pitch", "Bank",
                                     "X Scale",    "Y Scale",    "Z Scale",    nullptr};

const ControlSpec kRows[] = {
    CycleControlChoice(),
    CycleControlItem(),
    CycleCaption(124, "Define Cycle Phase By Control Object's"),
    CycleSourceChoice(251, 140, kTrackChoices, false),
    CycleRangeText("RANGE1", 98, 209),
    CycleRangeText("RANGE2", 98, 229),
    CycleSourceValue("LOWFROM", 175, 315, "Control Value for Cycle Start", 0),
    CycleSourceValue("HIGHFROM", 175, 340, "Control Value for Cycle End", 1),
};

const CycleMember kMember = {"PhaseLink", CycleSource::Phase, kRows, std::size(kRows)};

}  // namespace

extern const PluginDef phaseLinkPlugin = {"PhaseLink", PluginClass::ItemMotion, &kCycleHandler<kMember>};
