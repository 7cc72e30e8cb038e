// PhaseLink: plays the cycle definition at the phase given by a control
// object's position, angle or scale between two chosen values.
#include "controls/choice.h"
#include "module/lifecycle.h"
#include "module/server_table.h"
#include "motion/cycle_link.h"

namespace {

const char *const kControlChoices[] = {"Named Control Object", "Control Object = self", "Control Object = parent", nullptr};
const char *const kTrackChoices[] = {"X Position", "Y Position", "Z Position", "Heading", "Pitch", "Bank",
                                     "X Scale",    "Y Scale",    "Z Scale",    nullptr};

const ControlSpec kRows[] = {
    {.key = "CONTROL", .kind = ControlSpecKind::Radio, .x = 140, .y = 59, .value = 0, .choices = kControlChoices,
     .changed = CycleRefresh, .setup = RadioLabelsLeft},
    {.key = "CONTROLITEM", .kind = ControlSpecKind::Item, .x = 170, .y = 60, .label = "", .changed = CycleRefresh},
    {.key = "CHANGETEXT", .kind = ControlSpecKind::Text, .x = 139, .y = 124, .label = "Define Cycle Phase By Control Object's"},
    {.key = "TRACKFROM", .kind = ControlSpecKind::Radio, .x = 251, .y = 140, .value = 0, .choices = kTrackChoices,
     .changed = CycleRefresh},
    {.key = "RANGE1", .kind = ControlSpecKind::Text, .x = 98, .y = 209, .label = ""},
    {.key = "RANGE2", .kind = ControlSpecKind::Text, .x = 98, .y = 229, .label = ""},
    {.key = "LOWFROM", .kind = ControlSpecKind::Numeric, .x = 175, .y = 315, .label = "Control Value for Cycle Start",
     .value = 0, .flags = kDragFree, .changed = CycleRefresh},
    {.key = "HIGHFROM", .kind = ControlSpecKind::Numeric, .x = 175, .y = 340, .label = "Control Value for Cycle End",
     .value = 1, .flags = kDragFree, .changed = CycleRefresh},
};

LWInstance Create(LWError *err, LWItemID item);
const CycleMember kMember = {"PhaseLink", CycleSource::Phase, kRows, sizeof kRows / sizeof kRows[0], Create};
LWInstance Create(LWError *err, LWItemID item) { return CycleCreate(kMember, err, item); }

const ItemMotionHandler kHandler = {Create,        SharedDestroy, SharedCopy,     SharedLoad,    SharedSave,
                                    CycleEvaluate, CycleDescribe, SharedOwnerItemsUsed, SharedChangeID};

}  // namespace

extern const PluginDef phaseLinkPlugin = {"PhaseLink", PluginClass::ItemMotion, &kHandler};
