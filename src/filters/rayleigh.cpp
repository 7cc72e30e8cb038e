// Rayleigh: a depth fog over the rendered image with a falloff distance of its
// own for each of red, green and blue, so that distant things take on the fog
// colour in red first and in blue last. It can also write the fog into alpha.
#include <cmath>
#include <initializer_list>

#include "controls/choice.h"
#include "controls/numeric.h"
#include "controls/plugin_instance.h"
#include "filters/filter_frames.h"
#include "module/lifecycle.h"
#include "module/server_table.h"

namespace {

enum { kNoFog, kMaxFog, kColor, kRedLength, kGreenLength, kBlueLength, kAlpha, kDisable, kControls };
enum { kNoAlphaEffect, kMultiplyAlpha, kReplaceAlpha };

const char *const kAlphaChoices[] = {"No Alpha Effect", "Multiply Alpha", "Replace Alpha", nullptr};
constexpr double kShortestFalloff = 0.001;

void Reghost(PluginInstance *p);
void ReghostFrom(ControlRecord *r) { Reghost(r->panel->instance); }
LWInstance Create(LWError *err);
int NewTimeHook(PluginInstance *p, LWFrame, LWTime time);
double Pixel(PluginInstance *p, double depth, double rgb[3]);

void FogColor(void *control) {
    ColorControl *c = static_cast<ColorControl *>(control);
    c->red = 38, c->green = 134, c->blue = 185;
}

const ControlSpec kTable[kControls] = {
    {.key = "NOFOG", .kind = ControlSpecKind::Numeric, .x = 108, .y = 65, .label = "Clear Distance", .value = 0,
     .low = 0, .flags = kClipLow, .setup = DragNotBelowLow},
    {.key = "MAXFOG", .kind = ControlSpecKind::Numeric, .x = 108, .y = 88, .label = "Max Distance", .value = 99999.0,
     .low = 0, .flags = kClipLow, .setup = DragNotBelowLow},
    {.key = "COLOR", .kind = ControlSpecKind::Color, .x = 108, .y = 111, .label = "Fog Color", .setup = FogColor},
    {.key = "RLENGTH", .kind = ControlSpecKind::Numeric, .x = 108, .y = 134, .label = "Red Falloff Dist",
     .value = 1000.0, .low = kShortestFalloff, .flags = kClipLow, .setup = DragNotBelowLow},
    {.key = "GLENGTH", .kind = ControlSpecKind::Numeric, .x = 108, .y = 157, .label = "Green Falloff Dist",
     .value = 3000.0, .low = kShortestFalloff, .flags = kClipLow, .setup = DragNotBelowLow},
    {.key = "BLENGTH", .kind = ControlSpecKind::Numeric, .x = 108, .y = 180, .label = "Blue Falloff Dist",
     .value = 20000.0, .low = kShortestFalloff, .flags = kClipLow, .setup = DragNotBelowLow},
    {.key = "ALPHA", .kind = ControlSpecKind::Radio, .x = 350, .y = 192, .value = kNoAlphaEffect,
     .choices = kAlphaChoices},
    {.key = "DISABLE", .kind = ControlSpecKind::Toggle, .x = 132, .y = 220, .label = "Disable All Effects",
     .changed = ReghostFrom},
};

const PanelSpec kPanel = {.title = "Rayleigh", .shortName = "Rayleigh", .width = 400, .height = 280,
                          .create = [](LWError *err, LWItemID) { return Create(err); }, .destroy = SharedDestroy,
                          .copy = SharedCopy, .afterLoad = Reghost, .pixel = {.newTimeHook = NewTimeHook, .pixelHook = Pixel}};

double Current(PluginInstance *p, int i) { return Control<NumericControl>(p, i)->current; }
bool Disabled(PluginInstance *p) { return ToggleIsOn(Control<ButtonControl>(p, kDisable)); }

LWInstance Create(LWError *err) {
    return BuildInstance(kPanel, kTable, kControls, LWITEM_NULL, err, ClassInfo(PluginClass::PixelFilter).createFailure);
}

void Reghost(PluginInstance *p) {
    for (int i = 0; i < kControls; ++i)
        if (i != kDisable) GhostControl(static_cast<ControlRecord *>(p->controls[i]), Disabled(p));
}

int NewTimeHook(PluginInstance *p, LWFrame, LWTime time) {
    EvaluatePanelNumerics(p->panel, time);
    for (int i : {kRedLength, kGreenLength, kBlueLength}) {
        double &falloff = Control<NumericControl>(p, i)->current;
        if (falloff < kShortestFalloff) falloff = kShortestFalloff;
    }
    return 0;
}

double Pixel(PluginInstance *p, double depth, double rgb[3]) {
    if (Disabled(p)) return 1.0;
    double maxFog = Current(p, kMaxFog);
    double d = (depth < maxFog ? depth : maxFog) - Current(p, kNoFog);
    if (d < 0) return 1.0;
    const ColorControl *fog = Control<ColorControl>(p, kColor);
    const double fogColor[3] = {static_cast<double>(fog->red), static_cast<double>(fog->green),
                                static_cast<double>(fog->blue)};
    double transmission[3], sum = 0;
    for (int c = 0; c < 3; ++c) {
        transmission[c] = std::exp(-d / Current(p, kRedLength + c));
        rgb[c] = fogColor[c] * (1 - transmission[c]) + transmission[c] * rgb[c];
        sum += transmission[c];
    }
    double fogAmount = 1 - sum / 3;
    switch (Control<RadioControl>(p, kAlpha)->selection) {
    case kMultiplyAlpha: p->pixel.alpha = 1 - (1 - p->pixel.alpha) * (1 - fogAmount); break;
    case kReplaceAlpha: p->pixel.alpha = fogAmount; break;
    default: break;
    }
    return 0.0;
}

void Cleanup(LWInstance) {}
unsigned Flags(LWInstance) { return 1u << LWBUF_DEPTH; }

const char *Describe(LWInstance instance) {
    PluginInstance *p = static_cast<PluginInstance *>(instance);
    if (!p) return "Error!";
    SynchronisePanel(p->panel);
    return Disabled(p) ? "Rayleigh: Disabled" : "Rayleigh";
}

const PixelFilterHandler kHandler = {Create,         SharedDestroy,      SharedCopyNoItem,    SharedLoad, SharedSave,
                                     PixelFilterInit, Cleanup,           PixelFilterNewTime,  PixelFilterEvaluate,
                                     Flags,          Describe,           SharedItemsUsed,           SharedChangeID};

}  // namespace

extern const PluginDef rayleighPlugin = {"Rayleigh", PluginClass::PixelFilter, &kHandler};
