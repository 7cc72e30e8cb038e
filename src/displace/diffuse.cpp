// Diffuse: every point of an object wanders on its own random walk along X, Y
// and Z (dust, a shivering jelly, a crumbling statue). A point's own walk is
// keyed by its rest position, so coincident points move together; a share of
// the walk ("Coherence") comes from a lattice of walks blended smoothly over
// the point's cell, so neighbours move in lumps of "Coherence Size". The
// spread grows as rate x sqrt(time), or settles under a pull; any frame is
// computed directly from the seed, at the same cost whatever the time.
#include <cmath>
#include <cstdint>
#include <cstdio>

#include "controls/choice.h"
#include "controls/numeric.h"
#include "controls/plugin_access.h"
#include "controls/plugin_instance.h"
#include "helpers/noise.h"
#include "helpers/random.h"
#include "services/host_services.h"
#include "module/lifecycle.h"
#include "module/server_table.h"

namespace {

// Table positions, which are also the creation (and save) order.
enum {
    kRateX, kRateY, kRateZ, kStrength, kCoherence, kSize, kSeed, kStep, kPull, kStart, kSmooth, kSpace, kDisable,
    kControls
};
enum { kObjectAxes, kWorldAxes };

// Beyond this many steps (about 9.7 hours at one step a frame at 30 fps) the
// walk stands still.
constexpr double kLastStep = 1048575;

const char *const kSpaceChoices[] = {"Object Axes", "World Axes", nullptr};

void Reghost(PluginInstance *p);
LWInstance Create(LWError *err, LWItemID item);

constexpr ControlSpec Rate(const char *key, int y, const char *label) {
    return {.key = key, .kind = ControlSpecKind::Numeric, .x = 170, .y = y, .label = label, .value = 0.05, .low = 0,
            .flags = kClipLow | kDragRange, .dragLow = 0, .dragHigh = 10, .digits = 4, .dragStep = 0.002};
}

// Seed, size, step, pull and start define the random process itself: animating
// one would rewrite every point's whole past at each frame, so they are fixed.
const ControlSpec kTable[kControls] = {
    Rate("RATEX", 60, "X Rate (m/sqrt s)"),
    Rate("RATEY", 84, "Y Rate (m/sqrt s)"),
    Rate("RATEZ", 108, "Z Rate (m/sqrt s)"),
    {.key = "STRENGTH", .kind = ControlSpecKind::Percent, .x = 170, .y = 140, .label = "Strength", .value = 1,
     .flags = kDragRange, .dragLow = 0, .dragHigh = 2},
    {.key = "COHERENCE", .kind = ControlSpecKind::Percent, .x = 170, .y = 164, .label = "Coherence", .value = 0.5,
     .low = 0, .high = 1, .flags = kClipLow | kClipHigh, .changed = Reghost},
    {.key = "SIZE", .kind = ControlSpecKind::Factor, .x = 170, .y = 188, .label = "Coherence Size", .value = 0.5,
     .low = 0.001, .flags = kClipLow | kDragFromLow | kNotAnimatable},
    {.key = "SEED", .kind = ControlSpecKind::Integer, .x = 440, .y = 60, .label = "Seed", .value = 1},
    {.key = "STEP", .kind = ControlSpecKind::Numeric, .x = 440, .y = 84, .label = "Step (frames)", .value = 1,
     .low = 0.01, .flags = kClipLow | kDragRange | kNotAnimatable, .dragLow = 0.01, .dragHigh = 100, .digits = 2,
     .dragStep = 0.02},
    {.key = "PULL", .kind = ControlSpecKind::Numeric, .x = 440, .y = 108, .label = "Restoring Pull (1/s)", .value = 0,
     .low = 0, .flags = kClipLow | kDragRange | kNotAnimatable, .dragLow = 0, .dragHigh = 20, .digits = 3,
     .dragStep = 0.005},
    {.key = "START", .kind = ControlSpecKind::Integer, .x = 440, .y = 140, .label = "Start Frame", .value = 1},
    {.key = "SMOOTH", .kind = ControlSpecKind::Toggle, .x = 440, .y = 164, .label = "Smooth Steps", .value = 0},
    {.key = "SPACE", .kind = ControlSpecKind::Radio, .x = 440, .y = 188, .value = kObjectAxes, .choices = kSpaceChoices},
    {.key = "DISABLE", .kind = ControlSpecKind::Toggle, .x = 170, .y = 218, .label = "Disable", .value = 0,
     .changed = Reghost},
};

// What new time finds for every point of the frame.
struct Drift {
    int active;
    double rate[3];  // each axis's rate times the strength
    double weightOwn, weightShared;
    double invSize;
    uint64_t ownPrefix, latticePrefix;  // VeskHash(Dom, Sw, 1) and VeskHash(Dom, Sw, 2)
    VeskWalkPlan plan;  // the walk at this time, for any key
};

const PanelSpec kPanel = {.title = "Diffuse Point Drift", .shortName = "Diffuse", .width = 580, .height = 250,
                          .create = Create, .destroy = SharedDestroy, .copy = SharedCopy, .afterLoad = Reghost,
                          .workBytes = sizeof(Drift)};

double Held(double v, double low, double high) { return v < low ? low : (v > high ? high : v); }

LWInstance Create(LWError *err, LWItemID item) {
    return BuildInstance(kPanel, kTable, kControls, item, err, ClassInfo(PluginClass::Displacement).createFailure);
}

void Reghost(PluginInstance *p) {
    bool disabled = On(p, kDisable);
    NumericControl *coherence = Number(p, kCoherence);
    // No shared part to size when the coherence is fixed at nothing.
    bool noShare = coherence->mode == kFixed && coherence->value <= 0;
    for (int i = kRateX; i < kDisable; ++i)
        GhostControl(static_cast<ControlRecord *>(p->controls[i]), disabled || (i == kSize && noShare));
}

LWError NewTime(LWInstance instance, LWItemID object, LWFrame, LWTime t) {
    PluginInstance *p = OpenEvaluation(instance, t, object);
    if (!p) return "Eeek, no inst at newtime";
    Drift &drift = *Work<Drift>(p);
    drift.active = 0;
    if (On(p, kDisable)) return nullptr;
    auto *scene = static_cast<const LWSceneInfo *>(hostServices.global(LWSERVICE_SCENE_INFO, GFUSE_TRANSIENT));
    if (!scene || scene->framesPerSecond <= 0) return nullptr;
    double fps = scene->framesPerSecond;

    double strength = Number(p, kStrength)->current;
    bool moving = false;
    for (int a = 0; a < 3; ++a) {
        double rate = Number(p, kRateX + a)->current;
        drift.rate[a] = (rate > 0 ? rate : 0) * strength;
        moving = moving || drift.rate[a] != 0;
    }
    if (!moving) return nullptr;
    double coherence = Held(Number(p, kCoherence)->current, 0, 1);
    drift.weightOwn = std::sqrt(1 - coherence);
    drift.weightShared = std::sqrt(coherence);
    double size = Number(p, kSize)->value;
    drift.invSize = 1 / (size > 0.001 ? size : 0.001);
    uint64_t seedWord = VeskSeedWord(Number(p, kSeed)->value);
    drift.ownPrefix = VeskHash(kDiffuseDomain, seedWord, 1);
    drift.latticePrefix = VeskHash(kDiffuseDomain, seedWord, 2);

    double step = Number(p, kStep)->value, pull = Number(p, kPull)->value;
    step = step > 0.01 ? step : 0.01;
    double s = VeskLatticeSteps(t * fps, Number(p, kStart)->value, step);
    if (s < 1e-9) return nullptr;  // nothing moves at or before the start frame
    if (s > kLastStep) s = kLastStep;
    VeskWalk walk;
    VeskWalkSetUp(&walk, pull > 0 ? pull : 0, step / fps);
    VeskWalkPlanAt(walk, s, On(p, kSmooth), &drift.plan);
    drift.active = 1;
    return nullptr;
}

// Positions are quantised to 2^-20 of a unit for the point's own key.
int64_t Quantum(double c) { return static_cast<int64_t>(std::floor(Held(c, -1e12, 1e12) * 1048576.0 + 0.5)); }

void Evaluate(LWInstance instance, DisplacementAccess *access) {
    if (!instance) return;
    const Drift &d = *Work<Drift>(static_cast<PluginInstance *>(instance));
    if (!d.active) return;
    const double *rest = access->oPos;
    double moved[3] = {0, 0, 0};
    if (d.weightOwn > 0) {
        uint64_t key = VeskStep(VeskStep(VeskStep(d.ownPrefix, Quantum(rest[0])), Quantum(rest[1])), Quantum(rest[2]));
        for (int a = 0; a < 3; ++a) moved[a] += d.weightOwn * VeskWalkPlanValue(d.plan, VeskStep(key, a));
    }
    if (d.weightShared > 0) {
        int64_t cell[3];
        double weight[3][2], norm = 1;
        for (int a = 0; a < 3; ++a) {
            double g = Held(Held(rest[a], -1e12, 1e12) * d.invSize, -1e9, 1e9), whole = std::floor(g);
            cell[a] = static_cast<int64_t>(whole);
            weight[a][1] = Fade(g - whole);
            weight[a][0] = 1 - weight[a][1];
            norm *= weight[a][0] * weight[a][0] + weight[a][1] * weight[a][1];
        }
        // The corner walks are independent: dividing by the weights' norm keeps
        // the variance the same anywhere in the cell.
        norm = std::sqrt(norm);
        if (norm < 0.35355339059327373) norm = 0.35355339059327373;  // 1 / sqrt(8)
        double shared[3] = {0, 0, 0};
        for (int dz = 0; dz < 2; ++dz)
            for (int dy = 0; dy < 2; ++dy)
                for (int dx = 0; dx < 2; ++dx) {
                    uint64_t key = VeskStep(VeskStep(VeskStep(d.latticePrefix, static_cast<uint64_t>(cell[0] + dx)),
                                                     static_cast<uint64_t>(cell[1] + dy)),
                                            static_cast<uint64_t>(cell[2] + dz));
                    double w = weight[0][dx] * weight[1][dy] * weight[2][dz];
                    for (int a = 0; a < 3; ++a) shared[a] += w * VeskWalkPlanValue(d.plan, VeskStep(key, a));
                }
        for (int a = 0; a < 3; ++a) moved[a] += d.weightShared * shared[a] / norm;
    }
    for (int a = 0; a < 3; ++a) access->source[a] += d.rate[a] * moved[a];
}

// A change of SPACE takes effect at the next render: the host reads the flags
// again when a render starts (taken as given; unconfirmed).
unsigned Flags(LWInstance instance) {
    PluginInstance *p = OpenSettings(instance);
    if (!p) return 0;
    return Selection(p, kSpace) == kWorldAxes ? LWDMF_WORLD : 0;
}

const char *Describe(LWInstance instance) {
    PluginInstance *p = OpenSettings(instance);
    if (!p) return "Error!";
    if (On(p, kDisable)) return "Diffuse: Disabled";
    std::snprintf(p->description, sizeof p->description, "Diffuse, seed %d%s", static_cast<int>(std::floor(Number(p, kSeed)->value + 0.5)),
                  Selection(p, kSpace) == kWorldAxes ? ", world axes" : "");
    return p->description;
}

// Items used: no items of its own, so the reference items of animated settings,
// then the object and its ancestors.
const DisplacementHandler kHandler = DisplacementHandlerOf(Create, NewTime, Evaluate, Flags, Describe, SharedOwnerItemsUsed);

}  // namespace

extern const PluginDef diffusePlugin = {"Diffuse", PluginClass::Displacement, &kHandler};
