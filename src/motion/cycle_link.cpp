#include "motion/cycle_link.h"

#include <cmath>
#include <cstdio>
#include <cstring>

#include "controls/choice.h"
#include "controls/item.h"
#include "controls/numeric.h"
#include "controls/plugin_access.h"
#include "controls/static_controls.h"
#include "helpers/units.h"
#include "services/host_services.h"
#include "module/lifecycle.h"
#include "module/server_table.h"
#include "helpers/transform.h"

const char *const kCycleControlChoices[] = {"Named Control Object", "Control Object = self", "Control Object = parent",
                                             nullptr};

namespace {

constexpr int kGraphSamples = 480;

// The common controls, first in every member's panel.
enum {
    kCycleStart, kCycleLength, kEndBehavior, kSetText, kPositionText, kRotationText, kSizeText,
    kXChange, kYChange, kZChange, kHChange, kPChange, kBChange, kSXChange, kSYChange, kSZChange,
    kStrength, kInteractive, kDisable, kExportMotion, kGraph, kLowGraph, kHighGraph, kPhaseText, kCommon
};
enum { kRepeat, kPingPong, kStop, kExtend };
enum { kNamed, kSelf, kParent };

const char *const kEndChoices[] = {"Repeat after end of Cycle", "Ping-Pong after end of Cycle", "Stop after end of Cycle",
                                   "Extend after end of Cycle", nullptr};

template <const char *Text>
void Face(void *button) {
    CopyText(static_cast<ButtonControl *>(button)->text, sizeof(ButtonControl::text), Text);
}
constexpr char kX[] = "X", kY[] = "Y", kZ[] = "Z", kH[] = "H", kP[] = "P", kB[] = "B", kSX[] = "SX", kSY[] = "SY",
               kSZ[] = "SZ";
template <const char *Text>
constexpr ControlSpec Channel(const char *key, int x, int y) {
    return {.key = key, .kind = ControlSpecKind::Toggle, .x = x, .y = y, .label = "", .value = 1, .setup = Face<Text>};
}
constexpr ControlSpec Caption(const char *key, int x, int y, const char *text) {
    return {.key = key, .kind = ControlSpecKind::Text, .x = x, .y = y, .label = text};
}
void GraphSize(void *graph) {
    GraphControl *g = static_cast<GraphControl *>(graph);
    g->width = 450;
    g->height = 128;
}
void White(void *text) {
    TextControl *t = static_cast<TextControl *>(text);
    t->coloured = 1;
    t->rgb[0] = t->rgb[1] = t->rgb[2] = 255;
}

const ControlSpec kCommonRows[kCommon] = {
    {.key = "CYCLESTART", .kind = ControlSpecKind::Integer, .x = 483, .y = 88,
     .label = "Start of Cycle Definition (frame #)", .value = 0, .low = 0, .flags = kClipLow},
    {.key = "CYCLELENGTH", .kind = ControlSpecKind::Integer, .x = 483, .y = 109,
     .label = "Cycle Definition Length (frames)", .value = 100, .low = 1, .flags = kClipLow},
    {.key = "ENDBEHAVIOR", .kind = ControlSpecKind::Radio, .x = 533, .y = 135, .value = kRepeat, .choices = kEndChoices,
     .changed = CycleRefresh},
    Caption("SETTEXT", 490, 215, "Cycle affects:"),
    Caption("POSTEXT", 420, 234, "Position:"),
    Caption("ROTTEXT", 420, 252, "Rotation:"),
    Caption("SIZETEXT", 420, 270, "Size:"),
    Channel<kX>("XCHANGE", 490, 233), Channel<kY>("YCHANGE", 512, 233), Channel<kZ>("ZCHANGE", 534, 233),
    Channel<kH>("HCHANGE", 490, 251), Channel<kP>("PCHANGE", 512, 251), Channel<kB>("BCHANGE", 534, 251),
    Channel<kSX>("SXCHANGE", 490, 269), Channel<kSY>("SYCHANGE", 512, 269), Channel<kSZ>("SZCHANGE", 534, 269),
    {.key = "STRENGTH", .kind = ControlSpecKind::Percent, .x = 452, .y = 299, .label = "Application Strength",
     .value = 1, .low = 0, .high = 1, .flags = kClipLow | kClipHigh},
    {.key = "INTERACTIVE", .kind = ControlSpecKind::Toggle, .x = 534, .y = 328, .label = "Interactive Layout Update",
     .value = 1},
    {.key = "DISABLE", .kind = ControlSpecKind::Toggle, .x = 534, .y = 351, .label = "Disable All Effects", .value = 0,
     .changed = CycleRefresh},
    {.key = "MB", .kind = ControlSpecKind::ExportMotion, .x = 283, .y = 352},
    {.key = "GRAPH", .kind = ControlSpecKind::Graph, .x = 70, .y = 380, .label = "Frame", .setup = GraphSize},
    {.key = "LOWGRAPH", .kind = ControlSpecKind::Integer, .x = 45, .y = 518, .label = "", .value = 0, .low = 0,
     .high = 10000, .flags = kClipLow | kClipHigh | kDragRange, .dragLow = 0, .dragHigh = 10000,
     .changed = CycleRefresh},
    {.key = "HIGHGRAPH", .kind = ControlSpecKind::Integer, .x = 526, .y = 518, .label = "", .value = 250, .low = 0,
     .high = 10000, .flags = kClipLow | kClipHigh | kDragRange, .dragLow = 0, .dragHigh = 10000,
     .changed = CycleRefresh},
    {.key = "PHASETEXT", .kind = ControlSpecKind::Text, .x = 30, .y = 435, .label = "Phase", .setup = White},
};

// The member and its own controls, found once at creation by their keys.
struct CycleWork {
    const CycleMember *member;
    RadioControl *control, *trackFrom;
    ItemControl *controlItem;
    TextControl *range1, *range2;
    NumericControl *lowFrom, *highFrom, *frames, *phaseVelocity, *startPhase, *distance, *quality;
    // The graph's samples: frames, their times and the phase at each.
    double graphFrames[kGraphSamples], graphTimes[kGraphSamples], graphPhases[kGraphSamples];
};

template <typename T>
T *Find(PluginInstance *p, const char *key) {
    return reinterpret_cast<T *>(FindControl(p->panel, key));
}
CycleWork &Work(PluginInstance *p) { return *Work<CycleWork>(p); }

double FramesPerSecond() {
    auto *scene = static_cast<const LWSceneInfo *>(hostServices.global(LWSERVICE_SCENE_INFO, GFUSE_TRANSIENT));
    return scene && scene->framesPerSecond > 0 ? scene->framesPerSecond : 30.0;
}

Vec3 Param(LWItemID item, int code, double time) {
    Vec3 v;
    hostServices.itemInfo->param(item, code, time, v.data());
    return v;
}

// The control object: the named item, the item itself, or its parent (an
// item without a parent falls back to itself, and the choice stays so).
LWItemID ControlObject(PluginInstance *p, LWItemID item) {
    CycleWork &w = Work(p);
    if (!w.control) return LWITEM_NULL;
    if (w.control->selection == kParent) {
        LWItemID parent = hostServices.itemInfo->parent(item);
        if (parent) return parent;
        w.control->selection = kSelf;
    }
    if (w.control->selection == kSelf) return item;
    return w.controlItem && w.controlItem->count > 0 ? w.controlItem->items[0] : LWITEM_NULL;
}

double EndBehaviour(PluginInstance *p, double phase) {
    switch (Selection(p, kEndBehavior)) {
    case kRepeat: return phase - std::floor(phase);
    case kPingPong: {
        double m = phase - 2 * std::floor(phase / 2);
        return 1 - std::fabs(m - 1);
    }
    case kStop: return phase <= 0 ? 0 : (phase >= 1 ? 1 : phase);
    default: return phase;
    }
}

// The raw source value of PhaseLink, SpeedLink or AccelLink at a time.
double SourceValue(PluginInstance *p, LWItemID control, double t) {
    CycleWork &w = Work(p);
    int entry = w.trackFrom ? w.trackFrom->selection : 0;
    if (w.member->source == CycleSource::Phase) {
        entry = entry < 0 || entry > 8 ? 0 : entry;
        const int codes[] = {LWIP_POSITION, LWIP_ROTATION, LWIP_SCALING};
        double v = Param(control, codes[entry / 3], t)[entry % 3];
        return entry / 3 == 1 ? v * kDegreesPerRadian : v;
    }
    // Near time 0 the span is pushed forward rather than shortened.
    double dt = w.frames->value / FramesPerSecond();
    if (dt < 0.0001) dt = 0.0001;
    double t0 = t - dt > 0 ? t - dt : 0, t1 = t0 + 2 * dt, tm = (t0 + t1) / 2;
    Vec3 a = Param(control, LWIP_W_POSITION, t0), b = Param(control, LWIP_W_POSITION, t1), rate;
    if (w.member->source == CycleSource::Speed) {
        for (int c = 0; c < 3; ++c) rate[c] = (b[c] - a[c]) / (t1 - t0);
    } else {
        // The second difference over the span 2 dt, not dt squared: users set
        // their limits against the values this gives.
        Vec3 m = Param(control, LWIP_W_POSITION, tm);
        for (int c = 0; c < 3; ++c) rate[c] = (a[c] + b[c] - 2 * m[c]) / (t1 - t0);
    }
    if (entry >= 0 && entry <= 2) return Dot(Normalised(Param(control, LWIP_RIGHT + entry, tm)), rate);
    return std::sqrt(Dot(rate, rate));
}

double PhaseFromSource(PluginInstance *p, double s) {
    CycleWork &w = Work(p);
    double low = w.lowFrom->value, range = w.highFrom->value - low;
    return EndBehaviour(p, std::fabs(range) >= 1e-10 ? (s - low) / range : 0);
}

// ThrottleLink's and DistLink's phases at ascending times, in one pass from
// time 0: each step's amount is spread linearly over the times within it.
// DistLink reports the least and most distance reached.
void AccumulatedPhases(PluginInstance *p, LWItemID control, const double *times, int n, double *out, double *least,
                       double *most) {
    CycleWork &w = Work(p);
    bool distance = w.member->source == CycleSource::Distance;
    for (int i = 0; i < n; ++i) out[i] = 0;
    double last = n > 0 ? times[n - 1] : 0;
    if (last > 0) {
        int pending = 0;
        while (pending < n && times[pending] <= 0) ++pending;
        double quality = distance ? w.quality->value : 0;
        quality = quality < 0.01 ? 0.01 : (quality > 10 ? 10 : quality);
        const double h = distance ? 0.1 / quality : 1 / 60.0;
        int entry = distance && w.trackFrom ? w.trackFrom->selection : 0;
        double amount = 0;
        Vec3 at = distance ? Param(control, LWIP_W_POSITION, 0) : Vec3{};
        for (double c = 0; c < last; c += h) {
            double step = h < last - c ? h : last - c, next = amount;
            Vec3 to{};
            if (!distance) {
                next += EvaluateNumeric(w.phaseVelocity, c + step / 2) * step;
            } else {
                to = Param(control, LWIP_W_POSITION, c + step);
                Vec3 moved = {to[0] - at[0], to[1] - at[1], to[2] - at[2]};
                next += entry >= 0 && entry <= 2 ? Dot(Normalised(Param(control, LWIP_RIGHT + entry, c + step / 2)), moved)
                                                 : std::sqrt(Dot(moved, moved));
                if (next < *least) *least = next;
                if (next > *most) *most = next;
            }
            for (; pending < n && times[pending] <= c + step; ++pending)
                out[pending] = next + (amount - next) * (c + step - times[pending]) / step;
            amount = next;
            at = to;
        }
        for (; pending < n; ++pending) out[pending] = amount;
    }
    double start = distance ? w.startPhase->value : w.startPhase->current;
    bool divide = distance && std::fabs(w.distance->value) > 1e-6;
    for (int i = 0; i < n; ++i) out[i] = EndBehaviour(p, (divide ? out[i] / w.distance->value : out[i]) + start);
}

}  // namespace


