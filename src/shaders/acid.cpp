// Acid: eats into a surface. A fractal noise pattern fixed to the object
// ("Ragged" turbulence or "Breakup" blotches), made nearly uniform and
// thresholded at a coverage with a soft edge, says at each spot how eaten it
// is; that one value drives up to seven attributes at once (colour,
// luminosity, diffuse, specularity, mirror, transparency, and the normal as
// sunken pits), so they stay in register. Items whose names begin with a
// prefix move the coverage around them. Octaves finer than the spot fade to
// their average, so small and distant surfaces do not sparkle.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "controls/choice.h"
#include "controls/item.h"
#include "controls/numeric.h"
#include "controls/plugin_access.h"
#include "controls/plugin_instance.h"
#include "helpers/noise.h"
#include "helpers/random.h"
#include "helpers/units.h"
#include "services/host_services.h"
#include "module/lifecycle.h"
#include "module/server_table.h"

namespace {

enum {
    kShape, kInvert, kScale, kDetail, kLacunarity, kGain, kCoverage, kSoftness, kStrength, kXOff, kYOff, kZOff, kPhase,
    kSeed, kColorOn, kColor, kColorAmount, kLumOn, kLumLevel, kDiffOn, kDiffLevel, kSpecOn, kSpecLevel, kMirrOn,
    kMirrLevel, kTranOn, kTranLevel, kBumpOn, kBumpDepth, kPrefix, kEffRadius, kEffFalloff, kEffCover, kDisable, kControls
};
enum { kRagged, kBreakup };

const char *const kShapeChoices[] = {"Ragged", "Breakup", nullptr};
constexpr int kOctaves = 8, kMostEffectors = 64;
// One octave of the noise, measured over the whole lattice: its standard
// deviation, and its absolute value's mean and standard deviation.
constexpr double kNoiseDeviation = 0.2701, kAbsMean = 0.2203, kAbsDeviation = 0.1563;

void Reghost(PluginInstance *p);
LWInstance Create(LWError *err);

void RustColour(void *c) { auto *k = static_cast<ColorControl *>(c); k->red = 70, k->green = 50, k->blue = 30; }
void NarrowField(void *c) { static_cast<ItemControl *>(c)->width -= 40; }

constexpr ControlSpec Share(const char *key, int x, int y, const char *label, double value) {
    return {.key = key, .kind = ControlSpecKind::Percent, .x = x, .y = y, .label = label, .value = value, .low = 0,
            .high = 1, .flags = kClipLow | kClipHigh};
}
constexpr ControlSpec Level(const char *key, int y, double value) {  // 0 up, dragged to 2
    return {.key = key, .kind = ControlSpecKind::Percent, .x = 500, .y = y, .label = "Level", .value = value, .low = 0,
            .flags = kClipLow | kDragRange, .dragLow = 0, .dragHigh = 2};
}
constexpr ControlSpec Switch(const char *key, int y, const char *label, bool on) {
    return {.key = key, .kind = ControlSpecKind::Toggle, .x = 320, .y = y, .label = label, .value = on ? 1.0 : 0.0,
            .changed = Reghost};
}
constexpr ControlSpec Offset(const char *key, int y, const char *label) {
    return {.key = key, .kind = ControlSpecKind::Numeric, .x = 160, .y = y, .label = label, .value = 0,
            .flags = kDragRange, .dragLow = -100, .dragHigh = 100, .dragStep = 0.005};
}

const ControlSpec kTable[kControls] = {
    {.key = "SHAPE", .kind = ControlSpecKind::Radio, .x = 30, .y = 60, .value = kRagged, .choices = kShapeChoices},
    {.key = "INVERT", .kind = ControlSpecKind::Toggle, .x = 160, .y = 69, .label = "Invert Pattern"},
    {.key = "SCALE", .kind = ControlSpecKind::Factor, .x = 160, .y = 104, .label = "Size", .value = 0.25, .low = 0.0001,
     .flags = kClipLow | kDragFromLow},
    {.key = "DETAIL", .kind = ControlSpecKind::Numeric, .x = 160, .y = 126, .label = "Detail (octaves)", .value = 4,
     .low = 1, .high = 8, .flags = kClipLow | kClipHigh | kDragRange, .dragLow = 1, .dragHigh = 8, .digits = 2,
     .dragStep = 0.02},
    {.key = "LACUNARITY", .kind = ControlSpecKind::Numeric, .x = 160, .y = 148, .label = "Lacunarity", .value = 2,
     .low = 1.1, .high = 4, .flags = kClipLow | kClipHigh | kDragRange, .dragLow = 1.1, .dragHigh = 4, .digits = 3,
     .dragStep = 0.005},
    Share("GAIN", 160, 170, "Roughness", 0.5),
    Share("COVERAGE", 160, 196, "Coverage", 0.5),
    Share("SOFTNESS", 160, 218, "Edge Softness", 0.2),
    Share("STRENGTH", 160, 240, "Strength", 1.0),
    Offset("XOFF", 266, "X Offset"),
    Offset("YOFF", 288, "Y Offset"),
    Offset("ZOFF", 310, "Z Offset"),
    {.key = "PHASE", .kind = ControlSpecKind::Numeric, .x = 160, .y = 332, .label = "Phase", .value = 0,
     .flags = kDragRange, .dragLow = -1000, .dragHigh = 1000, .dragStep = 0.01},
    {.key = "SEED", .kind = ControlSpecKind::Integer, .x = 160, .y = 358, .label = "Seed", .value = 1, .flags = kNotAnimatable},
    Switch("COLORON", 60, "Color", true),
    {.key = "COLOR", .kind = ControlSpecKind::Color, .x = 410, .y = 60, .label = "to", .setup = RustColour},
    Share("COLORAMT", 500, 60, "Amount", 1.0),
    Switch("LUMON", 84, "Luminosity", false),
    Level("LUMLEVEL", 84, 0.5),
    Switch("DIFFON", 108, "Diffuse", false),
    Level("DIFFLEVEL", 108, 0.3),
    Switch("SPECON", 132, "Specularity", true),
    Level("SPECLEVEL", 132, 0.0),
    Switch("MIRRON", 156, "Mirror", false),
    Share("MIRRLEVEL", 500, 156, "Level", 0.0),
    Switch("TRANON", 180, "Transparency", false),
    Share("TRANLEVEL", 500, 180, "Level", 1.0),
    Switch("BUMPON", 204, "Bump", true),
    {.key = "BUMPDEPTH", .kind = ControlSpecKind::Numeric, .x = 500, .y = 204, .label = "Depth", .value = 0.01,
     .flags = kDragRange, .dragLow = -1, .dragHigh = 1, .digits = 4, .dragStep = 0.0005},
    {.key = "PREFIX", .kind = ControlSpecKind::ItemPrefix, .x = 400, .y = 250, .label = "Effectors",
     .high = kMostEffectors, .setup = NarrowField},
    {.key = "EFFRADIUS", .kind = ControlSpecKind::Factor, .x = 500, .y = 276, .label = "Effector Radius", .value = 1.0},
    Share("EFFFALLOFF", 500, 298, "Falloff", 0.5),
    Share("EFFCOVER", 500, 320, "Coverage Near Effectors", 1.0),
    {.key = "DISABLE", .kind = ControlSpecKind::Toggle, .x = 320, .y = 358, .label = "Disable", .changed = Reghost},
};

// The attribute switches, their shader flags and the levels they ungrey.
struct Attribute {
    int toggle;
    unsigned flag;
    int levels[2];
};
constexpr Attribute kAttributes[7] = {
    {kBumpOn, LWSHF_NORMAL, {kBumpDepth, -1}},      {kColorOn, LWSHF_COLOR, {kColor, kColorAmount}},
    {kLumOn, LWSHF_LUMINOUS, {kLumLevel, -1}},      {kDiffOn, LWSHF_DIFFUSE, {kDiffLevel, -1}},
    {kSpecOn, LWSHF_SPECULAR, {kSpecLevel, -1}},    {kMirrOn, LWSHF_MIRROR, {kMirrLevel, -1}},
    {kTranOn, LWSHF_TRANSP, {kTranLevel, -1}},
};

// What new-time works out; evaluate only reads it.
struct Eater {
    bool active;
    unsigned mask;
    int shape;
    bool invert;
    double scale, invScale;
    double weight[kOctaves], freq[kOctaves], wavelength[kOctaves];
    double sumW, sigma;
    double offset[3], phase;
    double coverage, softness, strength;
    uint64_t octaveKey[kOctaves];
    double target[3], colorAmount, lumLevel, diffLevel, specLevel, mirrLevel, tranLevel, depth;
    int effCount;
    double effCentre[kMostEffectors][3], effOuter[kMostEffectors], effInner[kMostEffectors];
    double effCover;
};

const PanelSpec kPanel = {.title = "Acid Surface Eater", .shortName = "Acid", .width = 640, .height = 390,
                          .create = [](LWError *err, LWItemID) { return Create(err); }, .destroy = SharedDestroy,
                          .copy = SharedCopy, .afterLoad = Reghost, .workBytes = sizeof(Eater)};


LWInstance Create(LWError *err) {
    return BuildInstance(kPanel, kTable, kControls, LWITEM_NULL, err, ClassInfo(PluginClass::Shader).createFailure);
}

void Reghost(PluginInstance *p) {
    bool disabled = On(p, kDisable);
    for (int i = 0; i < kControls; ++i)
        if (i != kDisable) GhostControl(static_cast<ControlRecord *>(p->controls[i]), disabled);
    if (disabled) return;
    for (const Attribute &a : kAttributes)
        for (int level : a.levels)
            if (level >= 0) GhostControl(static_cast<ControlRecord *>(p->controls[level]), !On(p, a.toggle));
}

unsigned Mask(PluginInstance *p) {
    unsigned mask = 0;
    for (const Attribute &a : kAttributes)
        if (On(p, a.toggle)) mask |= a.flag;
    return mask;
}

// ---- the noise ----

constexpr double kShift[3] = {0.4142135623730951, 0.7320508075688772, 0.2360679774997897};
constexpr double kDrift[kOctaves][3] = {
    {0.6, 0.8, 0}, {-0.8, 0, 0.6}, {0, -0.6, -0.8}, {0.48, -0.6, 0.64},
    {-0.64, 0.48, -0.6}, {0.6, 0.64, -0.48}, {-0.36, -0.48, 0.8}, {0.8, -0.36, -0.48},
};

uint64_t AcidOctaveKey(double seed, int octave) { return VeskHash(kAcidDomain, VeskSeedWord(seed), octave); }

double Held(double v, double low, double high) { return std::clamp(v, low, high); }

LWError NewTime(LWInstance instance, LWFrame, LWTime time) {
    PluginInstance *p = OpenEvaluation(instance, time);
    if (!p) return "Eeek, no inst at newtime";
    Eater &e = *Work<Eater>(p);
    e.active = false;
    if (On(p, kDisable)) return nullptr;
    e.mask = Mask(p);
    if (!e.mask) return nullptr;
    e.strength = Held(Current(p, kStrength), 0, 1);
    if (e.strength == 0) return nullptr;
    e.coverage = Held(Current(p, kCoverage), 0, 1);
    e.softness = Held(Current(p, kSoftness), 0, 1);
    e.scale = std::max(Current(p, kScale), 0.0001);
    e.invScale = 1 / e.scale;
    const double detail = Held(Current(p, kDetail), 1, 8), lacunarity = Held(Current(p, kLacunarity), 1.1, 4),
                 gain = Held(Current(p, kGain), 0, 1);
    const double seed = Current(p, kSeed);
    double squares = 0;
    e.sumW = 0;
    for (int k = 0; k < kOctaves; ++k) {
        double share = Held(detail - k, 0, 1);
        e.weight[k] = k == 0 ? share : std::pow(gain, k) * share;
        e.freq[k] = k == 0 ? 1 : e.freq[k - 1] * lacunarity;
        e.wavelength[k] = e.scale / e.freq[k];
        e.octaveKey[k] = AcidOctaveKey(seed, k);
        e.sumW += e.weight[k];
        squares += e.weight[k] * e.weight[k];
    }
    e.shape = Selection(p, kShape) == kBreakup ? kBreakup : kRagged;
    e.sigma = (e.shape == kBreakup ? kNoiseDeviation : kAbsDeviation) * std::sqrt(squares) / e.sumW;
    e.invert = On(p, kInvert);
    e.offset[0] = Current(p, kXOff), e.offset[1] = Current(p, kYOff), e.offset[2] = Current(p, kZOff);
    e.phase = Current(p, kPhase);
    const ColorControl *colour = Control<ColorControl>(p, kColor);
    e.target[0] = colour->red * kPerByteLevel, e.target[1] = colour->green * kPerByteLevel;
    e.target[2] = colour->blue * kPerByteLevel;
    e.colorAmount = Current(p, kColorAmount), e.lumLevel = Current(p, kLumLevel), e.diffLevel = Current(p, kDiffLevel);
    e.specLevel = Current(p, kSpecLevel), e.mirrLevel = Current(p, kMirrLevel), e.tranLevel = Current(p, kTranLevel);
    e.depth = Current(p, kBumpDepth);
    // Effectors: where each stands now, and how far its influence reaches
    // (its radius times its own world scale).
    ItemControl *prefix = Control<ItemControl>(p, kPrefix);
    RefreshPrefixMatches(prefix);
    e.effCount = 0;
    const double radius = std::max(Current(p, kEffRadius), 0.0), falloff = Held(Current(p, kEffFalloff), 0, 1);
    for (int i = 0; i < prefix->count && e.effCount < kMostEffectors && hostServices.itemInfo; ++i) {
        LWItemID item = prefix->items[i];
        if (!item) continue;
        double axes[3][3];
        hostServices.itemInfo->param(item, LWIP_W_POSITION, time, e.effCentre[e.effCount]);
        double size = 0;
        for (int a = 0; a < 3; ++a) {
            hostServices.itemInfo->param(item, LWIP_RIGHT + a, time, axes[a]);
            size += std::sqrt(axes[a][0] * axes[a][0] + axes[a][1] * axes[a][1] + axes[a][2] * axes[a][2]);
        }
        e.effOuter[e.effCount] = radius * size / 3;
        e.effInner[e.effCount] = e.effOuter[e.effCount] * (1 - falloff);
        ++e.effCount;
    }
    e.effCover = Held(Current(p, kEffCover), 0, 1);
    e.active = true;
    return nullptr;
}

// How eaten the object position p is, 0 to 1, at local coverage c with the
// octaves faded by a.
double Pattern(const Eater &e, const double p[3], double c, const double a[kOctaves]) {
    double q[3];
    for (int i = 0; i < 3; ++i) q[i] = (p[i] - e.offset[i]) * e.invScale;
    double acc = 0;
    for (int k = 0; k < kOctaves; ++k) {
        if (!(e.weight[k] > 0)) continue;
        if (a[k] > 0) {
            double at[3];
            for (int i = 0; i < 3; ++i) at[i] = q[i] * e.freq[k] + k * kShift[i] + e.phase * kDrift[k][i];
            double n = AcidNoise(e.octaveKey[k], at[0], at[1], at[2]);
            acc += e.shape == kBreakup ? e.weight[k] * a[k] * n : e.weight[k] * (a[k] * std::fabs(n) + (1 - a[k]) * kAbsMean);
        } else if (e.shape == kRagged) {
            acc += e.weight[k] * kAbsMean;  // a faded octave counts as its mean
        }
    }
    acc /= e.sumW;
    double z = e.shape == kBreakup ? acc / e.sigma : (acc - kAbsMean) / e.sigma;
    double v = 1 / (1 + std::exp(-1.702 * z));  // nearly uniform, strictly inside 0 to 1
    if (e.invert) v = 1 - v;
    double eaten;
    if (c <= 0) {
        eaten = 0;
    } else if (c >= 1) {
        eaten = 1;
    } else {
        // The edge band is stretched by (1 + softness) so that 0 % and 100 %
        // stay clean at any softness.
        double upper = (1 - c) * (1 + e.softness), lower = upper - e.softness;
        if (e.softness < 1e-6) {
            eaten = v >= upper ? 1 : 0;
        } else {
            double x = Held((v - lower) / e.softness, 0, 1);
            eaten = x * x * (3 - 2 * x);
        }
    }
    return e.strength * eaten;
}

double Determinant(const double m[9]) {
    return m[0] * (m[4] * m[8] - m[5] * m[7]) - m[1] * (m[3] * m[8] - m[5] * m[6]) + m[2] * (m[3] * m[7] - m[4] * m[6]);
}

void Evaluate(LWInstance instance, ShaderAccess *spot) {
    const PluginInstance *pi = static_cast<const PluginInstance *>(instance);
    if (!pi) return;
    const Eater &e = *static_cast<const Eater *>(pi->work);
    if (!e.active) return;
    // Effectors combine like independent chances.
    double keep = 1;
    for (int i = 0; i < e.effCount && keep > 0; ++i) {
        double d[3] = {spot->wPos[0] - e.effCentre[i][0], spot->wPos[1] - e.effCentre[i][1], spot->wPos[2] - e.effCentre[i][2]};
        double distance = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
        if (distance >= e.effOuter[i]) continue;
        double w = 1;
        if (distance > e.effInner[i]) {
            double t = (e.effOuter[i] - distance) / (e.effOuter[i] - e.effInner[i]);
            w = t * t * (3 - 2 * t);
        }
        keep *= 1 - w;
    }
    const double c = e.coverage + (1 - keep) * (e.effCover - e.coverage);
    // Octaves whose features are smaller than two spots fade out.
    const double spotSize = spot->spotSize * std::cbrt(std::fabs(Determinant(spot->wXfrm)));
    double a[kOctaves];
    for (int k = 0; k < kOctaves; ++k) a[k] = spotSize <= 1e-12 ? 1 : Held(e.wavelength[k] / spotSize - 1, 0, 1);
    const double P = Pattern(e, spot->oPos, c, a);
    if (P > 0) {
        if (e.mask & LWSHF_COLOR)
            for (int i = 0; i < 3; ++i) spot->color[i] += P * e.colorAmount * (e.target[i] - spot->color[i]);
        if (e.mask & LWSHF_LUMINOUS) spot->luminous += P * (e.lumLevel - spot->luminous);
        if (e.mask & LWSHF_DIFFUSE) spot->diffuse += P * (e.diffLevel - spot->diffuse);
        if (e.mask & LWSHF_SPECULAR) spot->specular += P * (e.specLevel - spot->specular);
        if (e.mask & LWSHF_MIRROR) spot->mirror += P * (e.mirrLevel - spot->mirror);
        if (e.mask & LWSHF_TRANSP) spot->transparency += P * (e.tranLevel - spot->transparency);
    }
    if (!(e.mask & LWSHF_NORMAL) || e.depth == 0) return;
    // The slope of the pattern over the spot, as a bump: eaten parts sink in.
    const double h = std::max(0.001 * e.scale, 0.5 * spotSize);
    double slope[3];
    for (int i = 0; i < 3; ++i) {
        double moved[3] = {spot->oPos[0], spot->oPos[1], spot->oPos[2]};
        moved[i] += h;
        slope[i] = (Pattern(e, moved, c, a) - P) / h;
    }
    if (slope[0] == 0 && slope[1] == 0 && slope[2] == 0) return;
    double world[3];  // a covector: through the world-to-object matrix's transpose
    for (int j = 0; j < 3; ++j) world[j] = slope[0] * spot->wXfrm[j] + slope[1] * spot->wXfrm[3 + j] + slope[2] * spot->wXfrm[6 + j];
    double length = std::sqrt(spot->wNorm[0] * spot->wNorm[0] + spot->wNorm[1] * spot->wNorm[1] + spot->wNorm[2] * spot->wNorm[2]);
    double n[3], along = 0;
    for (int i = 0; i < 3; ++i) n[i] = spot->wNorm[i] / (length + 1e-16), along += world[i] * n[i];
    const double objectScale = std::cbrt(std::fabs(Determinant(spot->oXfrm)));
    double bent[3], size = 0;
    for (int i = 0; i < 3; ++i) {
        bent[i] = n[i] + e.depth * objectScale * (world[i] - along * n[i]);
        size += bent[i] * bent[i];
    }
    size = std::sqrt(size);
    for (int i = 0; i < 3; ++i) spot->wNorm[i] = bent[i] / (size + 1e-16);
}

unsigned Flags(LWInstance instance) {
    PluginInstance *p = OpenSettings(instance);
    if (!p) return 0;
    return Mask(p);
}

const char *Describe(LWInstance instance) {
    PluginInstance *p = OpenSettings(instance);
    if (!p) return "Error!";
    if (On(p, kDisable)) return "Acid: Disabled";
    const char *shape = Selection(p, kShape) == kBreakup ? "breakup" : "ragged";
    int effectors = std::min(Control<ItemControl>(p, kPrefix)->count, kMostEffectors);
    if (effectors >= 1)
        std::snprintf(p->description, sizeof p->description, "Acid, %s, %d effectors", shape, effectors);
    else
        std::snprintf(p->description, sizeof p->description, "Acid, %s", shape);
    return p->description;
}

const ShaderHandler kHandler = ShaderHandlerOf(Create, NewTime, Evaluate, Flags, Describe, SharedItemsUsedUnlessDisabled);

}  // namespace

extern const PluginDef acidPlugin = {"Acid", PluginClass::Shader, &kHandler};
