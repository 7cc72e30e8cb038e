// Poke: effector items dent an object. Every item whose name begins with the
// typed prefix stands for a solid (a ball, an octahedron or a box by
// "Curvature") in its own coordinates; points of the object inside it are
// pushed out to its surface. The dents are worked out in the object's own
// frame, so they stay on it as it moves; effectors that passed through it in
// the last "History Frames" leave dents that relax at "Restore %/sec".
#include <cmath>
#include <cstdio>

#include "controls/choice.h"
#include "controls/item.h"
#include "controls/numeric.h"
#include "controls/plugin_access.h"
#include "controls/plugin_instance.h"
#include "helpers/curves.h"
#include "services/host_services.h"
#include "module/lifecycle.h"
#include "helpers/transform.h"
#include "module/server_table.h"

namespace {

enum {
    kPrefix, kSharpness, kExp, kStrength, kHistLength, kDelta, kRestore, kInteractive, kDisable, kControls
};

// The history store: every sample of the object's placement and of each
// effector's placement relative to it, allocated once with the instance.
constexpr int kHistoryRecords = 16384;
constexpr int kMaxEffectors = 512;

LWInstance Create(LWError *err, LWItemID item);
const ControlSpec kTable[kControls] = {
    {.key = "PREFIX", .kind = ControlSpecKind::ItemPrefix, .x = 97, .y = 65, .label = "Effectors", .high = kMaxEffectors,
     .flags = kGreyWhileDisabled, .width = 190},
    {.key = "SHARPNESS", .kind = ControlSpecKind::Numeric, .x = 100, .y = 90, .label = "Sharpness", .value = 1, .flags = kGreyWhileDisabled},
    {.key = "EXP", .kind = ControlSpecKind::Numeric, .x = 100, .y = 115, .label = "Curvature", .value = 0.5,
     .low = 0.01, .flags = kClipLow | kDragFromLow | kGreyWhileDisabled},
    {.key = "POKESTRENGTH", .kind = ControlSpecKind::Numeric, .x = 100, .y = 140, .label = "Strength", .value = 1, .flags = kGreyWhileDisabled},
    {.key = "HISTLENGTH", .kind = ControlSpecKind::Integer, .x = 420, .y = 65, .label = "History Frames", .value = 0, .flags = kGreyWhileDisabled},
    {.key = "DELTA", .kind = ControlSpecKind::Numeric, .x = 420, .y = 90, .label = "Curve Quality", .value = 0.5, .flags = kGreyWhileDisabled},
    {.key = "RESTORE", .kind = ControlSpecKind::Numeric, .x = 420, .y = 115, .label = "Restore %/sec", .value = 0.3,
     .low = 0, .flags = kClipLow | kDragFromLow | kGreyWhileDisabled},
    {.key = "INTERACTIVE", .kind = ControlSpecKind::Toggle, .x = 418, .y = 145, .label = "Interactive", .value = 0, .flags = kGreyWhileDisabled},
    {.key = "DISABLE", .kind = ControlSpecKind::Toggle, .x = 418, .y = 168, .label = "Disable", .value = 0,
     .changed = GreyWhileDisabled},
};

// A placement and its inverse, worked out once per sample for every point.
struct Placed {
    Transform forward, inverse;
};

struct History {
    int effectors;    // n
    int samples;      // N: samples before the current time
    double step;      // the sample step, seconds
    double first;     // t0
    double last;      // tN = t0 + N step
    double now;       // t
    Placed records[kHistoryRecords];  // block 0 the object's, block j effector j's; N + 1 each
};

const PanelSpec kPanel = {.title = "Poke", .shortName = "Poke", .width = 550, .height = 230, .create = Create,
                          .destroy = SharedDestroy, .copy = SharedCopy, .afterLoad = GreyWhileDisabled,
                          .workBytes = sizeof(History)};


LWInstance Create(LWError *err, LWItemID item) {
    return BuildInstance(kPanel, kTable, kControls, item, err, ClassInfo(PluginClass::Displacement).createFailure);
}

// The items that match the prefix now, the first 512 of them.
ItemControl *Effectors(PluginInstance *p) {
    ItemControl *c = Control<ItemControl>(p, kPrefix);
    RefreshPrefixMatches(c);
    return c;
}

LWError NewTime(LWInstance instance, LWItemID object, LWFrame, LWTime t) {
    PluginInstance *p = OpenEvaluation(instance, t, object);
    if (!p) return "Eeek, no inst at newtime";
    History &h = *Work<History>(p);
    h.now = t;
    h.effectors = 0;
    ItemControl *effectors = Effectors(p);
    int n = effectors->count < kMaxEffectors ? effectors->count : kMaxEffectors;
    // Without the scene's frame rate there is no history to measure: nothing moves.
    auto *scene = static_cast<const LWSceneInfo *>(hostServices.global(LWSERVICE_SCENE_INFO, GFUSE_TRANSIENT));
    if (n <= 0 || !scene || scene->framesPerSecond <= 0) return nullptr;

    double quality = Number(p, kDelta)->current;
    quality = quality < 0.01 ? 0.01 : (quality > 99 ? 99 : quality);
    double step = 0.0125 / quality, first;
    long samples;
    do {  // coarser steps until the store holds every sample of every item
        step *= 2;
        first = t - Number(p, kHistLength)->current / scene->framesPerSecond;
        if (first < 0) first = 0;
        first = std::ceil(first / step) * step;
        samples = static_cast<long>(std::floor((t - first) / step));
        if (samples < 0) samples = 0;
    } while (static_cast<long>(n + 1) * (samples + 1) > kHistoryRecords);
    h.step = step;
    h.first = first;
    h.samples = static_cast<int>(samples);
    h.last = first + samples * step;

    const int stride = h.samples + 1;
    for (int i = 0; i <= h.samples; ++i) {
        double at = i < h.samples ? first + i * step : t;
        Placed &own = h.records[i];
        own.forward = ItemWorldTransform(object, at);
        own.inverse = Inverse(own.forward);
        for (int j = 1; j <= n; ++j) {
            // The object's coordinates into the effector's.
            Placed &relative = h.records[stride * j + i];
            relative.forward = Product(own.forward, Inverse(ItemWorldTransform(effectors->items[j - 1], at)));
            relative.inverse = Inverse(relative.forward);
        }
    }
    h.effectors = n;
    return nullptr;
}

// Pushes q (in the effector's coordinates) out to the solid's surface when it
// lies strictly inside: |x|^e + |y|^e + |z|^e < 1.
void Push(double q[3], double e, double sharpness) {
    double ax = std::fabs(q[0]), ay = std::fabs(q[1]), az = std::fabs(q[2]);
    double d = std::pow(ax, e) + std::pow(ay, e) + std::pow(az, e);
    if (!(d > 0 && d < 1)) return;
    double f = Hermite(d, 0, 1, sharpness, 1, 0, 0);
    // Scale along the ray from the centre by the largest component; the guards
    // against a tiny largest component differ by axis, as they always have.
    double m, a, b, g;
    if (ax >= ay && ax >= az)
        m = ax, a = ay, b = az;
    else if (ay >= az)
        m = ay, a = ax, b = az;
    else
        m = az, a = ax, b = ay;
    bool zWins = !(ax >= ay && ax >= az) && !(ay >= az);
    if (zWins ? m <= 1e-12 : m < 1e-8)
        g = 1;
    else
        g = std::pow(1 + std::pow(a / m, e) + std::pow(b / m, e), -1 / e) / m;
    for (int i = 0; i < 3; ++i) q[i] *= g * f;
}

void Evaluate(LWInstance instance, DisplacementAccess *access) {
    if (!instance) return;
    PluginInstance *p = static_cast<PluginInstance *>(instance);
    const History &h = *Work<History>(p);
    double strength = Number(p, kStrength)->current;
    if (On(p, kDisable) || h.effectors < 1 || strength <= 0) return;
    double e = 1 / Number(p, kExp)->current, restore = Number(p, kRestore)->current;
    double sharpness = Number(p, kSharpness)->current;
    double weight = 1 - std::exp(-5 * restore * h.step);
    const int stride = h.samples + 1;
    const Placed &now = h.records[h.samples];

    const Vec3 rest = Apply(now.inverse, {access->source[0], access->source[1], access->source[2]});
    Vec3 cur = rest, q;
    for (int i = 0; i <= h.samples; ++i) {
        if (i == h.samples) weight = 1 - std::exp(-5 * (h.now - h.last) * restore);
        for (int k = 0; k < 3; ++k) cur[k] = weight * rest[k] + (1 - weight) * cur[k];  // relax, then push
        for (int j = 1; j <= h.effectors; ++j) {
            const Placed &relative = h.records[stride * j + i];
            q = Apply(relative.forward, cur);
            Push(q.data(), e, sharpness);
            cur = Apply(relative.inverse, q);
        }
    }
    const Vec3 world = Apply(now.forward, cur);
    for (int k = 0; k < 3; ++k) access->source[k] = strength * world[k] + (1 - strength) * access->source[k];
}

const char *Describe(LWInstance instance) {
    PluginInstance *p = OpenSettings(instance);
    if (!p) return "Error!";
    std::snprintf(p->description, sizeof p->description, On(p, kDisable) ? "Poke, %d effectors: Disabled" : "Poke, %d effectors",
                  Effectors(p)->count);
    return p->description;
}

// The matched effectors alone.
const LWItemID *ItemsUsed(LWInstance instance) {
    if (instance) Effectors(static_cast<PluginInstance *>(instance));  // matched afresh
    return SharedControlItemsUsed(instance);
}

const DisplacementHandler kHandler = DisplacementHandlerOf(Create, NewTime, Evaluate, SharedWorldDisplacementFlags, Describe, ItemsUsed);

}  // namespace

extern const PluginDef pokePlugin = {"Poke", PluginClass::Displacement, &kHandler};
