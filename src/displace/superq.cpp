// SuperQ: reshapes an object into a superquadric. Each point keeps its distance
// from the object's origin; each coordinate is bent by a power of its share of
// that distance. Curvature 0.5 leaves a sphere a sphere, small values square it
// off towards a box, large values pinch it towards the axes.
#include <cmath>
#include <initializer_list>

#include "controls/choice.h"
#include "controls/numeric.h"
#include "controls/plugin_instance.h"
#include "module/lifecycle.h"
#include "module/server_table.h"
#include "controls/plugin_access.h"

namespace {

enum { kXExp, kYExp, kZExp, kDisable, kControls };

LWInstance Create(LWError *err, LWItemID item);

const ControlSpec kTable[kControls] = {
    {.key = "XEXP", .kind = ControlSpecKind::Percent, .x = 150, .y = 65, .label = "X Curvature", .value = 0.5, .flags = kGreyWhileDisabled},
    {.key = "YEXP", .kind = ControlSpecKind::Percent, .x = 150, .y = 90, .label = "Y Curvature", .value = 0.5, .flags = kGreyWhileDisabled},
    {.key = "ZEXP", .kind = ControlSpecKind::Percent, .x = 150, .y = 115, .label = "Z Curvature", .value = 0.5, .flags = kGreyWhileDisabled},
    {.key = "DISABLE", .kind = ControlSpecKind::Toggle, .x = 150, .y = 140, .label = "Disable", .changed = GreyWhileDisabled},
};

const PanelSpec kPanel = {.title = "SuperQ", .shortName = "SuperQ", .width = 400, .height = 210, .create = Create,
                          .destroy = SharedDestroy, .copy = SharedCopy, .afterLoad = GreyWhileDisabled};

bool Disabled(PluginInstance *p) { return On(p, kDisable); }

LWInstance Create(LWError *err, LWItemID item) {
    return BuildInstance(kPanel, kTable, kControls, item, err, ClassInfo(PluginClass::Displacement).createFailure);
}

LWError NewTime(LWInstance instance, LWItemID item, LWFrame, LWTime time) {
    PluginInstance *p = OpenEvaluation(instance, time, item);
    if (!p) return "Eeek, no inst at newtime";
    for (int i : {kXExp, kYExp, kZExp}) {
        double &c = Current(p, i);
        if (c <= 0.02) c = 0.02;
        if (c >= 4.0) c = 4.0;
    }
    return nullptr;
}

double Sign(double v) { return v < 0 ? -1 : (v > 0 ? 1 : 0); }

void Evaluate(LWInstance instance, DisplacementAccess *access) {
    PluginInstance *p = static_cast<PluginInstance *>(instance);
    if (!p || Disabled(p)) return;
    double *q = access->source;
    double r = std::sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2]) + 1e-16;
    double share[3] = {std::fabs(q[0] / r), std::fabs(q[1] / r), std::fabs(q[2] / r)};
    for (int i = 0; i < 3; ++i) q[i] = std::pow(share[i], 2 * Current(p, kXExp + i)) * Sign(q[i]) * r;
}

const char *Describe(LWInstance instance) {
    PluginInstance *p = OpenSettings(instance);
    if (!p) return "Error!";
    return Disabled(p) ? "SuperQ: Disabled" : "SuperQ";
}

const DisplacementHandler kHandler = DisplacementHandlerOf(Create, NewTime, Evaluate, SharedObjectDisplacementFlags, Describe, SharedOwnerItemsUsed);

}  // namespace

extern const PluginDef superQPlugin = {"SuperQ", PluginClass::Displacement, &kHandler};
