// The cycle-link engine shared by PhaseLink, SpeedLink, AccelLink,
// ThrottleLink and DistLink: a keyed stretch of the item's own motion (the
// cycle definition) played back at a phase driven by something else. A member
// names its source and its own controls; the engine builds its panel (the
// common controls first, then the member's), resolves the control object,
// turns source values into phases, evaluates, describes and draws the graph.
// Items used are the shared ones (the control item, then the item itself).
#pragma once

#include "controls/choice.h"
#include "controls/plugin_instance.h"
#include "module/lifecycle.h"

enum class CycleSource { Phase, Speed, Accel, Throttle, Distance };

struct CycleMember {
    const char *name;  // panel, settings envelope and description lines
    CycleSource source;
    const ControlSpec *rows;  // the member's own controls, created after the common ones
    int rowCount;
};

// The change callback of every control that moves the graph.
void CycleRefresh(PluginInstance *p);

// The rows the members share, each placed where the member's panel has it:
// the control object's choice and its item, the caption over the source's
// choices, those choices, the range texts under the graph, the lookahead,
// and the source values that start and end the cycle.
extern const char *const kCycleControlChoices[];
constexpr ControlSpec CycleControlChoice() {
    return {.key = "CONTROL", .kind = ControlSpecKind::Radio, .x = 140, .y = 59, .value = 0,
            .choices = kCycleControlChoices, .changed = CycleRefresh, .setup = RadioLabelsLeft};
}
constexpr ControlSpec CycleControlItem() {
    return {.key = "CONTROLITEM", .kind = ControlSpecKind::Item, .x = 170, .y = 60, .label = "", .changed = CycleRefresh};
}
constexpr ControlSpec CycleCaption(int y, const char *label) {
    return {.key = "CHANGETEXT", .kind = ControlSpecKind::Text, .x = 139, .y = y, .label = label};
}
constexpr ControlSpec CycleSourceChoice(int x, int y, const char *const *choices, bool labelsLeft = true) {
    return {.key = "TRACKFROM", .kind = ControlSpecKind::Radio, .x = x, .y = y, .value = 0, .choices = choices,
            .changed = CycleRefresh, .setup = labelsLeft ? RadioLabelsLeft : nullptr};
}
constexpr ControlSpec CycleRangeText(const char *key, int x, int y) {
    return {.key = key, .kind = ControlSpecKind::Text, .x = x, .y = y, .label = ""};
}
constexpr ControlSpec CycleLookahead(double frames) {
    return {.key = "FRAMES", .kind = ControlSpecKind::Numeric, .x = 190, .y = 250, .label = "Lookahead Frames",
            .value = frames, .low = 0.01, .flags = kClipLow | kDragFromLow, .changed = CycleRefresh};
}
// LOWFROM and HIGHFROM: any value, dragged freely.
constexpr ControlSpec CycleSourceValue(const char *key, int x, int y, const char *label, double value) {
    return {.key = key, .kind = ControlSpecKind::Numeric, .x = x, .y = y, .label = label, .value = value,
            .flags = kDragFree, .changed = CycleRefresh};
}
constexpr ControlSpec CyclePercent(const char *key, int x, int y, const char *label, double value) {
    return {.key = key, .kind = ControlSpecKind::Percent, .x = x, .y = y, .label = label, .value = value,
            .changed = CycleRefresh};
}

// `create` is the member's own create slot, which the panel keeps for copies.
LWInstance CycleCreate(const CycleMember &member, LWInstance (*create)(LWError *, LWItemID), LWError *err,
                       LWItemID item);
void CycleEvaluate(LWInstance instance, const ItemMotionAccess *access);
const char *CycleDescribe(LWInstance instance);

// A member's handler: its own create around the engine's callbacks, so that a
// member file is its rows and one line naming them.
template <const CycleMember &member>
LWInstance CycleMemberCreate(LWError *err, LWItemID item) {
    return CycleCreate(member, CycleMemberCreate<member>, err, item);
}
template <const CycleMember &member>
constexpr ItemMotionHandler kCycleHandler = MotionHandlerOf(CycleMemberCreate<member>, CycleEvaluate, CycleDescribe);
