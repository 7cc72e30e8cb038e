// SpeedLink: plays the cycle definition at the phase given by a control object's
// world velocity between two chosen values, measured over a span of frames.
#include "controls/choice.h"
#include "module/lifecycle.h"
#include "module/server_table.h"
#include "motion/cycle_link.h"

namespace {

const char *const kControlChoices[] = {"Named Control Object", "Control Object = self", "Control Object = parent", nullptr};
const char *const kTrackChoices[] = {"Velocity in +X", "Velocity in +Y", "Velocity in +Z", "Absolute Velocity", nullptr};

const ControlSpec kRows[] = {
    {.key = "CONTROL", .kind = ControlSpecKind::Radio, .x = 140, .y = 59, .value = 0, .choices = kControlChoices,
     .changed = CycleRefresh, .setup = RadioLabelsLeft},
    {.key = "CONTROLITEM", .kind = ControlSpecKind::Item, .x = 170, .y = 60, .label = "", .changed = CycleRefresh},
    {.key = "CHANGETEXT", .kind = ControlSpecKind::Text, .x = 139, .y = 132, .label = "Define Cycle Phase By Control Object's:"},
    {.key = "TRACKFROM", .kind = ControlSpecKind::Radio, .x = 250, .y = 150, .value = 0, .choices = kTrackChoices,
     .changed = CycleRefresh, .setup = RadioLabelsLeft},
    {.key = "RANGE1", .kind = ControlSpecKind::Text, .x = 20, .y = 280, .label = ""},
    {.key = "FRAMES", .kind = ControlSpecKind::Numeric, .x = 190, .y = 250, .label = "Lookahead Frames", .value = 1,
     .low = 0.01, .flags = kClipLow | kDragFromLow, .changed = CycleRefresh},
    {.key = "LOWFROM", .kind = ControlSpecKind::Numeric, .x = 190, .y = 305, .label = "Velocity (m/s) for Cycle Start",
     .value = 0, .flags = kDragFree, .changed = CycleRefresh},
    {.key = "HIGHFROM", .kind = ControlSpecKind::Numeric, .x = 190, .y = 330, .label = "Velocity (m/s) for Cycle End",
     .value = 1, .flags = kDragFree, .changed = CycleRefresh},
};

LWInstance Create(LWError *err, LWItemID item);
const CycleMember kMember = {"SpeedLink", CycleSource::Speed, kRows, sizeof kRows / sizeof kRows[0], Create};
LWInstance Create(LWError *err, LWItemID item) { return CycleCreate(kMember, err, item); }

const ItemMotionHandler kHandler = {Create,        SharedDestroy, SharedCopy,     SharedLoad,    SharedSave,
                                    CycleEvaluate, CycleDescribe, SharedOwnerItemsUsed, SharedChangeID};

}  // namespace

extern const PluginDef speedLinkPlugin = {"SpeedLink", PluginClass::ItemMotion, &kHandler};