// The graph of the phase over the chosen frames, its range texts, and the
// greying of what the choices leave unused.
void CycleRefresh(PluginInstance *p) {
    SynchronisePanel(p->panel);  // settings just loaded find their items first
    CycleWork &w = Work(p);
    const LWItemID item = p->panel->ownerItem;
    const CycleSource source = w.member->source;
    if (source == CycleSource::Throttle) EvaluatePanelNumerics(p->panel, 0);
    double fps = FramesPerSecond(), low = Number(p, kLowGraph)->value, high = Number(p, kHighGraph)->value;
    if (high < low + 10) high = low + 10;  // for the display only
    double *frames = w.graphFrames, *times = w.graphTimes, *phases = w.graphPhases;
    for (int i = 0; i < kGraphSamples; ++i) {
        frames[i] = low + i * (high - low) / (kGraphSamples - 1);
        times[i] = frames[i] / fps;
    }
    double least = 9999999.9, most = -9999999.9;
    LWItemID control = source == CycleSource::Throttle ? LWITEM_NULL : ControlObject(p, item);
    bool drawn = source == CycleSource::Throttle || control;
    if (!drawn) {
        for (int i = 0; i < kGraphSamples; ++i) phases[i] = 0;
    } else if (source == CycleSource::Throttle || source == CycleSource::Distance) {
        AccumulatedPhases(p, control, times, kGraphSamples, phases, &least, &most);
    } else {
        for (int i = 0; i < kGraphSamples; ++i) {
            double s = SourceValue(p, control, times[i]);
            if (s < least) least = s;
            if (s > most) most = s;
            phases[i] = PhaseFromSource(p, s);
        }
    }
    SetGraphPoints(Control<GraphControl>(p, kGraph), frames, phases, kGraphSamples, low, high);
    char text[128];
    if (source == CycleSource::Phase) {
        std::snprintf(text, sizeof text, "Over Frames %ld to %ld", static_cast<long>(low), static_cast<long>(high));
        if (w.range1) SetText(w.range1, text);
        std::snprintf(text, sizeof text, "Min: %.3f    Max: %.3f", least, most);
        if (w.range2) SetText(w.range2, text);
    } else if (source != CycleSource::Throttle) {
        std::snprintf(text, sizeof text, "Over Frames %ld to %ld,  Min: %.3f   Max: %.3f", static_cast<long>(low),
                      static_cast<long>(high), least, most);
        if (w.range1) SetText(w.range1, text);
    }
    // The parent choice on an item without a parent falls back to self; the
    // choice cannot grey one entry of its own, so it stays shown.
    if (w.control && w.control->selection == kParent && item && !hostServices.itemInfo->parent(item))
        w.control->selection = kSelf;
    bool disabled = On(p, kDisable), named = w.control && w.control->selection == kNamed;
    bool nothing = named && !(w.controlItem && w.controlItem->count > 0 && w.controlItem->items[0]);
    for (ControlRecord *r = p->panel->record.next; r; r = r->next) {
        if (r == &Control<ButtonControl>(p, kDisable)->record) continue;
        bool ghost = disabled;
        if (!disabled && w.control && r != &w.control->record)
            ghost = r == &w.controlItem->record ? !named : nothing;
        GhostControl(r, ghost);
    }
}


