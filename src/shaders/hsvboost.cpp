// HSVBoost: changes a surface's colour in hue, saturation and brightness with
// the viewing angle. Spots facing the viewer take the "Perpendicular"
// settings, spots seen edge-on the "Glancing" ones; for each of the three a
// skew and a sharpness shape the transition between them. Optionally the
// surface's luminosity says how much of the change applies.
#include <cmath>
#include <initializer_list>

#include "controls/choice.h"
#include "controls/numeric.h"
#include "controls/plugin_access.h"
#include "controls/plugin_instance.h"
#include "controls/static_controls.h"
#include "helpers/curves.h"
#include "module/lifecycle.h"
#include "module/server_table.h"
#include "shaders/facing.h"

namespace {

// Table positions, which are also the creation (and save) order: per group
// the perpendicular and glancing values, then the transition's skew and
// sharpness.
enum {
    kPerpSat, kGlanceSat, kTransSat, kSharpSat,
    kPerpHue, kGlanceHue, kTransHue, kSharpHue,
    kPerpBright, kGlanceBright, kTransBright, kSharpBright,
    kLumin, kSatSwatch, kHueSwatch, kBrightSwatch, kControls
};
enum Group { kSaturation = 1, kHue = 2, kBrightness = 4, kAllGroups = 7 };

LWInstance Create(LWError *err);
void Refresh(PluginInstance *p);

constexpr ControlSpec Factor(const char *key, int y, const char *label) {
    return {.key = key, .kind = ControlSpecKind::Numeric, .x = 180, .y = y, .label = label, .value = 1, .low = 0,
            .flags = kClipLow | kDragFromLow, .changed = Refresh};
}
constexpr ControlSpec Shift(const char *key, int y, const char *label) {
    return {.key = key, .kind = ControlSpecKind::Numeric, .x = 180, .y = y, .label = label, .value = 0,
            .flags = kDragFree, .digits = 1, .dragStep = 0.5, .changed = Refresh};
}
constexpr ControlSpec Transition(const char *key, int y, const char *label) {
    return {.key = key, .kind = ControlSpecKind::Numeric, .x = 180, .y = y, .label = label, .value = 0.5, .low = 0,
            .high = 1, .flags = kClipLow | kClipHigh | kDragRange, .dragLow = 0, .dragHigh = 1, .dragStep = 0.005,
            .changed = Refresh};
}

const ControlSpec kTable[kControls] = {
    Factor("PERPSAT", 60, "Perpendicular Saturation"),
    Factor("GLANCESAT", 82, "Glancing Saturation"),
    Transition("TRANSSAT", 104, "Transition Skew"),
    Transition("SHARPSAT", 126, "Transition Sharpness"),
    Shift("PERPHUE", 158, "Perp Hue Shift (degrees)"),
    Shift("GLANCEHUE", 180, "Glancing Hue Shift (degrees)"),
    Transition("TRANSHUE", 202, "Transition Skew"),
    Transition("SHARPHUE", 224, "Transition Sharpness"),
    Factor("PERPBRIGHT", 256, "Perpendicular Brightness"),
    Factor("GLANCEBRIGHT", 278, "Glancing Brightness"),
    Transition("TRANSBRIGHT", 300, "Transition Skew"),
    Transition("SHARPBRIGHT", 322, "Transition Sharpness"),
    {.key = "LUMIN", .kind = ControlSpecKind::Toggle, .x = 275, .y = 360, .label = "Modulate using Luminosity"},
    {.key = "SATSWATCH", .kind = ControlSpecKind::Preview, .x = 350, .y = 66},
    {.key = "HUESWATCH", .kind = ControlSpecKind::Preview, .x = 350, .y = 166},
    {.key = "BRIGHTSWATCH", .kind = ControlSpecKind::Preview, .x = 350, .y = 266},
};

// The panel keeps create and copy so that Cancel can put the settings back.
const PanelSpec kPanel = {.title = "HSVBoost", .shortName = "HSVBoost", .width = 480, .height = 420,
                          .create = [](LWError *err, LWItemID) { return Create(err); }, .destroy = SharedDestroy,
                          .copy = SharedCopy, .afterLoad = Refresh};


LWInstance Create(LWError *err) {
    return BuildInstance(kPanel, kTable, kControls, LWITEM_NULL, err, ClassInfo(PluginClass::Shader).createFailure);
}

// Skew and sharpness are turned round and kept off the curves' ends: 0 and 1
// become 0.975 and 0.025, and 0.5 stays 0.5.
LWError NewTime(LWInstance instance, LWFrame, LWTime time) {
    PluginInstance *p = OpenEvaluation(instance, time);
    if (!p) return "Eeek, no inst at newtime";
    for (int i : {kTransSat, kSharpSat, kTransHue, kSharpHue, kTransBright, kSharpBright}) {
        double &v = Current(p, i);
        v = 1 - ((v < 0 ? 0 : (v > 1 ? 1 : v)) * 0.95 + 0.025);
    }
    return nullptr;
}

// Hue in degrees from 0 to 360, saturation and value from 0 to 1.
void RgbToHsv(const double rgb[3], double hsv[3]) {
    double high = std::fmax(rgb[0], std::fmax(rgb[1], rgb[2])), low = std::fmin(rgb[0], std::fmin(rgb[1], rgb[2]));
    double delta = high - low, hue = 0;
    if (delta > 0) {
        if (rgb[0] == high)
            hue = (rgb[1] - rgb[2]) / delta;
        else if (rgb[1] == high)
            hue = 2 + (rgb[2] - rgb[0]) / delta;
        else
            hue = 4 + (rgb[0] - rgb[1]) / delta;
        hue *= 60;
        if (hue < 0) hue += 360;
    }
    hsv[0] = hue;
    hsv[1] = high > 0 ? delta / high : 0;
    hsv[2] = high;
}

void HsvToRgb(const double hsv[3], double rgb[3]) {
    double hue = std::fmod(hsv[0], 360.0);
    if (hue < 0) hue += 360;
    double sector = std::floor(hue / 60), f = hue / 60 - sector, v = hsv[2], s = hsv[1];
    double p = v * (1 - s), q = v * (1 - s * f), t = v * (1 - s * (1 - f));
    const double table[6][3] = {{v, t, p}, {q, v, p}, {p, v, t}, {p, q, v}, {t, p, v}, {v, p, q}};
    int i = static_cast<int>(sector) % 6;
    for (int c = 0; c < 3; ++c) rgb[c] = table[i][c];
}

// How far a group has moved from its glancing to its perpendicular value at
// x (1 facing the viewer, 0 edge-on).
double Along(PluginInstance *p, int first, double x) {
    return Gain(Bias(x, Current(p, first + 2)), Current(p, first + 3));
}

// The colour at x with the chosen groups changed. Saturation is held to 1 so
// that a boost ends at the pure colour instead of turning past it.
void Boost(PluginInstance *p, double x, const double colour[3], unsigned groups, double out[3]) {
    double hsv[3];
    RgbToHsv(colour, hsv);
    if (groups & kBrightness) {
        double glance = Current(p, kGlanceBright);
        hsv[2] *= glance + (Current(p, kPerpBright) - glance) * Along(p, kPerpBright, x);
    }
    if (groups & kSaturation) {
        double glance = Current(p, kGlanceSat);
        hsv[1] *= glance + (Current(p, kPerpSat) - glance) * Along(p, kPerpSat, x);
        if (hsv[1] > 1) hsv[1] = 1;
    }
    if (groups & kHue) {
        double glance = Current(p, kGlanceHue);
        hsv[0] += glance + (Current(p, kPerpHue) - glance) * Along(p, kPerpHue, x);
    }
    HsvToRgb(hsv, out);
}

void Evaluate(LWInstance instance, ShaderAccess *spot) {
    PluginInstance *p = static_cast<PluginInstance *>(instance);
    if (!p) return;
    double amount = 1;
    if (On(p, kLumin)) {
        amount = spot->luminous;
        spot->luminous = 0;
    }
    double c = FacingCosine(spot), boosted[3];
    Boost(p, c * c, spot->color, kAllGroups, boosted);
    for (int i = 0; i < 3; ++i) spot->color[i] = (1 - amount) * spot->color[i] + amount * boosted[i];
}

// The swatches: each a disc seen straight on, facing the viewer at its centre
// and edge-on at its rim, in a warm mid-saturated base colour (a grey has no
// hue to shift), with one group's change applied and no lighting, so that the
// transition from the glancing to the perpendicular setting reads at a glance.
constexpr double kSwatchBase[3] = {0.75, 0.45, 0.30};
constexpr unsigned char kSwatchBackground = 60;

void FillSwatch(PluginInstance *p, PreviewControl *swatch, unsigned group) {
    int w = swatch->width, h = swatch->height;
    double radius = 0.5 * (w < h ? w : h) - 1;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            unsigned char *px = &swatch->rgb[(y * w + x) * 3];
            double dx = (x + 0.5 - 0.5 * w) / radius, dy = (y + 0.5 - 0.5 * h) / radius, r2 = dx * dx + dy * dy;
            if (r2 >= 1) {
                px[0] = px[1] = px[2] = kSwatchBackground;
                continue;
            }
            double colour[3];
            Boost(p, 1 - r2, kSwatchBase, group, colour);  // x = cos^2 = 1 - r^2 on a sphere
            for (int c = 0; c < 3; ++c) {
                double v = colour[c] < 0 ? 0 : (colour[c] > 1 ? 1 : colour[c]);
                px[c] = static_cast<unsigned char>(v * 255 + 0.5);
            }
        }
    RedrawControl(&swatch->record, kDrawAll);
}

// A changed setting (and the window opening) runs new time as the panel's
// frame 32766 at time 0, then redraws the swatches from the converted values.
void Refresh(PluginInstance *p) {
    NewTime(p, 32766, 0);
    FillSwatch(p, Control<PreviewControl>(p, kSatSwatch), kSaturation);
    FillSwatch(p, Control<PreviewControl>(p, kHueSwatch), kHue);
    FillSwatch(p, Control<PreviewControl>(p, kBrightSwatch), kBrightness);
}

// Colour is the only attribute asked for, though the luminosity option also
// writes the spot's luminosity.
unsigned Flags(LWInstance) { return LWSHF_COLOR; }
const char *Describe(LWInstance) { return "HSV Boost"; }

const ShaderHandler kHandler = ShaderHandlerOf(Create, NewTime, Evaluate, Flags, Describe);

}  // namespace

extern const PluginDef hsvBoostPlugin = {"HSVBoost", PluginClass::Shader, &kHandler};
