// BladeBlur: turns a flat disc into the motion-blurred image of a spinning
// rotor. At each spot it works out, in closed form, for how much of the
// frame's exposure a blade lies over the spot, and makes the spot exactly
// that opaque: sharp blades when stopped, smears at speed, and the
// wagon-wheel strobing of a real camera, since the rotor angle is integrated
// over the scene's time and sampled frame by frame ("Steady Disc" holds the
// smear still instead).
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "controls/choice.h"
#include "controls/numeric.h"
#include "controls/plugin_access.h"
#include "controls/plugin_instance.h"
#include "helpers/units.h"
#include "services/host_services.h"
#include "module/lifecycle.h"
#include "module/server_table.h"

namespace {

enum {
    kAxis, kBlades, kRpm, kPhase, kTipRadius, kHubRadius, kRootWidth, kTipWidth, kSweep, kOpacity, kExposureMode,
    kExposure, kColor, kTintAmount, kFadeHighlights, kSteady, kDisable, kControls
};
enum { kCameraBlurLength, kOwnExposure };

const char *const kAxisChoices[] = {"Spin about +X", "Spin about +Y", "Spin about +Z",
                                    "Spin about -X", "Spin about -Y", "Spin about -Z", nullptr};
const char *const kExposureChoices[] = {"Camera Blur Length", "Own Exposure", nullptr};

constexpr double kRpmToRadiansPerSecond = 0.10471975511965977,
                 kTurn = 6.283185307179586;
// The scene renders motion blur (the render option bit).
constexpr int kMotionBlurOption = 32;

LWInstance Create(LWError *err);

void BladeColour(void *c) { auto *k = static_cast<ColorControl *>(c); k->red = k->green = k->blue = 30; }

// A length in the object's units: clipped at 0, dragged by 0.01.
constexpr ControlSpec Length(const char *key, int y, const char *label, double value) {
    return {.key = key, .kind = ControlSpecKind::Factor, .x = 150, .y = y, .label = label, .value = value,
            .flags = kGreyWhileDisabled, .dragStep = 0.01};
}

const ControlSpec kTable[kControls] = {
    {.key = "AXIS", .kind = ControlSpecKind::Radio, .x = 320, .y = 65, .value = 2, .flags = kGreyWhileDisabled,
     .choices = kAxisChoices},
    {.key = "BLADES", .kind = ControlSpecKind::Integer, .x = 150, .y = 65, .label = "Blade Count", .value = 3,
     .low = 1, .high = 64, .flags = kClipLow | kClipHigh | kNotAnimatable | kDragRange | kGreyWhileDisabled,
     .dragLow = 1, .dragHigh = 64},
    {.key = "RPM", .kind = ControlSpecKind::Numeric, .x = 150, .y = 88, .label = "Speed (RPM)", .value = 1000.0,
     .flags = kDragFree | kGreyWhileDisabled, .digits = 1, .dragStep = 5.0},
    {.key = "PHASE", .kind = ControlSpecKind::Numeric, .x = 150, .y = 111, .label = "Phase (degrees)", .value = 0,
     .flags = kDragFree | kGreyWhileDisabled, .digits = 1, .dragStep = 0.5},
    Length("TIPRAD", 134, "Tip Radius", 1.0),
    Length("HUBRAD", 157, "Hub Radius", 0.0),
    Length("ROOTW", 180, "Root Width", 0.15),
    Length("TIPW", 203, "Tip Width", 0.08),
    {.key = "SWEEP", .kind = ControlSpecKind::Numeric, .x = 150, .y = 226, .label = "Tip Sweep (degrees)", .value = 0,
     .flags = kDragRange | kGreyWhileDisabled, .dragLow = -90, .dragHigh = 90, .digits = 1, .dragStep = 0.5},
    {.key = "OPACITY", .kind = ControlSpecKind::Percent, .x = 150, .y = 249, .label = "Blade Opacity", .value = 1.0,
     .low = 0, .high = 1, .flags = kClipLow | kClipHigh | kGreyWhileDisabled},
    {.key = "EXPMODE", .kind = ControlSpecKind::Radio, .x = 320, .y = 190, .value = kCameraBlurLength,
     .flags = kGreyWhileDisabled, .choices = kExposureChoices},
    // Exposure stays enabled under Camera Blur Length: it is the fall-back when
    // the scene renders without motion blur.
    {.key = "EXPOSURE", .kind = ControlSpecKind::Numeric, .x = 150, .y = 272, .label = "Exposure (frames)",
     .value = 0.5, .low = 0, .flags = kClipLow | kDragRange | kGreyWhileDisabled, .dragLow = 0, .dragHigh = 4,
     .dragStep = 0.005},
    {.key = "COLOR", .kind = ControlSpecKind::Color, .x = 400, .y = 296, .label = "Blade Color",
     .flags = kGreyWhileDisabled, .setup = BladeColour},
    {.key = "TINTAMT", .kind = ControlSpecKind::Percent, .x = 150, .y = 295, .label = "Color Amount", .value = 0,
     .low = 0, .high = 1, .flags = kClipLow | kClipHigh | kGreyWhileDisabled},
    {.key = "FADESPEC", .kind = ControlSpecKind::Toggle, .x = 150, .y = 325, .label = "Fade Highlights", .value = 1,
     .flags = kGreyWhileDisabled},
    {.key = "STEADY", .kind = ControlSpecKind::Toggle, .x = 320, .y = 250, .label = "Steady Disc",
     .flags = kGreyWhileDisabled},
    {.key = "DISABLE", .kind = ControlSpecKind::Toggle, .x = 150, .y = 350, .label = "Disable All Effects",
     .changed = GreyWhileDisabled},
};

// What new-time works out for the time; evaluate only reads it.
struct Rotor {
    bool active;
    int axis, blades;
    double spacing;              // P = 2 pi / N
    double hub, tip, rootWidth, tipWidth, sweep, opacity, tintAmount, tint[3];
    bool fade;
    double startAngle, swept;    // the rotor angle at the exposure's start, in [0, 2 pi), and the signed sweep
};

const PanelSpec kPanel = {.title = "Rotor Blade Blur", .shortName = "BladeBlur", .width = 460, .height = 420,
                          .create = [](LWError *err, LWItemID) { return Create(err); }, .destroy = SharedDestroy,
                          .copy = SharedCopy, .afterLoad = GreyWhileDisabled, .workBytes = sizeof(Rotor)};

NumericControl *Numeric(PluginInstance *p, int i) { return Number(p, i); }

LWInstance Create(LWError *err) {
    return BuildInstance(kPanel, kTable, kControls, LWITEM_NULL, err, ClassInfo(PluginClass::Shader).createFailure);
}

// The speed integrated from t0 to t1 (revolutions per minute times seconds)
// by Simpson's rule in steps of at most half a frame: exact for a fixed or
// linearly changing speed.
double IntegrateSpeed(PluginInstance *p, double fps, double t0, double t1) {
    if (std::fabs(t1 - t0) < 1e-12) return 0;
    double n = std::clamp(2 * std::ceil(std::fabs(t1 - t0) * fps), 2.0, 200000.0);
    const long steps = static_cast<long>(n);
    const double h = (t1 - t0) / steps;
    NumericControl *rpm = Numeric(p, kRpm);
    double sum = EvaluateNumeric(rpm, t0) + EvaluateNumeric(rpm, t1);
    for (long i = 1; i < steps; ++i) sum += (i % 2 ? 4 : 2) * EvaluateNumeric(rpm, t0 + i * h);
    return sum * h / 3;
}

LWError Init(LWInstance instance) {
    PluginInstance *p = OpenSettings(instance);
    if (!p) return "Eeeek, no instance at init!";
    Work<Rotor>(p)->active = false;
    return nullptr;
}

LWError NewTime(LWInstance instance, LWFrame frame, LWTime time) {
    PluginInstance *p = OpenEvaluation(instance, time);
    if (!p) return "Eeek, no inst at newtime";
    Rotor &r = *Work<Rotor>(p);
    r.active = false;
    if (On(p, kDisable)) return nullptr;
    auto *scene = static_cast<const LWSceneInfo *>(hostServices.global(LWSERVICE_SCENE_INFO, GFUSE_TRANSIENT));
    if (!scene || !(scene->framesPerSecond >= 1e-8)) return nullptr;
    const double fps = scene->framesPerSecond;
    const bool blurOn = scene->renderOpts & kMotionBlurOption;
    LWItemID camera = hostServices.itemInfo ? hostServices.itemInfo->first(LWI_CAMERA, LWITEM_NULL) : LWITEM_NULL;
    // With motion blur every pass of a frame shares the frame's window, which
    // ends at the frame's time and reaches back by the blur length
    // (unconfirmed for 5.x), so the host's averaging of its passes keeps the
    // exact coverage instead of blurring it again.
    const double anchor = blurOn ? frame / fps : time;
    double exposure = -1;
    if (Selection(p, kExposureMode) == kCameraBlurLength && blurOn && camera &&
        hostServices.cameraInfo) {
        double b = hostServices.cameraInfo->blurLength(camera, anchor);
        if (b > 0) exposure = b / fps;
    }
    if (exposure < 0) exposure = std::max(0.0, EvaluateNumeric(Numeric(p, kExposure), anchor)) / fps;
    const double opens = anchor - exposure;
    double integralStart = 0, integralEnd;
    if (On(p, kSteady)) {
        integralEnd = kRpmToRadiansPerSecond * IntegrateSpeed(p, fps, opens, anchor);
    } else {
        integralStart = kRpmToRadiansPerSecond * IntegrateSpeed(p, fps, 0, opens);
        integralEnd = integralStart + kRpmToRadiansPerSecond * IntegrateSpeed(p, fps, opens, anchor);
    }
    double start = EvaluateNumeric(Numeric(p, kPhase), opens) * kRadiansPerDegree + integralStart;
    double end = EvaluateNumeric(Numeric(p, kPhase), anchor) * kRadiansPerDegree + integralEnd;
    double turns = std::floor(start / kTurn);
    r.startAngle = start - kTurn * turns;
    r.swept = (end - kTurn * turns) - r.startAngle;
    EvaluatePanelNumerics(p->panel, time);  // every control back at the call's time
    r.axis = std::clamp(Selection(p, kAxis), 0, 5);
    r.blades = std::clamp(static_cast<int>(std::floor(Current(p, kBlades) + 0.5)), 1, 64);
    r.spacing = kTurn / r.blades;
    r.hub = std::max(0.0, Current(p, kHubRadius));
    r.tip = std::max(0.0, Current(p, kTipRadius));
    r.rootWidth = std::max(0.0, Current(p, kRootWidth));
    r.tipWidth = std::max(0.0, Current(p, kTipWidth));
    r.sweep = Current(p, kSweep) * kRadiansPerDegree;
    r.opacity = std::clamp(Current(p, kOpacity), 0.0, 1.0);
    r.tintAmount = std::clamp(Current(p, kTintAmount), 0.0, 1.0);
    const ColorControl *colour = Control<ColorControl>(p, kColor);
    r.tint[0] = colour->red * kPerByteLevel, r.tint[1] = colour->green * kPerByteLevel;
    r.tint[2] = colour->blue * kPerByteLevel;
    r.fade = On(p, kFadeHighlights);
    r.active = true;
    return nullptr;
}

// The covered length from -alpha up to y of a pattern of period P holding one
// covered stretch [-alpha, alpha] about each blade's centre line.
double Covered(double y, double alpha, double period) {
    double periods = std::floor((y + alpha) / period);
    return 2 * alpha * periods + std::min((y + alpha) - period * periods, 2 * alpha);
}

// The spot's in-plane coordinates (p, q) by the axis, angle 0 along p and a
// positive speed turning p towards q.
void InPlane(int axis, const double o[3], double *p, double *q) {
    static const int kP[6] = {1, 2, 0, 2, 0, 1}, kQ[6] = {2, 0, 1, 1, 2, 0};
    *p = o[kP[axis]], *q = o[kQ[axis]];
}

void Evaluate(LWInstance instance, ShaderAccess *spot) {
    const PluginInstance *pi = static_cast<const PluginInstance *>(instance);
    if (!pi) return;
    const Rotor &r = *static_cast<const Rotor *>(pi->work);
    if (!r.active) return;
    double p, q;
    InPlane(r.axis, spot->oPos, &p, &q);
    const double radius = std::sqrt(p * p + q * q);
    if (radius < r.hub) return;  // the hub shades as its surface says
    double c = 0;
    if (radius <= r.tip) {
        double along = std::clamp((radius - r.hub) / (r.tip - r.hub + 1e-16), 0.0, 1.0);
        double width = r.rootWidth + (r.tipWidth - r.rootWidth) * along;
        if (width > 0) {
            double alpha = std::asin(std::min(1.0, width / (2 * radius + 1e-16)));
            if (2 * alpha >= r.spacing) {
                c = 1;  // the blades overlap at this radius
            } else {
                double theta = p == 0 && q == 0 ? 0 : std::atan2(q, p);
                double xs = theta - r.sweep * along * along - r.startAngle, xe = xs - r.swept;
                double lo = std::min(xs, xe), hi = std::max(xs, xe);
                if (hi - lo > 1e-9) {
                    c = (Covered(hi, alpha, r.spacing) - Covered(lo, alpha, r.spacing)) / (hi - lo);
                } else {
                    double z = xs + alpha;
                    c = z - r.spacing * std::floor(z / r.spacing) < 2 * alpha ? 1 : 0;
                }
                c = std::clamp(c, 0.0, 1.0);
            }
        }
    }
    spot->transparency = 1 - c * r.opacity;
    if (r.tintAmount > 0)
        for (int i = 0; i < 3; ++i) spot->color[i] = (1 - r.tintAmount) * spot->color[i] + r.tintAmount * r.tint[i];
    if (r.fade) {
        spot->specular *= c;  // a blade there for a share of the exposure reflects for that share
        spot->mirror *= c;
    }
}

unsigned Flags(LWInstance instance) {
    PluginInstance *p = OpenSettings(instance);
    if (!p) return 0;
    return On(p, kFadeHighlights) ? LWSHF_COLOR | LWSHF_TRANSP | LWSHF_SPECULAR | LWSHF_MIRROR : LWSHF_COLOR | LWSHF_TRANSP;
}

const char *Describe(LWInstance instance) {
    PluginInstance *p = OpenSettings(instance);
    if (!p) return "Error!";
    if (On(p, kDisable)) return "Blade Blur: Disabled";
    int blades = std::clamp(static_cast<int>(std::floor(Numeric(p, kBlades)->value + 0.5)), 1, 64);
    std::snprintf(p->description, sizeof p->description, "Blade Blur: %d-Blade Rotor", blades);
    return p->description;
}

const ShaderHandler kHandler = ShaderHandlerOf(Create, NewTime, Evaluate, Flags, Describe, SharedItemsUsedUnlessDisabled, Init);

}  // namespace

extern const PluginDef bladeBlurPlugin = {"BladeBlur", PluginClass::Shader, &kHandler};