LWInstance CycleCreate(const CycleMember &member, LWInstance (*create)(LWError *, LWItemID), LWError *err,
                       LWItemID item) {
    ControlSpec rows[kMaxControls];
    int count = 0;
    for (const ControlSpec &row : kCommonRows) rows[count++] = row;
    for (int i = 0; i < member.rowCount && count < kMaxControls; ++i) rows[count++] = member.rows[i];
    const PanelSpec panel = {.title = member.name, .shortName = member.name, .width = 580, .height = 580,
                             .create = create, .destroy = SharedDestroy, .copy = SharedCopy,
                             .afterLoad = CycleRefresh, .workBytes = sizeof(CycleWork)};
    PluginInstance *p =
        BuildInstance(panel, rows, count, item, err, ClassInfo(PluginClass::ItemMotion).createFailure);
    if (!p) return nullptr;
    CycleWork &w = Work(p);
    w.member = &member;
    w.control = Find<RadioControl>(p, "CONTROL");
    w.trackFrom = Find<RadioControl>(p, "TRACKFROM");
    w.controlItem = Find<ItemControl>(p, "CONTROLITEM");
    w.range1 = Find<TextControl>(p, "RANGE1");
    w.range2 = Find<TextControl>(p, "RANGE2");
    w.lowFrom = Find<NumericControl>(p, "LOWFROM");
    w.highFrom = Find<NumericControl>(p, "HIGHFROM");
    w.frames = Find<NumericControl>(p, "FRAMES");
    w.phaseVelocity = Find<NumericControl>(p, "PHASEVELOCITY");
    w.startPhase = Find<NumericControl>(p, "STARTPHASE");
    w.distance = Find<NumericControl>(p, "DISTANCE");
    w.quality = Find<NumericControl>(p, "QUALITY");
    return p;
}

