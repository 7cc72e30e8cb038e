// DistLink: plays the cycle definition at a phase given by the distance a
// control object has travelled since time 0: one cycle per chosen distance
// (a walk step per stride, a wheel turn per circumference).
#include "controls/choice.h"
#include "module/lifecycle.h"
#include "module/server_table.h"
#include "motion/cycle_link.h"

namespace {

const char *const kControlChoices[] = {"Named Control Object", "Control Object = self", "Control Object = parent", nullptr};
const char *const kTrackChoices[] = {"World Distance Travelled in +X direction", "World Distance Travelled in +Y direction",
                                     "World Distance Travelled in +Z direction", "Total World Distance Travelled", nullptr};

const ControlSpec kRows[] = {
    {.key = "CONTROL", .kind = ControlSpecKind::Radio, .x = 140, .y = 59, .value = 0, .choices = kControlChoices,
     .changed = CycleRefresh, .setup = RadioLabelsLeft},
    {.key = "CONTROLITEM", .kind = ControlSpecKind::Item, .x = 170, .y = 60, .label = "", .changed = CycleRefresh},
    {.key = "CHANGETEXT", .kind = ControlSpecKind::Text, .x = 139, .y = 145, .label = "Define Cycle Phase By Control Object's:"},
    {.key = "TRACKFROM", .kind = ControlSpecKind::Radio, .x = 250, .y = 170, .value = 0, .choices = kTrackChoices,
     .changed = CycleRefresh, .setup = RadioLabelsLeft},
    {.key = "RANGE1", .kind = ControlSpecKind::Text, .x = 20, .y = 268, .label = ""},
    {.key = "DISTANCE", .kind = ControlSpecKind::Numeric, .x = 175, .y = 290, .label = "Distance for one cycle (m)",
     .value = 1, .flags = kDragFree, .changed = CycleRefresh},
    {.key = "QUALITY", .kind = ControlSpecKind::Percent, .x = 175, .y = 315, .label = "Sampling Quality", .value = 0.5,
     .changed = CycleRefresh},
    {.key = "STARTPHASE", .kind = ControlSpecKind::Percent, .x = 175, .y = 340, .label = "Starting Cycle Phase",
     .value = 0, .changed = CycleRefresh},
};

LWInstance Create(LWError *err, LWItemID item);
const CycleMember kMember = {"DistLink", CycleSource::Distance, kRows, sizeof kRows / sizeof kRows[0], Create};
LWInstance Create(LWError *err, LWItemID item) { return CycleCreate(kMember, err, item); }

const ItemMotionHandler kHandler = {Create,        SharedDestroy, SharedCopy,     SharedLoad,    SharedSave,
                                    CycleEvaluate, CycleDescribe, SharedOwnerItemsUsed, SharedChangeID};

}  // namespace

extern const PluginDef distLinkPlugin = {"DistLink", PluginClass::ItemMotion, &kHandler};
