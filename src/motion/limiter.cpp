// Limiter: clamps each of an item's nine motion channels (position, rotation,
// scale) between an optional minimum and an optional maximum, each bound with
// its own switch and value; rotation bounds are entered in degrees.
#include <initializer_list>

#include "controls/choice.h"
#include "controls/numeric.h"
#include "controls/plugin_access.h"
#include "controls/plugin_instance.h"
#include "helpers/units.h"
#include "module/lifecycle.h"
#include "module/server_table.h"

namespace {

constexpr int kChannels = 9;

// Per channel, in the order X, Y, Z position, heading, pitch, bank, X, Y, Z
// scale: the min switch and value, then the max switch and value.
enum { kMinOn, kMinValue, kMaxOn, kMaxValue, kPerChannel };
enum { kInteractive = kChannels * kPerChannel, kDisable, kControls };

LWInstance Create(LWError *err, LWItemID item);

// Each switch carries the channel's label on its left, its value field on its right.
constexpr ControlSpec Switch(const char *key, int x, int y, const char *label) {
    return {.key = key, .kind = ControlSpecKind::Toggle, .x = x, .y = y, .label = label, .value = 0,
            .flags = kGreyWhileDisabled, .setup = ButtonLabelLeft};
}
constexpr ControlSpec Bound(const char *key, int x, int y) {
    return {.key = key, .kind = ControlSpecKind::Numeric, .x = x, .y = y, .label = "", .value = 0,
            .flags = kDragFree | kGreyWhileDisabled};
}
#define VESK_CHANNEL(low, high, y, lowLabel, highLabel) \
    Switch(low, 130, y, lowLabel), Bound(low "VAL", 155, y), Switch(high, 390, y, highLabel), Bound(high "VAL", 415, y)

const ControlSpec kTable[kControls] = {
    VESK_CHANNEL("PXL", "PXH", 56, "Min X Position", "Max X Position"),
    VESK_CHANNEL("PYL", "PYH", 79, "Min Y Position", "Max Y Position"),
    VESK_CHANNEL("PZL", "PZH", 102, "Min Z Position", "Max Z Position"),
    VESK_CHANNEL("RHL", "RHH", 137, "Min Heading", "Max Heading"),
    VESK_CHANNEL("RPL", "RPH", 160, "Min Pitch", "Max Pitch"),
    VESK_CHANNEL("RBL", "RBH", 183, "Min Bank", "Max Bank"),
    VESK_CHANNEL("SXL", "SXH", 218, "Min X Scale", "Max X Scale"),
    VESK_CHANNEL("SYL", "SYH", 241, "Min Y Scale", "Max Y Scale"),
    VESK_CHANNEL("SZL", "SZH", 264, "Min Z Scale", "Max Z Scale"),
    {.key = "INTERACTIVE", .kind = ControlSpecKind::Toggle, .x = 450, .y = 288, .label = "Interactive", .value = 1, .flags = kGreyWhileDisabled},
    {.key = "DISABLE", .kind = ControlSpecKind::Toggle, .x = 450, .y = 310, .label = "Disable All Effects", .value = 0,
     .changed = GreyWhileDisabled},
};
#undef VESK_CHANNEL

const PanelSpec kPanel = {.title = "Limiter", .shortName = "Limiter", .width = 580, .height = 360, .create = Create,
                          .destroy = SharedDestroy, .copy = SharedCopy, .afterLoad = GreyWhileDisabled};


LWInstance Create(LWError *err, LWItemID item) {
    return BuildInstance(kPanel, kTable, kControls, item, err, ClassInfo(PluginClass::ItemMotion).createFailure);
}

void Evaluate(LWInstance instance, const ItemMotionAccess *access) {
    PluginInstance *p = OpenEvaluation(instance, access->time, access->item);
    if (!p) return;
    const double t = access->time;
    if (On(p, kDisable)) return;
    // Degrees to radians on the current values only: the stored degrees stay.
    for (int c = 3; c < 6; ++c)
        for (int bound : {kMinValue, kMaxValue}) Current(p, c * kPerChannel + bound) *= kRadiansPerDegree;
    double motion[kChannels];
    access->getParam(LWIP_POSITION, t, motion);
    access->getParam(LWIP_ROTATION, t, motion + 3);
    access->getParam(LWIP_SCALING, t, motion + 6);
    for (int c = 0; c < kChannels; ++c) {
        int first = c * kPerChannel;
        // The minimum first, so that with min above max the max wins.
        if (On(p, first + kMinOn) && motion[c] <= Current(p, first + kMinValue)) motion[c] = Current(p, first + kMinValue);
        if (On(p, first + kMaxOn) && Current(p, first + kMaxValue) <= motion[c]) motion[c] = Current(p, first + kMaxValue);
    }
    access->setParam(LWIP_POSITION, motion);
    access->setParam(LWIP_ROTATION, motion + 3);
    access->setParam(LWIP_SCALING, motion + 6);
}

const char *Describe(LWInstance instance) { return SharedDescription(instance, "Limiter", "Limiter: Disabled"); }

// Just the item itself, and only when interactive.

const ItemMotionHandler kHandler = MotionHandlerOf(Create, Evaluate, Describe);

}  // namespace

extern const PluginDef limiterPlugin = {"Limiter", PluginClass::ItemMotion, &kHandler};