void CycleEvaluate(LWInstance instance, const ItemMotionAccess *access) {
    PluginInstance *p = OpenEvaluation(instance, access->time, access->item);
    if (!p) return;
    const double t = access->time;
    const CycleSource source = Work(p).member->source;
    if (On(p, kDisable)) return;
    const double k = Number(p, kStrength)->current;
    if (source == CycleSource::Phase && k <= 0) return;
    LWItemID control = LWITEM_NULL;
    if (source != CycleSource::Throttle && !(control = ControlObject(p, access->item))) return;

    double phase, least = 0, most = 0;
    if (source == CycleSource::Throttle || source == CycleSource::Distance)
        AccumulatedPhases(p, control, &t, 1, &phase, &least, &most);
    else
        phase = PhaseFromSource(p, SourceValue(p, control, t));
    EvaluatePanelNumerics(p->panel, t);  // the phase may have read numerics at other times
    double cycleTime = (phase * Number(p, kCycleLength)->current + Number(p, kCycleStart)->current) / FramesPerSecond();

    const int codes[] = {LWIP_POSITION, LWIP_ROTATION, LWIP_SCALING};
    Vec3 groups[3];
    for (int g = 0; g < 3; ++g) {
        bool any = false, all = true;
        for (int c = 0; c < 3; ++c) {
            bool on = On(p, kXChange + 3 * g + c);
            any = any || on;
            all = all && on;
        }
        Vec3 cycle{}, now{};
        if (any) access->getParam(codes[g], cycleTime, cycle.data());
        if (!all || k < 1) access->getParam(codes[g], t, now.data());
        for (int c = 0; c < 3; ++c) {
            if (!On(p, kXChange + 3 * g + c)) cycle[c] = now[c];
            if (k < 1) cycle[c] = cycle[c] * k + now[c] * (1 - k);
        }
        groups[g] = cycle;
    }
    for (int g = 0; g < 3; ++g) access->setParam(codes[g], groups[g].data());
}

const char *CycleDescribe(LWInstance instance) {
    PluginInstance *p = OpenSettings(instance);
    if (!p) return "Error!";
    const char *name = Work(p).member->name;
    bool throttle = Work(p).member->source == CycleSource::Throttle;
    if (On(p, kDisable))
        std::snprintf(p->description, sizeof p->description, "%s: Disabled", name);
    else if (throttle)
        std::snprintf(p->description, sizeof p->description, "%s", name);
    else if (LWItemID control = ControlObject(p, p->panel->ownerItem))
        std::snprintf(p->description, sizeof p->description, "%s: Controlled by %s", name, ItemName(control));
    else
        std::snprintf(p->description, sizeof p->description, "%s: No control item", name);
    return p->description;
}
