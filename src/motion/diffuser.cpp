// Diffuser: adds a random drift to the item's keyed position and rotation, one
// walk per channel (X, Y, Z, heading, pitch, bank), Brownian or pulled back
// towards the keys. A rate is the drift's spread after one second without a
// pull; the walk at any time is computed directly from the seed, so any frame
// renders alone with the same drift, and the item stands on its keys at time 0.
#include <cmath>
#include <cstdio>

#include "controls/choice.h"
#include "controls/numeric.h"
#include "controls/plugin_access.h"
#include "controls/plugin_instance.h"
#include "helpers/random.h"
#include "helpers/units.h"
#include "services/host_services.h"
#include "module/lifecycle.h"
#include "module/server_table.h"

namespace {


// Table positions, which are also the creation (and save) order; the six rates
// come first, in channel order.
enum {
    kXRate, kYRate, kZRate, kHRate, kPRate, kBRate, kStep, kDamping, kSeed, kStrength, kSmooth, kVary,
    kExportMotion, kDisable, kControls
};
constexpr int kChannels = 6;

// The walk is held at this many lattice steps (64 blocks, at most 84 draws a
// value): over 100 days at the default 4-frame step and 30 fps, 62 hours at
// the finest step.
constexpr double kLastStep = 67108864.0;  // 2^26

LWInstance Create(LWError *err, LWItemID item);

// The rate fields are a little narrower than usual: the Smooth Path and
// Disable buttons start 100 pixels right of them, beside pitch and bank.
// Position rates in metres, rotation rates in degrees, per square-root second.
constexpr ControlSpec PositionRate(const char *key, int y, const char *label) {
    return {.key = key, .kind = ControlSpecKind::Numeric, .x = 200, .y = y, .label = label, .value = 0.1, .low = 0,
            .flags = kClipLow | kDragRange | kGreyWhileDisabled, .dragLow = 0, .dragHigh = 10, .width = 68};
}
constexpr ControlSpec AngleRate(const char *key, int y, const char *label) {
    return {.key = key, .kind = ControlSpecKind::Numeric, .x = 200, .y = y, .label = label, .value = 2.0, .low = 0,
            .flags = kClipLow | kDragRange | kGreyWhileDisabled, .dragLow = 0, .dragHigh = 360, .digits = 2,
            .dragStep = 0.15, .width = 68};
}

const ControlSpec kTable[kControls] = {
    PositionRate("XRATE", 65, "X Rate (m/sqrt sec)"),
    PositionRate("YRATE", 90, "Y Rate (m/sqrt sec)"),
    PositionRate("ZRATE", 115, "Z Rate (m/sqrt sec)"),
    AngleRate("HRATE", 150, "Heading Rate (deg/sqrt sec)"),
    AngleRate("PRATE", 175, "Pitch Rate (deg/sqrt sec)"),
    AngleRate("BRATE", 200, "Bank Rate (deg/sqrt sec)"),
    // The lattice and the pull shape the walk itself, so they are fixed values.
    {.key = "STEP", .kind = ControlSpecKind::Numeric, .x = 470, .y = 65, .label = "Walk Step (frames)", .value = 4,
     .low = 0.1, .high = 10000, .flags = kClipLow | kClipHigh | kDragRange | kNotAnimatable | kGreyWhileDisabled,
     .dragLow = 0.1, .dragHigh = 1000, .digits = 1, .dragStep = 0.15},
    {.key = "DAMPING", .kind = ControlSpecKind::Numeric, .x = 470, .y = 90, .label = "Pull to Keys (per sec)",
     .value = 0, .low = 0, .flags = kClipLow | kDragRange | kNotAnimatable | kGreyWhileDisabled, .dragLow = 0,
     .dragHigh = 100, .dragStep = 0.005},
    {.key = "SEED", .kind = ControlSpecKind::Integer, .x = 470, .y = 115, .label = "Seed", .value = 1,
     .flags = kGreyWhileDisabled},
    {.key = "STRENGTH", .kind = ControlSpecKind::Percent, .x = 470, .y = 150, .label = "Strength", .value = 1,
     .low = 0, .high = 1, .flags = kClipLow | kClipHigh | kGreyWhileDisabled},
    {.key = "SMOOTH", .kind = ControlSpecKind::Toggle, .x = 300, .y = 180, .label = "Smooth Path", .value = 1,
     .flags = kGreyWhileDisabled},
    {.key = "VARY", .kind = ControlSpecKind::Toggle, .x = 470, .y = 205, .label = "Vary by Item", .value = 0,
     .flags = kGreyWhileDisabled},
    {.key = "MB", .kind = ControlSpecKind::ExportMotion, .x = 60, .y = 240},
    {.key = "DISABLE", .kind = ControlSpecKind::Toggle, .x = 300, .y = 205, .label = "Disable All Effects", .value = 0,
     .changed = GreyWhileDisabled},
};

const PanelSpec kPanel = {.title = "Diffuser: Random Drift", .shortName = "Diffuser", .width = 600, .height = 290,
                          .create = Create, .destroy = SharedDestroy, .copy = SharedCopy,
                          .afterLoad = GreyWhileDisabled};

double AtLeast(double v, double low) { return v < low ? low : v; }

LWInstance Create(LWError *err, LWItemID item) {
    return BuildInstance(kPanel, kTable, kControls, item, err, ClassInfo(PluginClass::ItemMotion).createFailure);
}

void Evaluate(LWInstance instance, const ItemMotionAccess *access) {
    PluginInstance *p = OpenEvaluation(instance, access->time, access->item);
    if (!p) return;
    const double t = access->time;
    if (On(p, kDisable) || t <= 0) return;

    // Rates are held again: a missing reference item gives 0.0 unclipped.
    double strength = Number(p, kStrength)->current;
    strength = strength < 0 ? 0 : (strength > 1 ? 1 : strength);
    double rates[kChannels];
    bool anyRate = false;
    for (int c = 0; c < kChannels; ++c) {
        rates[c] = AtLeast(Number(p, kXRate + c)->current, 0) * (c < 3 ? 1 : kRadiansPerDegree);
        anyRate = anyRate || rates[c] > 0;
    }
    if (strength <= 0 || !anyRate) return;
    auto *scene = static_cast<const LWSceneInfo *>(hostServices.global(LWSERVICE_SCENE_INFO, GFUSE_TRANSIENT));
    if (!scene || scene->framesPerSecond <= 0) return;
    double fps = scene->framesPerSecond, step = AtLeast(Number(p, kStep)->value, 0.1);

    VeskWalk walk;
    VeskWalkSetUp(&walk, AtLeast(Number(p, kDamping)->value, 0), step / fps);
    double s = VeskLatticeSteps(t * fps, 0, step);
    if (s > kLastStep) s = kLastStep;
    uint64_t seedWord = VeskItemSeedWord(Number(p, kSeed)->current, On(p, kVary), access->item);
    bool smooth = On(p, kSmooth);

    double channels[kChannels];
    access->getParam(LWIP_POSITION, t, channels);
    access->getParam(LWIP_ROTATION, t, channels + 3);
    for (int c = 0; c < kChannels; ++c)
        if (rates[c] > 0)
            channels[c] += strength * rates[c] * VeskWalkAt(walk, VeskHash(kDiffuserDomain, seedWord, c), s, smooth);
    access->setParam(LWIP_POSITION, channels);
    access->setParam(LWIP_ROTATION, channels + 3);
}

const char *Describe(LWInstance instance) {
    PluginInstance *p = OpenSettings(instance);
    if (!p) return "Error!";
    if (On(p, kDisable)) return "Diffuser: Disabled";
    std::snprintf(p->description, sizeof p->description, "Diffuser (seed %d)", static_cast<int>(std::floor(Number(p, kSeed)->value + 0.5)));
    return p->description;
}

// Items used: no items of its own, so the reference items of animated settings,
// then the item and its ancestors.
const ItemMotionHandler kHandler = MotionHandlerOf(Create, Evaluate, Describe);

}  // namespace

extern const PluginDef diffuserPlugin = {"Diffuser", PluginClass::ItemMotion, &kHandler};
