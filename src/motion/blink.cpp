// Blink: replays a keyed stretch of the item's own motion at seeded, irregular
// moments (a blink, a twitch, a flicker). Events follow one another at an
// average period with a seeded variation, never closer than their duration plus
// a minimum gap and never before the earliest frame; each event plays the
// stretch time-scaled to its own seeded duration, eased in and out. Every
// evaluation regenerates the events from the earliest frame, so any frame
// renders alone with the same events.
#include <algorithm>
#include <cstdio>

#include "controls/choice.h"
#include "controls/numeric.h"
#include "controls/plugin_access.h"
#include "controls/plugin_instance.h"
#include "helpers/curves.h"
#include "helpers/random.h"
#include "services/host_services.h"
#include "module/lifecycle.h"
#include "module/server_table.h"

namespace {

// Table positions, which are also the creation (and save) order.
enum {
    kStart, kLength, kPeriod, kPeriodVar, kDuration, kDurVar, kFirst, kGap, kBlend, kStrength, kSeed,
    kMode, kPosition, kRotation, kVary, kExportMotion, kDisable, kControls
};
enum { kReplace, kAdd };

// The search gives up after this many events; later times show the keys.
constexpr int kMaxEvents = 100000;

const char *const kModeChoices[] = {"Replace keys during events", "Add to keys during events", nullptr};

LWInstance Create(LWError *err, LWItemID item);

// Frame fields: one decimal, dragged three times faster than the general field.
constexpr int kFrameDigits = 1;
constexpr double kFrameDrag = 0.15;

const ControlSpec kTable[kControls] = {
    {.key = "START", .kind = ControlSpecKind::Numeric, .x = 200, .y = 65, .label = "Stretch Start (frame)",
     .value = 0, .flags = kDragFree | kGreyWhileDisabled, .digits = kFrameDigits, .dragStep = kFrameDrag},
    {.key = "LENGTH", .kind = ControlSpecKind::Numeric, .x = 200, .y = 90, .label = "Stretch Length (frames)",
     .value = 6, .low = 0, .flags = kClipLow | kDragFromLow | kGreyWhileDisabled, .digits = kFrameDigits,
     .dragStep = kFrameDrag},
    {.key = "PERIOD", .kind = ControlSpecKind::Numeric, .x = 200, .y = 125, .label = "Average Period (frames)",
     .value = 96, .low = 1, .flags = kClipLow | kDragFromLow | kGreyWhileDisabled, .digits = kFrameDigits,
     .dragStep = kFrameDrag},
    {.key = "PERIODVAR", .kind = ControlSpecKind::Percent, .x = 200, .y = 150, .label = "Period Variation",
     .value = 0.5, .low = 0, .high = 1, .flags = kClipLow | kClipHigh | kGreyWhileDisabled},
    {.key = "DURATION", .kind = ControlSpecKind::Percent, .x = 200, .y = 185, .label = "Duration (% of stretch)",
     .value = 1, .low = 0.01, .flags = kClipLow | kDragRange | kGreyWhileDisabled, .dragLow = 0.01, .dragHigh = 4},
    {.key = "DURVAR", .kind = ControlSpecKind::Percent, .x = 200, .y = 210, .label = "Duration Variation",
     .value = 0.2, .low = 0, .high = 1, .flags = kClipLow | kClipHigh | kGreyWhileDisabled},
    {.key = "FIRST", .kind = ControlSpecKind::Numeric, .x = 470, .y = 65, .label = "Earliest Event (frame)",
     .value = 0, .low = 0, .flags = kClipLow | kDragFromLow | kNotAnimatable | kGreyWhileDisabled,
     .digits = kFrameDigits, .dragStep = kFrameDrag},
    {.key = "GAP", .kind = ControlSpecKind::Numeric, .x = 470, .y = 90, .label = "Minimum Gap (frames)", .value = 0,
     .low = 0, .flags = kClipLow | kDragFromLow | kGreyWhileDisabled, .digits = kFrameDigits, .dragStep = kFrameDrag},
    {.key = "BLEND", .kind = ControlSpecKind::Numeric, .x = 470, .y = 125, .label = "Ease In/Out (frames)",
     .value = 0, .low = 0, .flags = kClipLow | kDragFromLow | kGreyWhileDisabled, .digits = kFrameDigits,
     .dragStep = kFrameDrag},
    {.key = "STRENGTH", .kind = ControlSpecKind::Percent, .x = 470, .y = 150, .label = "Strength", .value = 1,
     .low = 0, .high = 1, .flags = kClipLow | kClipHigh | kGreyWhileDisabled},
    {.key = "SEED", .kind = ControlSpecKind::Integer, .x = 470, .y = 185, .label = "Seed", .value = 1,
     .flags = kGreyWhileDisabled},
    {.key = "MODE", .kind = ControlSpecKind::Radio, .x = 60, .y = 250, .value = kAdd, .flags = kGreyWhileDisabled,
     .choices = kModeChoices},
    {.key = "POSITION", .kind = ControlSpecKind::Toggle, .x = 330, .y = 245, .label = "Replay Position", .value = 1,
     .flags = kGreyWhileDisabled},
    {.key = "ROTATION", .kind = ControlSpecKind::Toggle, .x = 330, .y = 267, .label = "Replay Rotation", .value = 1,
     .flags = kGreyWhileDisabled},
    {.key = "VARY", .kind = ControlSpecKind::Toggle, .x = 470, .y = 245, .label = "Vary by Item", .value = 0,
     .flags = kGreyWhileDisabled},
    {.key = "MB", .kind = ControlSpecKind::ExportMotion, .x = 60, .y = 295},
    {.key = "DISABLE", .kind = ControlSpecKind::Toggle, .x = 330, .y = 295, .label = "Disable All Effects", .value = 0,
     .changed = GreyWhileDisabled},
};

const PanelSpec kPanel = {.title = "Blink: Keyed Replay", .shortName = "Blink", .width = 600, .height = 330,
                          .create = Create, .destroy = SharedDestroy, .copy = SharedCopy,
                          .afterLoad = GreyWhileDisabled};

double Held(double v, double low, double high) { return v < low ? low : (v > high ? high : v); }
// A setting at an event's time. The holds the event search puts on top repeat
// the controls' clipping: a missing reference item gives 0.0 unclipped.
double At(PluginInstance *p, int i, double time) { return EvaluateNumeric(Number(p, i), time); }

LWInstance Create(LWError *err, LWItemID item) {
    return BuildInstance(kPanel, kTable, kControls, item, err, ClassInfo(PluginClass::ItemMotion).createFailure);
}

// One event, in seconds.
struct BlinkEvent {
    double start, duration;
    double stretchStart, stretchLength;
    double ease;
};

// The event active at t, if any. Every event draws exactly two uniforms by its
// number, one for its duration and one for the interval to the next, so a
// duration setting moves no start and a period setting changes no duration
// (except where the gap pushes a start later).
bool FindBlinkEvent(PluginInstance *p, double t, double fps, uint64_t seedWord, BlinkEvent *event) {
    double first = std::max(0.0, Number(p, kFirst)->value) / fps;
    if (t < first) return false;
    const uint64_t prefix = VeskHash(kBlinkDomain, seedWord);
    const uint64_t durations = VeskStep(prefix, 1), intervals = VeskStep(prefix, 2);
    double start = first + VeskUnit(VeskStep(VeskStep(prefix, 0), 0)) * std::max(1.0, At(p, kPeriod, first)) / fps;
    for (int i = 0; i < kMaxEvents; ++i) {
        if (start > t) return false;
        double stretchStart = At(p, kStart, start) / fps;
        double stretchLength = std::max(0.0, At(p, kLength, start)) / fps;
        double share = std::max(0.0, At(p, kDuration, start));
        double variation = Held(At(p, kDurVar, start), 0, 1);
        double u = VeskUnit(VeskStep(durations, static_cast<uint64_t>(i)));
        double duration = stretchLength * share * (1 + variation * (2 * u - 1));
        if (duration > 1e-9 && t < start + duration) {
            *event = {start, duration, stretchStart, stretchLength,
                      std::min(std::max(0.0, At(p, kBlend, start)) / fps, duration / 2)};
            return true;
        }
        double period = std::max(1.0, At(p, kPeriod, start)) / fps;
        double spread = Held(At(p, kPeriodVar, start), 0, 1);
        double gap = std::max(0.0, At(p, kGap, start)) / fps;
        double interval = period * (1 + spread * (2 * VeskUnit(VeskStep(intervals, static_cast<uint64_t>(i))) - 1));
        // A tenth of a frame keeps the search moving when events have no duration.
        start += std::max({interval, duration + gap, 0.1 / fps});
    }
    return false;
}

void Evaluate(LWInstance instance, const ItemMotionAccess *access) {
    PluginInstance *p = OpenEvaluation(instance, access->time, access->item);
    if (!p) return;
    Panel *panel = p->panel;
    const double t = access->time;
    bool position = On(p, kPosition), rotation = On(p, kRotation);
    if (On(p, kDisable) || (!position && !rotation)) return;
    auto *scene = static_cast<const LWSceneInfo *>(hostServices.global(LWSERVICE_SCENE_INFO, GFUSE_TRANSIENT));
    if (!scene || scene->framesPerSecond <= 0) return;
    double fps = scene->framesPerSecond;

    BlinkEvent e;
    bool active = FindBlinkEvent(p, t, fps, VeskItemSeedWord(Number(p, kSeed)->current, On(p, kVary), access->item), &e);
    EvaluatePanelNumerics(panel, t);  // the search left the controls at event times
    if (!active) return;
    double strength = Held(Number(p, kStrength)->current, 0, 1);
    if (strength <= 0) return;

    double phase = Held((t - e.start) / e.duration, 0, 1);
    double stretchTime = e.stretchStart + phase * e.stretchLength;
    double weight = 1;
    if (e.ease > 1e-9)
        weight = Hermite((t - e.start) / e.ease, 0, 1, 0, 1, 0, 0) * Hermite((e.start + e.duration - t) / e.ease, 0, 1, 0, 1, 0, 0);
    double a = strength * weight;
    bool replace = Selection(p, kMode) == kReplace;

    for (int code : {LWIP_POSITION, LWIP_ROTATION}) {
        if (!(code == LWIP_POSITION ? position : rotation)) continue;
        double now[3], played[3], from[3] = {};
        access->getParam(code, t, now);
        access->getParam(code, stretchTime, played);
        if (replace)
            for (int i = 0; i < 3; ++i) from[i] = now[i];
        else
            access->getParam(code, e.stretchStart, from);
        for (int i = 0; i < 3; ++i) now[i] += a * (played[i] - from[i]);
        access->setParam(code, now);
    }
}

const char *Describe(LWInstance instance) {
    PluginInstance *p = OpenSettings(instance);
    if (!p) return "Error!";
    if (On(p, kDisable)) return "Blink: Disabled";
    if (!On(p, kPosition) && !On(p, kRotation)) return "Blink: No Channels";
    // The values at the last time evaluated, so that settings just loaded or
    // typed show at once.
    EvaluatePanelNumerics(p->panel, p->panel->currentTime);
    double start = Number(p, kStart)->current;
    std::snprintf(p->description, sizeof p->description, "Blink: frames %g to %g, every %g frames", start,
                  start + Number(p, kLength)->current, Number(p, kPeriod)->current);
    return p->description;
}

// Items used: no items of its own, so the reference items of animated settings,
// then the item and its ancestors.
const ItemMotionHandler kHandler = MotionHandlerOf(Create, Evaluate, Describe);

}  // namespace

extern const PluginDef blinkPlugin = {"Blink", PluginClass::ItemMotion, &kHandler};
