// Rayleigh: a depth fog over the rendered image with a falloff distance of its
// own for each of red, green and blue, so that distant things take on the fog
// colour in red first and in blue last. It can also write the fog into alpha.
#include <cmath>
#include <initializer_list>

#include "controls/choice.h"
#include "controls/numeric.h"
#include "controls/plugin_access.h"
#include "controls/plugin_instance.h"
#include "controls/static_controls.h"
#include "filters/filter_frames.h"
#include "module/lifecycle.h"
#include "module/server_table.h"

namespace {

enum { kNoFog, kMaxFog, kColor, kRedLength, kGreenLength, kBlueLength, kAlpha, kDisable, kPreview, kControls };
enum { kNoAlphaEffect, kMultiplyAlpha, kReplaceAlpha };

const char *const kAlphaChoices[] = {"No Alpha Effect", "Multiply Alpha", "Replace Alpha", nullptr};
constexpr double kShortestFalloff = 0.001;

constexpr int kPreviewSize = 128;

void Refresh(PluginInstance *p);
LWInstance Create(LWError *err);
int NewTimeHook(PluginInstance *p, LWFrame, LWTime time);
double Pixel(PluginInstance *p, double depth, double rgb[3]);

void FogColor(void *control) {
    ColorControl *c = static_cast<ColorControl *>(control);
    c->red = 38, c->green = 134, c->blue = 185;
}

const ControlSpec kTable[kControls] = {
    {.key = "NOFOG", .kind = ControlSpecKind::Numeric, .x = 108, .y = 65, .label = "Clear Distance", .value = 0,
     .low = 0, .flags = kClipLow, .changed = Refresh, .setup = DragNotBelowLow},
    {.key = "MAXFOG", .kind = ControlSpecKind::Numeric, .x = 108, .y = 88, .label = "Max Distance", .value = 99999.0,
     .low = 0, .flags = kClipLow, .changed = Refresh, .setup = DragNotBelowLow},
    {.key = "COLOR", .kind = ControlSpecKind::Color, .x = 108, .y = 111, .label = "Fog Color", .changed = Refresh,
     .setup = FogColor},
    {.key = "RLENGTH", .kind = ControlSpecKind::Numeric, .x = 108, .y = 134, .label = "Red Falloff Dist",
     .value = 1000.0, .low = kShortestFalloff, .flags = kClipLow, .changed = Refresh, .setup = DragNotBelowLow},
    {.key = "GLENGTH", .kind = ControlSpecKind::Numeric, .x = 108, .y = 157, .label = "Green Falloff Dist",
     .value = 3000.0, .low = kShortestFalloff, .flags = kClipLow, .changed = Refresh, .setup = DragNotBelowLow},
    {.key = "BLENGTH", .kind = ControlSpecKind::Numeric, .x = 108, .y = 180, .label = "Blue Falloff Dist",
     .value = 20000.0, .low = kShortestFalloff, .flags = kClipLow, .changed = Refresh, .setup = DragNotBelowLow},
    {.key = "ALPHA", .kind = ControlSpecKind::Radio, .x = 350, .y = 192, .value = kNoAlphaEffect,
     .choices = kAlphaChoices},
    {.key = "DISABLE", .kind = ControlSpecKind::Toggle, .x = 132, .y = 220, .label = "Disable All Effects",
     .changed = Refresh},
    {.key = "PREVIEW", .kind = ControlSpecKind::Preview, .x = 247, .y = 60, .setup = PreviewSide<kPreviewSize>},
};

// The fog's settings at the frame's time, read once for all its pixels.
struct Fog {
    bool disabled;
    double clear, farthest, colour[3], falloff[3];
    int alphaMode;
};

// A render's fog, and the preview's apart from it.
struct RayleighWork {
    Fog render, preview;
};

const PanelSpec kPanel = {.title = "Rayleigh", .shortName = "Rayleigh", .width = 400, .height = 280,
                          .create = [](LWError *err, LWItemID) { return Create(err); }, .destroy = SharedDestroy,
                          .copy = SharedCopy, .afterLoad = Refresh, .pixel = {.newTimeHook = NewTimeHook, .pixelHook = Pixel},
                          .workBytes = sizeof(RayleighWork)};

bool Disabled(PluginInstance *p) { return On(p, kDisable); }

LWInstance Create(LWError *err) {
    return BuildInstance(kPanel, kTable, kControls, LWITEM_NULL, err, ClassInfo(PluginClass::PixelFilter).createFailure);
}


void ReadFog(PluginInstance *p, LWTime time, Fog *fog) {
    EvaluatePanelNumerics(p->panel, time);
    for (int i : {kRedLength, kGreenLength, kBlueLength}) {
        double &falloff = Current(p, i);
        if (falloff < kShortestFalloff) falloff = kShortestFalloff;
    }
    fog->disabled = Disabled(p);
    fog->clear = Current(p, kNoFog);
    fog->farthest = Current(p, kMaxFog);
    const ColorControl *colour = Control<ColorControl>(p, kColor);
    fog->colour[0] = colour->red, fog->colour[1] = colour->green, fog->colour[2] = colour->blue;
    for (int c = 0; c < 3; ++c) fog->falloff[c] = Current(p, kRedLength + c);
    fog->alphaMode = Selection(p, kAlpha);
}

int NewTimeHook(PluginInstance *p, LWFrame, LWTime time) {
    ReadFog(p, time, &Work<RayleighWork>(p)->render);
    return 0;
}

// The fog over one pixel at a depth: its colour changed in place and the
// alpha, 0 to 1, in *alpha. 1.0 when it left the pixel alone.
double Fogged(const Fog &fog, double depth, double rgb[3], double *alpha) {
    if (fog.disabled) return 1.0;
    double d = (depth < fog.farthest ? depth : fog.farthest) - fog.clear;
    if (d < 0) return 1.0;
    double transmission[3], sum = 0;
    for (int c = 0; c < 3; ++c) {
        transmission[c] = std::exp(-d / fog.falloff[c]);
        rgb[c] = fog.colour[c] * (1 - transmission[c]) + transmission[c] * rgb[c];
        sum += transmission[c];
    }
    double fogAmount = 1 - sum / 3;
    switch (fog.alphaMode) {
    case kMultiplyAlpha: *alpha = 1 - (1 - *alpha) * (1 - fogAmount); break;
    case kReplaceAlpha: *alpha = fogAmount; break;
    default: break;
    }
    return 0.0;
}

double Pixel(PluginInstance *p, double depth, double rgb[3]) {
    return Fogged(Work<RayleighWork>(p)->render, depth, rgb, &p->pixel.alpha);
}

// The preview: distance runs across, from the camera to three times the
// longest falloff past the clear distance (or a little past Max Distance when
// that comes first). The upper part shows white, grey and dark bars as they
// would render at each distance, fogged by the very routine the render uses,
// so the colour shift (red going first, blue last) reads directly; the lower
// part plots what is left of each channel (red, green and blue lines) from all
// at the top to none at the bottom. Ticks along the top mark the clear and the
// maximum distances. It shows the settings at time 0.
void Refresh(PluginInstance *p) {
    for (int i = 0; i < kControls; ++i)
        if (i != kDisable && i != kPreview) GhostControl(static_cast<ControlRecord *>(p->controls[i]), Disabled(p));
    PreviewControl *preview = Control<PreviewControl>(p, kPreview);
    Fog &fog = Work<RayleighWork>(p)->preview;
    ReadFog(p, 0, &fog);
    double alpha = 0;  // not shown
    double longest = 0;
    for (int i : {kRedLength, kGreenLength, kBlueLength}) longest = std::fmax(longest, Current(p, i));
    double clear = Current(p, kNoFog), maxFog = Current(p, kMaxFog);
    double farthest = clear + 3 * longest;
    if (maxFog * 1.25 < farthest) farthest = maxFog * 1.25;
    if (!(farthest > 0)) farthest = 1;
    const int n = kPreviewSize, bars = 84, bar = bars / 3;
    auto put = [preview](int x, int y, const double rgb[3]) {
        for (int c = 0; c < 3; ++c) preview->rgb[(y * kPreviewSize + x) * 3 + c] = ToByte(rgb[c]);
    };
    const double shades[3] = {235, 128, 24}, background[3] = {30, 30, 34};
    for (int x = 0; x < n; ++x) {
        double depth = (x + 0.5) / n * farthest, left[3];
        for (int b = 0; b < 3; ++b) {
            double rgb[3] = {shades[b], shades[b], shades[b]};
            Fogged(fog, depth, rgb, &alpha);
            for (int y = b * bar; y < (b + 1) * bar; ++y) put(x, y, rgb);
        }
        for (int y = bars; y < n; ++y) put(x, y, background);
        // What is left of each channel: white through the fog, minus the fog's own colour.
        double white[3] = {255, 255, 255}, black[3] = {0, 0, 0};
        Fogged(fog, depth, white, &alpha);
        Fogged(fog, depth, black, &alpha);
        for (int c = 0; c < 3; ++c) {
            left[c] = (white[c] - black[c]) / 255;
            int y = n - 2 - static_cast<int>(left[c] * (n - bars - 4));
            double line[3] = {c == 0 ? 255.0 : 60, c == 1 ? 255.0 : 60, c == 2 ? 255.0 : 60};
            put(x, y, line);
        }
    }
    const double tick[3] = {255, 255, 255};
    for (double at : {clear, maxFog}) {
        int x = static_cast<int>(at / farthest * n);
        if (x >= 0 && x < n)
            for (int y = 0; y < 6; ++y) put(x, y, tick);
    }
    RedrawControl(&preview->record, kDrawAll);
}

unsigned Flags(LWInstance) { return 1u << LWBUF_DEPTH; }

const char *Describe(LWInstance instance) {
    PluginInstance *p = OpenSettings(instance);
    if (!p) return "Error!";
    return Disabled(p) ? "Rayleigh: Disabled" : "Rayleigh";
}

const PixelFilterHandler kHandler = PixelFilterHandlerOf(Create, PixelFilterEvaluate, Flags, Describe, SharedItemsUsed);

}  // namespace

extern const PluginDef rayleighPlugin = {"Rayleigh", PluginClass::PixelFilter, &kHandler};
