// EdgeRGB: paints a colour onto a surface's silhouette, wherever it is seen at
// a grazing angle. "Color Coverage" sets how far the colour reaches in toward
// the parts facing the viewer, "Transition Sharpness" how hard its border is,
// on the bias and gain curves HSVBoost shapes its transitions with.
#include <initializer_list>

#include "controls/choice.h"
#include "controls/numeric.h"
#include "controls/plugin_instance.h"
#include "helpers/curves.h"
#include "helpers/units.h"
#include "module/lifecycle.h"
#include "module/server_table.h"
#include "shaders/facing.h"
#include "controls/plugin_access.h"

namespace {

enum { kColor, kTrans, kSharp, kControls };

LWInstance Create(LWError *err);
void EdgeRed(void *control) {
    ColorControl *c = static_cast<ColorControl *>(control);
    c->red = 90, c->green = 25, c->blue = 25;
}

const ControlSpec kTable[kControls] = {
    {.key = "COLOR", .kind = ControlSpecKind::Color, .x = 180, .y = 67, .label = "Edge color", .setup = EdgeRed},
    {.key = "TRANS", .kind = ControlSpecKind::Numeric, .x = 185, .y = 100, .label = "Color Coverage", .value = 0.5,
     .low = 0, .high = 1, .flags = kClipLow | kClipHigh | kDragFromLow},
    {.key = "SHARP", .kind = ControlSpecKind::Numeric, .x = 185, .y = 125, .label = "Transition Sharpness",
     .value = 0.5, .low = 0, .high = 1, .flags = kClipLow | kClipHigh | kDragFromLow},
};

// The panel keeps create and copy so that Cancel can put the settings back.
const PanelSpec kPanel = {.title = "Simple Edge Coloring Tool", .shortName = "EdgeRGB", .width = 400, .height = 195,
                          .create = [](LWError *err, LWItemID) { return Create(err); }, .destroy = SharedDestroy,
                          .copy = SharedCopy};

LWInstance Create(LWError *err) {
    return BuildInstance(kPanel, kTable, kControls, LWITEM_NULL, err, ClassInfo(PluginClass::Shader).createFailure);
}

// Coverage and sharpness are turned round and kept off the curves' ends.
LWError NewTime(LWInstance instance, LWFrame, LWTime time) {
    PluginInstance *p = OpenEvaluation(instance, time);
    if (!p) return "Eeek, no inst at newtime";
    for (int i : {kTrans, kSharp}) {
        double &v = Current(p, i);
        v = 1 - (v < 0.0001 ? 0.0001 : (v > 0.9999 ? 0.9999 : v));
    }
    return nullptr;
}

// t runs from 0 at the silhouette to near 1 where the surface faces the viewer.
void Evaluate(LWInstance instance, ShaderAccess *spot) {
    PluginInstance *p = static_cast<PluginInstance *>(instance);
    if (!p) return;
    double c = FacingCosine(spot);
    double t = Gain(Bias(c * c, Current(p, kTrans)), Current(p, kSharp));
    const ColorControl *edge = Control<ColorControl>(p, kColor);
    const int rgb[3] = {edge->red, edge->green, edge->blue};
    for (int i = 0; i < 3; ++i) spot->color[i] = rgb[i] * (1 - t) * kPerByteLevel + t * spot->color[i];
}

unsigned Flags(LWInstance) { return LWSHF_COLOR; }
const char *Describe(LWInstance) { return "EdgeRGB"; }

const ShaderHandler kHandler = ShaderHandlerOf(Create, NewTime, Evaluate, Flags, Describe);

}  // namespace

extern const PluginDef edgeRGBPlugin = {"EdgeRGB", PluginClass::Shader, &kHandler};
