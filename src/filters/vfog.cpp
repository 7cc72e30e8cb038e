// VFog: a layer of fog whose density depends on world altitude: full in a core
// from Altitude to Altitude + Thickness, thinning above and below over a
// falloff distance, linearly or exponentially. Each pixel's visible point is
// rebuilt from the camera and the pixel's depth, and the fog along the line of
// sight is integrated in closed form, so it is exact whether the camera looks
// through the layer, down on it or up into it. An optional sun glow tints the
// fog towards a light.
#include <algorithm>
#include <cmath>

#include "controls/choice.h"
#include "controls/item.h"
#include "controls/numeric.h"
#include "controls/plugin_access.h"
#include "controls/plugin_instance.h"
#include "filters/filter_frames.h"
#include "services/host_services.h"
#include "module/lifecycle.h"
#include "module/server_table.h"

namespace {

enum {
    kAltitude, kThickness, kDensity, kFalloff, kTopFall, kBottomFall, kColor, kNoFog, kMaxDist, kMaxFog, kFogBackground,
    kAlpha, kSun, kSunColor, kSunTight, kDisable, kControls
};
enum { kLinear, kExponential };
enum { kNoAlphaEffect, kMultiplyAlpha, kReplaceAlpha };

const char *const kFalloffChoices[] = {"Linear Falloff", "Exponential Falloff", nullptr};
const char *const kAlphaChoices[] = {"No Alpha Effect", "Multiply Alpha", "Replace Alpha", nullptr};

// The host's depth is the distance from the camera plane along the view axis
// (the z-buffer); false would take it as the distance along the ray.
constexpr bool kDepthAlongViewAxis = true;
// Depths at or past this (or not above 0, or not numbers) are the background;
// the host's own value for empty pixels is unconfirmed.
constexpr double kBackgroundDepth = 1.0e10;
// A sample's position is its corner plus half a pixel (unconfirmed).
constexpr double kPixelCentre = 0.5;
constexpr int kWorkingResolution = 65536;

LWInstance Create(LWError *err);
int NewTimeHook(PluginInstance *p, LWFrame, LWTime time);

void FogColour(void *c) { auto *k = static_cast<ColorControl *>(c); k->red = 190, k->green = 200, k->blue = 210; }
void GlowColour(void *c) { auto *k = static_cast<ColorControl *>(c); k->red = 255, k->green = 220, k->blue = 160; }

// A distance in metres: clipped at 0, dragged in 5 cm steps, two digits;
// greyed while disabled, as every control but DISABLE is.
constexpr ControlSpec Metres(const char *key, int y, const char *label, double value) {
    return {.key = key, .kind = ControlSpecKind::Factor, .x = 140, .y = y, .label = label, .value = value,
            .flags = kGreyWhileDisabled, .digits = 2, .dragStep = 0.05};
}

const ControlSpec kTable[kControls] = {
    {.key = "ALTITUDE", .kind = ControlSpecKind::Numeric, .x = 140, .y = 65, .label = "Altitude (m)", .value = 0,
     .flags = kDragFree | kGreyWhileDisabled, .digits = 2, .dragStep = 0.05},
    Metres("THICKNESS", 88, "Thickness (m)", 10.0),
    {.key = "DENSITY", .kind = ControlSpecKind::Factor, .x = 140, .y = 111, .label = "Density (per m)", .value = 0.02,
     .flags = kGreyWhileDisabled, .digits = 4, .dragStep = 0.0005},
    {.key = "FALLOFF", .kind = ControlSpecKind::Radio, .x = 300, .y = 65, .value = kExponential, .flags = kGreyWhileDisabled, .choices = kFalloffChoices},
    Metres("TOPFALL", 134, "Top Falloff (m)", 5.0),
    Metres("BOTFALL", 157, "Bottom Falloff (m)", 0.0),
    {.key = "COLOR", .kind = ControlSpecKind::Color, .x = 140, .y = 252, .label = "Fog Color", .flags = kGreyWhileDisabled, .setup = FogColour},
    Metres("NOFOG", 180, "Clear Distance (m)", 0.0),
    {.key = "MAXDIST", .kind = ControlSpecKind::Factor, .x = 140, .y = 203, .label = "Max Distance (m)", .value = 5000.0,
     .flags = kGreyWhileDisabled, .digits = 1, .dragStep = 5.0},
    {.key = "MAXFOG", .kind = ControlSpecKind::Percent, .x = 140, .y = 226, .label = "Max Fog Amount", .value = 1.0,
     .low = 0, .high = 1, .flags = kClipLow | kClipHigh | kGreyWhileDisabled},
    {.key = "FOGBG", .kind = ControlSpecKind::Toggle, .x = 300, .y = 280, .label = "Fog Background", .value = 1, .flags = kGreyWhileDisabled},
    {.key = "ALPHA", .kind = ControlSpecKind::Radio, .x = 300, .y = 120, .value = kNoAlphaEffect, .flags = kGreyWhileDisabled, .choices = kAlphaChoices},
    {.key = "SUN", .kind = ControlSpecKind::Item, .x = 140, .y = 335, .label = "Sun Light", .flags = kGreyWhileDisabled},
    {.key = "SUNCOLOR", .kind = ControlSpecKind::Color, .x = 140, .y = 360, .label = "Sun Glow", .flags = kGreyWhileDisabled, .setup = GlowColour},
    {.key = "SUNTIGHT", .kind = ControlSpecKind::Numeric, .x = 140, .y = 385, .label = "Glow Tightness", .value = 8.0,
     .low = 1, .flags = kClipLow | kDragFromLow | kGreyWhileDisabled, .digits = 1, .dragStep = 0.05},
    {.key = "DISABLE", .kind = ControlSpecKind::Toggle, .x = 300, .y = 305, .label = "Disable All Effects",
     .changed = GreyWhileDisabled},
};

// What the new-time hook works out for the frame; evaluate only reads it.
struct Frame {
    bool active;
    double W, H;
    double C[3], R[3], U[3], F[3];
    double tx, ty;
    double h0, h1, rho, top, bottom;
    int shape;
    double clear, farthest;
    double fog[3], maxAmount;
    bool fogBackground;
    int alphaMode;
    bool sunOn;
    double sun[3], glow[3], tight;
};

const PanelSpec kPanel = {.title = "Vertical Fog Layer", .shortName = "VFog", .width = 440, .height = 450,
                          .create = [](LWError *err, LWItemID) { return Create(err); }, .destroy = SharedDestroy,
                          .copy = SharedCopy, .afterLoad = GreyWhileDisabled,
                          .pixel = {.workingResolution = kWorkingResolution, .newTimeHook = NewTimeHook},
                          .workBytes = sizeof(Frame)};

bool Disabled(PluginInstance *p) { return On(p, kDisable); }

LWInstance Create(LWError *err) {
    return BuildInstance(kPanel, kTable, kControls, LWITEM_NULL, err, ClassInfo(PluginClass::PixelFilter).createFailure);
}

// ---- the layer ----

double Density(const Frame &f, double h) {
    if (h >= f.h0 && h <= f.h1) return f.rho;
    double u = h > f.h1 ? h - f.h1 : f.h0 - h, edge = h > f.h1 ? f.top : f.bottom;
    if (edge < 1e-12) return 0;  // a hard edge
    return f.shape == kLinear ? f.rho * std::max(0.0, 1 - u / edge) : f.rho * std::exp(-u / edge);
}

// The falloff integrated from u1 to u2 beyond the core (0 <= u1 <= u2).
double Tail(const Frame &f, double u1, double u2, double edge) {
    if (edge < 1e-12) return 0;
    if (f.shape == kExponential) return f.rho * edge * std::exp(-u1 / edge) * -std::expm1(-(u2 - u1) / edge);
    double v1 = std::min(u1, edge), v2 = std::min(u2, edge);
    return f.rho * (v2 - v1) * (1 - (v1 + v2) / (2 * edge));
}

// The density integrated over altitudes from a to b (a < b).
double LayerIntegral(const Frame &f, double a, double b) {
    double sum = f.rho * std::max(0.0, std::min(b, f.h1) - std::max(a, f.h0));
    if (b > f.h1) sum += Tail(f, std::max(a, f.h1) - f.h1, b - f.h1, f.top);
    if (a < f.h0) sum += Tail(f, f.h0 - std::min(b, f.h0), f.h0 - a, f.bottom);
    return sum;
}

// Optical depth of a straight segment of length l from altitude hA to hB:
// distance and altitude change together, so its mean density is the layer's
// mean over the altitudes it spans.
double OpticalDepth(const Frame &f, double length, double hA, double hB) {
    double lo = std::min(hA, hB), hi = std::max(hA, hB);
    if (hi - lo < 1e-9) return length * Density(f, (lo + hi) / 2);
    return length * LayerIntegral(f, lo, hi) / (hi - lo);
}

// ---- per frame ----

int NewTimeHook(PluginInstance *p, LWFrame, LWTime time) {
    Frame &f = *Work<Frame>(p);
    f.active = false;
    OpenEvaluation(p, time);
    if (Disabled(p)) return 0;
    auto *scene = static_cast<const LWSceneInfo *>(hostServices.global(LWSERVICE_SCENE_INFO, GFUSE_TRANSIENT));
    if (!scene || scene->frameWidth < 1 || scene->frameHeight < 1) return 0;
    f.W = scene->frameWidth, f.H = scene->frameHeight;
    double aspect = scene->pixelAspect > 0 ? scene->pixelAspect : 1.0;
    const LWItemInfo *items = hostServices.itemInfo;
    LWItemID camera = items ? items->first(LWI_CAMERA, LWITEM_NULL) : LWITEM_NULL;
    if (!camera) return 0;
    ItemAxesAt(camera, time, f.C, f.R, f.U, f.F);
    double horizontal = 0, vertical = 0;
    if (hostServices.cameraInfo) hostServices.cameraInfo->fovAngles(camera, time, &horizontal, &vertical);
    f.tx = std::tan(horizontal / 2), f.ty = std::tan(vertical / 2);
    if (!(std::isfinite(f.tx) && f.tx > 1e-8 && std::isfinite(f.ty) && f.ty > 1e-8)) {
        double zoom = hostServices.cameraInfo ? hostServices.cameraInfo->zoomFactor(camera, time) : 0;
        if (!(zoom >= 1e-8)) return 0;
        CameraHalfTangents(zoom, f.W, f.H, aspect, &f.tx, &f.ty);
    }
    f.h0 = Current(p, kAltitude);
    f.h1 = f.h0 + std::max(0.0, Current(p, kThickness));
    f.rho = std::max(0.0, Current(p, kDensity));
    f.top = std::max(0.0, Current(p, kTopFall));
    f.bottom = std::max(0.0, Current(p, kBottomFall));
    f.shape = std::clamp(Selection(p, kFalloff), 0, 1);
    if (f.rho == 0) return 0;
    f.clear = std::max(0.0, Current(p, kNoFog));
    f.farthest = std::max(0.0, Current(p, kMaxDist));
    const ColorControl *fog = Control<ColorControl>(p, kColor), *glow = Control<ColorControl>(p, kSunColor);
    f.fog[0] = std::clamp(fog->red, 0, 255), f.fog[1] = std::clamp(fog->green, 0, 255), f.fog[2] = std::clamp(fog->blue, 0, 255);
    f.maxAmount = std::clamp(Current(p, kMaxFog), 0.0, 1.0);
    f.fogBackground = On(p, kFogBackground);
    f.alphaMode = std::clamp(Selection(p, kAlpha), 0, 2);
    const ItemControl *sun = Control<ItemControl>(p, kSun);
    f.sunOn = sun->count > 0 && sun->items[0];
    if (f.sunOn) {
        LWItemID item = sun->items[0];
        bool distant = items->type(item) == LWI_LIGHT && hostServices.lightInfo &&
                       hostServices.lightInfo->type(item) == LWLIGHT_DISTANT;
        if (distant) {
            items->param(item, LWIP_FORWARD, time, f.sun);
            for (double &c : f.sun) c = -c;  // towards a distant light: against its beam
        } else {
            items->param(item, LWIP_W_POSITION, time, f.sun);
            for (int i = 0; i < 3; ++i) f.sun[i] -= f.C[i];
        }
        UnitVector(f.sun);
        f.glow[0] = std::clamp(glow->red, 0, 255), f.glow[1] = std::clamp(glow->green, 0, 255);
        f.glow[2] = std::clamp(glow->blue, 0, 255);
        f.tight = std::max(1.0, Current(p, kSunTight));
    }
    f.active = true;
    return 0;
}

// ---- per sample ----

void Evaluate(LWInstance instance, const PixelAccess *access) {
    BufferValue rgba[4];
    ReadSampleRgba(access, rgba);
    PluginInstance *p = static_cast<PluginInstance *>(instance);
    const Frame *frame = p ? Work<Frame>(p) : nullptr;
    if (!frame || !frame->active || (p->pixel.failed & 1) || !access->fltVal) return access->setRGBA(rgba);
    const Frame &f = *frame;
    float z = 0;
    access->fltVal(LWBUF_DEPTH, 1, &z);
    double a = (2 * (access->sx + kPixelCentre) / f.W - 1) * f.tx, b = (1 - 2 * (access->sy + kPixelCentre) / f.H) * f.ty;
    double D[3], e[3];
    for (int i = 0; i < 3; ++i) D[i] = f.F[i] + a * f.R[i] + b * f.U[i];
    double n = std::sqrt(D[0] * D[0] + D[1] * D[1] + D[2] * D[2]);
    for (int i = 0; i < 3; ++i) e[i] = D[i] / (n + 1e-16);
    double L;
    if (!std::isfinite(z) || z <= 0 || z >= kBackgroundDepth) {
        if (!f.fogBackground) return access->setRGBA(rgba);
        L = f.farthest;  // the sky, fogged as if it stood at Max Distance
    } else {
        L = std::min(kDepthAlongViewAxis ? z * n : static_cast<double>(z), f.farthest);
    }
    if (L <= f.clear) return access->setRGBA(rgba);
    double tau = OpticalDepth(f, L - f.clear, f.C[1] + f.clear * e[1], f.C[1] + L * e[1]);
    double m = -std::expm1(-tau) * f.maxAmount;  // 1 - exp(-tau)
    double colour[3] = {f.fog[0], f.fog[1], f.fog[2]};
    if (f.sunOn) {
        double facing = e[0] * f.sun[0] + e[1] * f.sun[1] + e[2] * f.sun[2];
        double g = facing > 0 ? std::pow(facing, f.tight) : 0;
        for (int i = 0; i < 3; ++i) colour[i] += g * (f.glow[i] - f.fog[i]);
    }
    BufferValue out[4];
    for (int i = 0; i < 3; ++i) {
        double c = rgba[i] * (1 - m) + colour[i] * m;
        out[i] = static_cast<BufferValue>(std::floor(std::clamp(c, 0.0, 255.0) + 0.5));
    }
    double alpha = rgba[3] / 255.0;
    out[3] = f.alphaMode == kNoAlphaEffect ? rgba[3]
             : static_cast<BufferValue>(std::floor(
                   255 * (f.alphaMode == kMultiplyAlpha ? 1 - (1 - alpha) * (1 - m) : m) + 0.5));
    access->setRGBA(out);
}

unsigned Flags(LWInstance instance) { return instance ? 1u << LWBUF_DEPTH : 0; }

const char *Describe(LWInstance instance) {
    PluginInstance *p = OpenSettings(instance);
    if (!p) return "Error!";
    return Disabled(p) ? "Vertical Fog: Disabled" : "Vertical Fog";
}

const PixelFilterHandler kHandler = PixelFilterHandlerOf(Create, Evaluate, Flags, Describe, SharedItemsUsedUnlessDisabled);

}  // namespace

extern const PluginDef vFogPlugin = {"VFog", PluginClass::PixelFilter, &kHandler};
