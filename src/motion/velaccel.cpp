// VelAccel: adds a velocity and an acceleration per axis to an item's keyed
// position, accumulated from time 0 in steps of a hundredth of a second; the
// values may themselves be animated, each step reading them at its middle.
#include <cstdio>

#include "controls/choice.h"
#include "controls/numeric.h"
#include "controls/plugin_access.h"
#include "controls/plugin_instance.h"
#include "module/lifecycle.h"
#include "module/server_table.h"

namespace {

// Table positions, which are also the creation (and save) order.
enum { kXVel, kYVel, kZVel, kXAccel, kYAccel, kZAccel, kExportMotion, kDisable, kControls };

LWInstance Create(LWError *err, LWItemID item);

// Metres per second, and per second squared: typed freely, four digits.
constexpr ControlSpec Rate(const char *key, int x, int y, const char *label) {
    return {.key = key, .kind = ControlSpecKind::Numeric, .x = x, .y = y, .label = label, .value = 0,
            .flags = kDragFree | kGreyWhileDisabled, .digits = 4};
}

const ControlSpec kTable[kControls] = {
    Rate("XVEL", 65, 65, "Vel X"),      Rate("YVEL", 65, 88, "Vel Y"),      Rate("ZVEL", 65, 111, "Vel Z"),
    Rate("XACCEL", 265, 65, "Accel X"), Rate("YACCEL", 265, 88, "Accel Y"), Rate("ZACCEL", 265, 111, "Accel Z"),
    {.key = "MB", .kind = ControlSpecKind::ExportMotion, .x = 64, .y = 143},
    {.key = "DISABLE", .kind = ControlSpecKind::Toggle, .x = 360, .y = 143, .label = "Disable All Effects", .value = 0,
     .changed = GreyWhileDisabled},
};

const PanelSpec kPanel = {.title = "Velaccel", .shortName = "Velaccel", .width = 400, .height = 200, .create = Create,
                          .destroy = SharedDestroy, .copy = SharedCopy, .afterLoad = GreyWhileDisabled};

bool Disabled(PluginInstance *p) { return On(p, kDisable); }

LWInstance Create(LWError *err, LWItemID item) {
    return BuildInstance(kPanel, kTable, kControls, item, err, ClassInfo(PluginClass::ItemMotion).createFailure);
}

void Evaluate(LWInstance instance, const ItemMotionAccess *access) {
    PluginInstance *p = OpenEvaluation(instance, access->time, access->item);
    if (!p) return;
    const double t = access->time;
    if (Disabled(p)) return;
    double position[3], scale[3], rotation[3], velocity[3] = {0, 0, 0};
    access->getParam(LWIP_POSITION, t, position);
    access->getParam(LWIP_SCALING, t, scale);
    access->getParam(LWIP_ROTATION, t, rotation);
    // Steps of 0.01 s; the last one is the remaining fraction f of a step.
    for (double u = 0; t > 0 && u < t; u += 0.01) {
        double f = (t - u) * 100.0;
        if (f > 1.0) f = 1.0;
        double middle = f * 0.005 + u;
        for (int a = 0; a < 3; ++a) position[a] += EvaluateNumeric(Number(p, kXVel + a), middle) * f * 0.01;
        for (int a = 0; a < 3; ++a) {
            double gained = EvaluateNumeric(Number(p, kXAccel + a), middle) * f * 0.01;
            position[a] += (gained * 0.5 + velocity[a]) * f * 0.01;
            velocity[a] += gained;
        }
    }
    access->setParam(LWIP_POSITION, position);
    access->setParam(LWIP_SCALING, scale);
    access->setParam(LWIP_ROTATION, rotation);
}

const char *Describe(LWInstance instance) { return SharedDescription(instance, "Vel-Accel", "Vel-Accel: Disabled"); }

// Items used: no items of its own, so the reference items of animated settings,
// then the item and its ancestors.
const ItemMotionHandler kHandler = MotionHandlerOf(Create, Evaluate, Describe);

}  // namespace

extern const PluginDef velAccelPlugin = {"VelAccel", PluginClass::ItemMotion, &kHandler};
