// Unveil: makes a surface transparent where it is close to the viewer, so that
// foreground geometry fades away and reveals what lies behind it. Nearer than
// NEAR the full applied transparency; beyond FAR nothing; smoothly between.
#include "controls/numeric.h"
#include "controls/plugin_access.h"
#include "controls/plugin_instance.h"
#include "module/lifecycle.h"
#include "module/server_table.h"

namespace {

enum { kFar, kNear, kTransparency, kStrength, kControls };

LWInstance Create(LWError *err);


const ControlSpec kTable[kControls] = {
    {.key = "FAR", .kind = ControlSpecKind::Numeric, .x = 200, .y = 66, .label = "Far transition distance",
     .value = 5.0, .low = 0, .flags = kClipLow, .setup = DragNotBelowLow},
    {.key = "NEAR", .kind = ControlSpecKind::Numeric, .x = 200, .y = 91, .label = "Near transition distance",
     .value = 3.0, .low = 0, .flags = kClipLow, .setup = DragNotBelowLow},
    {.key = "TRANSP", .kind = ControlSpecKind::Numeric, .x = 200, .y = 116, .label = "Applied transparency",
     .value = 1.0},
    {.key = "STRENGTH", .kind = ControlSpecKind::Numeric, .x = 200, .y = 141, .label = "Application Strength",
     .value = 1.0},
};

// The panel keeps create and copy so that Cancel can put the settings back.
const PanelSpec kPanel = {.title = "Unveil", .shortName = "Unveil", .width = 400, .height = 205,
                          .create = [](LWError *err, LWItemID) { return Create(err); }, .destroy = SharedDestroy,
                          .copy = SharedCopy};

LWInstance Create(LWError *err) {
    return BuildInstance(kPanel, kTable, kControls, LWITEM_NULL, err, ClassInfo(PluginClass::Shader).createFailure);
}


LWError NewTime(LWInstance instance, LWFrame, LWTime time) {
    PluginInstance *p = OpenEvaluation(instance, time);
    if (!p) return "Eeek, no inst at newtime";
    return nullptr;
}

void Evaluate(LWInstance instance, ShaderAccess *spot) {
    PluginInstance *p = static_cast<PluginInstance *>(instance);
    if (!p) return;
    double d = spot->rayLength, far = Current(p, kFar), near = Current(p, kNear);
    // The division only happens strictly between NEAR and FAR, so NEAR >= FAR is safe.
    double u = d >= far ? 0 : (d > near ? (far - d) / (far - near) : 1);
    double s = (3 - 2 * u) * u * u;
    if (s <= 0) return;
    if (s > 1) s = 1;
    s *= Current(p, kStrength);
    spot->transparency = (1 - s) * spot->transparency + s * Current(p, kTransparency);
}

unsigned Flags(LWInstance) { return LWSHF_TRANSP; }
const char *Describe(LWInstance) { return "Unveil"; }

const ShaderHandler kHandler = ShaderHandlerOf(Create, NewTime, Evaluate, Flags, Describe);

}  // namespace

extern const PluginDef unveilPlugin = {"Unveil", PluginClass::Shader, &kHandler};
