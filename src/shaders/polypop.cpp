// PolyPop: builds an object polygon by polygon over a stretch of frames (or by
// a progress value), in polygon order, in reverse, or in an order fixed by a
// seed; each polygon may fade in and flash as it arrives, or, with
// "Disappear", vanish one by one. An invisible spot is made fully transparent
// and loses its light, highlights, reflection and refraction. Each frame is a
// pure function of the settings and the time.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "controls/choice.h"
#include "controls/numeric.h"
#include "controls/plugin_access.h"
#include "controls/plugin_instance.h"
#include "helpers/random.h"
#include "services/host_services.h"
#include "module/lifecycle.h"
#include "module/server_table.h"

namespace {

enum { kOrder, kSeed, kTiming, kStart, kEnd, kProgress, kFade, kPopLength, kPopLuminosity, kInvert, kDisable, kControls };
enum { kPolygonOrder, kReverseOrder, kRandomOrder };
enum { kFrameRange, kProgressControl };

const char *const kOrderChoices[] = {"Polygon Order", "Reverse Order", "Random Order", nullptr};
const char *const kTimingChoices[] = {"Frame Range", "Progress Control", nullptr};

void Reghost(PluginInstance *p);
LWInstance Create(LWError *err);

// A length in frames: clipped at 0, dragged from 0 to 1000 by 0.05, one decimal.
constexpr ControlSpec Frames(const char *key, int y, const char *label, void (*changed)(PluginInstance *)) {
    return {.key = key, .kind = ControlSpecKind::Numeric, .x = 300, .y = y, .label = label, .value = 0, .low = 0,
            .flags = kClipLow | kNotAnimatable | kDragRange, .dragLow = 0, .dragHigh = 1000, .digits = 1,
            .dragStep = 0.05, .changed = changed};
}

const ControlSpec kTable[kControls] = {
    {.key = "ORDER", .kind = ControlSpecKind::Radio, .x = 40, .y = 60, .value = kRandomOrder, .choices = kOrderChoices,
     .changed = Reghost},
    {.key = "SEED", .kind = ControlSpecKind::Integer, .x = 300, .y = 60, .label = "Seed", .value = 1, .flags = kNotAnimatable},
    {.key = "TIMING", .kind = ControlSpecKind::Radio, .x = 40, .y = 130, .value = kFrameRange, .choices = kTimingChoices,
     .changed = Reghost},
    {.key = "START", .kind = ControlSpecKind::Integer, .x = 300, .y = 90, .label = "Start Frame", .value = 1,
     .flags = kNotAnimatable},
    {.key = "END", .kind = ControlSpecKind::Integer, .x = 300, .y = 112, .label = "End Frame", .value = 60,
     .flags = kNotAnimatable},
    {.key = "PROGRESS", .kind = ControlSpecKind::Percent, .x = 300, .y = 134, .label = "Progress", .value = 0.5},
    Frames("FADE", 160, "Fade (frames)", nullptr),
    Frames("POPLEN", 182, "Pop Length (frames)", Reghost),
    {.key = "POPLUM", .kind = ControlSpecKind::Percent, .x = 300, .y = 204, .label = "Pop Luminosity", .value = 1.0,
     .low = 0, .flags = kClipLow | kDragRange, .dragLow = 0, .dragHigh = 2},
    {.key = "INVERT", .kind = ControlSpecKind::Toggle, .x = 40, .y = 180, .label = "Disappear"},
    {.key = "DISABLE", .kind = ControlSpecKind::Toggle, .x = 40, .y = 205, .label = "Disable", .changed = Reghost},
};

// What the new-time hook works out; evaluate only reads it.
struct Build {
    bool active;
    double progress;   // g: 0 at the start, 1 at the end, not held between
    double fadeShare;  // the fade as a share of the stretch, 0 to 1
    double popShare;   // the pop's length as a share of the stretch
    double popLuminosity;
    int order;
    bool disappear;
    uint64_t roundKey[4];
};

const PanelSpec kPanel = {.title = "PolyPop Polygon Builder", .shortName = "PolyPop", .width = 440, .height = 250,
                          .create = [](LWError *err, LWItemID) { return Create(err); }, .destroy = SharedDestroy,
                          .copy = SharedCopy, .afterLoad = Reghost, .workBytes = sizeof(Build)};


LWInstance Create(LWError *err) {
    return BuildInstance(kPanel, kTable, kControls, LWITEM_NULL, err, ClassInfo(PluginClass::Shader).createFailure);
}

void Reghost(PluginInstance *p) {
    bool disabled = On(p, kDisable);
    for (int i = 0; i < kControls; ++i) {
        if (i == kDisable) continue;
        bool ghost = disabled || (i == kSeed && Selection(p, kOrder) != kRandomOrder) ||
                     (i == kProgress && Selection(p, kTiming) != kProgressControl) ||
                     (i == kPopLuminosity && Number(p, kPopLength)->value <= 0);
        GhostControl(static_cast<ControlRecord *>(p->controls[i]), ghost);
    }
}

// ---- the order: a permutation of the polygon numbers without a table ----

// The smallest m from 1 to 16 with 4^m at least the count.
int HalfWidth(long count) {
    int m = 1;
    while (m < 16 && (1ull << (2 * m)) < static_cast<unsigned long long>(count)) ++m;
    return m;
}

// One pass: a four-round balanced Feistel network on 2m bits, one-to-one on
// the domain 0 to 4^m - 1.
uint64_t Pass(const uint64_t key[4], int m, uint64_t y) {
    const uint64_t mask = (1ull << m) - 1;
    uint64_t left = y >> m, right = y & mask;
    for (int i = 0; i < 4; ++i) {
        uint64_t f = VeskStep(key[i], right) & mask;
        uint64_t next = left ^ f;
        left = right;
        right = next;
    }
    return (left << m) | right;
}

// Passes repeat until the value falls below the count: the values below it
// are carried one to one onto themselves.
long PolyPopRank(const uint64_t key[4], long count, long polygon) {
    int m = HalfWidth(count);
    uint64_t y = Pass(key, m, static_cast<uint64_t>(polygon));
    while (y >= static_cast<uint64_t>(count)) y = Pass(key, m, y);
    return static_cast<long>(y);
}

void PolyPopKeys(double seed, uint64_t key[4]) {
    for (int i = 0; i < 4; ++i) key[i] = VeskHash(kPolyPopDomain, VeskSeedWord(seed), i);
}

LWError NewTime(LWInstance instance, LWFrame, LWTime time) {
    PluginInstance *p = OpenEvaluation(instance, time);
    if (!p) return "Eeek, no inst at newtime";
    Build &b = *Work<Build>(p);
    b.active = false;
    if (On(p, kDisable)) return nullptr;
    auto *scene = static_cast<const LWSceneInfo *>(hostServices.global(LWSERVICE_SCENE_INFO, GFUSE_TRANSIENT));
    if (!scene || !(scene->framesPerSecond > 0)) return nullptr;
    double start = Current(p, kStart), end = Current(p, kEnd);
    double stretch = std::max(end - start, 0.001);  // an end at or before the start: an almost instant build
    b.progress = Selection(p, kTiming) == kProgressControl ? Current(p, kProgress)
                                                           : (time * scene->framesPerSecond - start) / stretch;
    b.fadeShare = std::min(std::max(Current(p, kFade), 0.0) / stretch, 1.0);
    b.popShare = std::max(Current(p, kPopLength), 0.0) / stretch;
    b.popLuminosity = std::max(Current(p, kPopLuminosity), 0.0);
    b.order = Selection(p, kOrder);
    b.disappear = On(p, kInvert);
    PolyPopKeys(Current(p, kSeed), b.roundKey);
    b.active = true;
    return nullptr;
}

// The host numbers polygons within the whole object, 0 to its count - 1, in
// the object file's order, for every surface (unconfirmed for 5.x).
long PolygonCount(LWItemID object) {
    return hostServices.objectInfo ? hostServices.objectInfo->numPolygons(object) : 0;
}

void Evaluate(LWInstance instance, ShaderAccess *spot) {
    const PluginInstance *p = static_cast<const PluginInstance *>(instance);
    if (!p) return;
    const Build &b = *static_cast<const Build *>(p->work);
    if (!b.active) return;
    const long count = PolygonCount(spot->objID);
    if (count < 1 || spot->polNum < 0 || spot->polNum >= count) return;
    const long rank = b.order == kPolygonOrder ? spot->polNum
                      : b.order == kReverseOrder ? count - 1 - spot->polNum
                                                 : PolyPopRank(b.roundKey, count, spot->polNum);
    // Each polygon's reveal starts at its slot and lasts a slot plus the fade;
    // the last one ends exactly at 1.
    const double slot = (1 - b.fadeShare) / count, begins = rank * slot, lasts = slot + b.fadeShare;
    double v = std::clamp((b.progress - begins) / lasts, 0.0, 1.0);
    if (v < 1e-9) v = 0;
    if (v > 1 - 1e-9) v = 1;
    if (b.disappear) v = 1 - v;
    double pop = 0;
    if (b.popShare > 0 && b.popLuminosity > 0) {
        // 27/4 x (1 - x)^2 peaks at 1 a third of the way through the pop.
        double x = (b.progress - begins) / b.popShare;
        if (x > 0 && x < 1) pop = b.popLuminosity * 6.75 * x * (1 - x) * (1 - x);
    }
    if (v == 1 && pop == 0) return;  // fully shown: nothing written
    spot->luminous = v * (spot->luminous + pop);
    spot->diffuse = v * spot->diffuse;
    spot->specular = v * spot->specular;
    spot->mirror = v * spot->mirror;
    spot->transparency = 1 - v * (1 - spot->transparency);
    spot->eta = 1 + v * (spot->eta - 1);
}

// Exactly the fields an invisible or flashing spot changes, whatever DISABLE
// says: the host may read them once per render.
unsigned Flags(LWInstance instance) {
    if (!instance) return 0;
    OpenSettings(instance);
    return LWSHF_LUMINOUS | LWSHF_DIFFUSE | LWSHF_SPECULAR | LWSHF_MIRROR | LWSHF_TRANSP | LWSHF_ETA;
}

const char *Describe(LWInstance instance) {
    PluginInstance *p = OpenSettings(instance);
    if (!p) return "Error!";
    if (On(p, kDisable)) return "PolyPop: Disabled";
    static const char *const kOrders[] = {"polygon order", "reverse order", "random order"};
    std::snprintf(p->description, sizeof p->description, "PolyPop, %s%s", kOrders[std::clamp(Selection(p, kOrder), 0, 2)],
                  On(p, kInvert) ? ", disappearing" : "");
    return p->description;
}

const ShaderHandler kHandler = ShaderHandlerOf(Create, NewTime, Evaluate, Flags, Describe, SharedItemsUsedUnlessDisabled);

}  // namespace

extern const PluginDef polyPopPlugin = {"PolyPop", PluginClass::Shader, &kHandler};
