// Track: turns the item so that one of its axes points at a target item,
// optionally with a time delay, a partial strength, and heading and pitch
// limits for the Z-axis choices.
#include <cmath>
#include <cstdio>

#include "controls/choice.h"
#include "controls/item.h"
#include "controls/numeric.h"
#include "controls/plugin_access.h"
#include "controls/plugin_instance.h"
#include "controls/static_controls.h"
#include "helpers/units.h"
#include "services/host_services.h"
#include "module/lifecycle.h"
#include "module/server_table.h"
#include "helpers/transform.h"

namespace {


// Table positions, which are also the creation (and save) order.
enum { kAxis, kTrackItem, kDelay, kStrength, kMinH, kMaxH, kMinP, kMaxP, kInteractive, kDisable, kExportMotion, kControls };
enum { kPlusX, kMinusX, kPlusY, kMinusY, kPlusZ, kMinusZ };

const char *const kAxisChoices[] = {"Track with +X", "Track with -X", "Track with +Y",
                                    "Track with -Y", "Track with +Z", "Track with -Z", nullptr};

void Reghost(PluginInstance *instance);

// Delays and angles: typed freely, dragged three times faster, one decimal.

LWInstance Create(LWError *err, LWItemID item);

const ControlSpec kTable[kControls] = {
    {.key = "AXIS", .kind = ControlSpecKind::Radio, .x = 95, .y = 65, .value = kPlusZ, .choices = kAxisChoices,
     .changed = Reghost},
    {.key = "TRACKITEM", .kind = ControlSpecKind::Item, .x = 205, .y = 70, .label = "Target"},
    {.key = "DELAY", .kind = ControlSpecKind::Numeric, .x = 300, .y = 107, .label = "Time Delay (frames)", .value = 0,
     .flags = kDragFree, .digits = 1, .dragStep = 0.05 * 3},
    {.key = "STRENGTH", .kind = ControlSpecKind::Percent, .x = 300, .y = 132, .label = "Tracking Strength", .value = 1,
     .low = 0, .high = 1, .flags = kClipLow | kClipHigh},
    {.key = "MINH", .kind = ControlSpecKind::Numeric, .x = 300, .y = 165, .label = "Minimum Heading", .value = -180,
     .flags = kDragFree, .digits = 1, .dragStep = 0.05 * 3},
    {.key = "MAXH", .kind = ControlSpecKind::Numeric, .x = 300, .y = 190, .label = "Maximum Heading", .value = 180,
     .flags = kDragFree, .digits = 1, .dragStep = 0.05 * 3},
    {.key = "MINP", .kind = ControlSpecKind::Numeric, .x = 300, .y = 215, .label = "Minimum Pitch", .value = -90,
     .flags = kDragFree, .digits = 1, .dragStep = 0.05 * 3},
    {.key = "MAXP", .kind = ControlSpecKind::Numeric, .x = 300, .y = 240, .label = "Maximum Pitch", .value = 90,
     .flags = kDragFree, .digits = 1, .dragStep = 0.05 * 3},
    {.key = "INTERACTIVE", .kind = ControlSpecKind::Toggle, .x = 95, .y = 195, .label = "Interactive", .value = 1},
    {.key = "DISABLE", .kind = ControlSpecKind::Toggle, .x = 95, .y = 220, .label = "Disable", .value = 0,
     .changed = Reghost},
    {.key = "MB", .kind = ControlSpecKind::ExportMotion, .x = 30, .y = 250},
};

// The description line names the target, whose name may be longer than the
// instance's own description holds.
struct DescriptionLine {
    char text[300];
};

const PanelSpec kPanel = {.title = "Tracking Control", .shortName = "Track", .width = 448, .height = 310,
                          .create = Create, .destroy = SharedDestroy, .copy = SharedCopy, .afterLoad = Reghost,
                          .workBytes = sizeof(DescriptionLine)};

ControlRecord *Record(PluginInstance *p, int i) { return static_cast<ControlRecord *>(p->controls[i]); }
LWItemID Target(PluginInstance *p) {
    ItemControl *c = Control<ItemControl>(p, kTrackItem);
    return c->count > 0 ? c->items[0] : LWITEM_NULL;
}

LWInstance Create(LWError *err, LWItemID item) {
    return BuildInstance(kPanel, kTable, kControls, item, err, ClassInfo(PluginClass::ItemMotion).createFailure);
}

void Reghost(PluginInstance *p) {
    const int limits[] = {kMinH, kMaxH, kMinP, kMaxP};
    const int others[] = {kStrength, kDelay, kInteractive, kAxis, kTrackItem};
    bool disabled = On(p, kDisable);
    int axis = Selection(p, kAxis);
    bool zAxis = axis == kPlusZ || axis == kMinusZ;
    for (int i : limits) GhostControl(Record(p, i), disabled || !zAxis);
    for (int i : others) GhostControl(Record(p, i), disabled);
}

// Clamps to [low, high]; when low exceeds high, high wins.
double Limit(double v, double lowDegrees, double highDegrees) {
    if (v <= lowDegrees * kRadiansPerDegree) v = lowDegrees * kRadiansPerDegree;
    if (v >= highDegrees * kRadiansPerDegree) v = highDegrees * kRadiansPerDegree;
    return v;
}

void Evaluate(LWInstance instance, const ItemMotionAccess *access) {
    PluginInstance *p = OpenEvaluation(instance, access->time, access->item);
    if (!p) return;
    auto *scene = static_cast<const LWSceneInfo *>(hostServices.global(LWSERVICE_SCENE_INFO, GFUSE_TRANSIENT));
    LWItemID target = Target(p);
    if (!target || On(p, kDisable) || !scene) return;

    double delay = Number(p, kDelay)->current / scene->framesPerSecond;
    Transform toParent = Inverse(ItemWorldTransform(hostServices.itemInfo->parent(access->item), access->time));
    Vec3 worldTarget, worldSelf;
    hostServices.itemInfo->param(target, LWIP_W_POSITION, access->time - delay, worldTarget.data());
    hostServices.itemInfo->param(access->item, LWIP_W_POSITION, access->time, worldSelf.data());
    Vec3 t = Apply(toParent, worldTarget), s = Apply(toParent, worldSelf);
    Vec3 d = Normalised({t[0] - s[0], t[1] - s[1], t[2] - s[2]});

    Vec3 own;
    access->getParam(LWIP_ROTATION, access->time, own.data());
    int axis = Selection(p, kAxis);
    double strength = Number(p, kStrength)->current;
    if (strength < 1.0) {
        Vec3 row = RotationRows(own)[axis < 0 || axis > 5 ? 2 : axis / 2];
        double sign = axis % 2 ? -1 : 1;
        for (int i = 0; i < 3; ++i) d[i] = d[i] * strength + (1 - strength) * sign * row[i];
        d = Normalised(d);
    }

    Vec3 hpb;
    if (axis >= kPlusX && axis <= kMinusY) {
        static const Vec3 axes[] = {{1, 0, 0}, {-1, 0, 0}, {0, 1, 0}, {0, -1, 0}};
        hpb = AxisToDirection(axes[axis], d, 0);
    } else {
        double sign = axis == kMinusZ ? -1 : 1;
        double heading = std::atan2(sign * d[0], sign * d[2]);
        double pitch = -std::asin(sign * d[1] > 1 ? 1 : (sign * d[1] < -1 ? -1 : sign * d[1]));
        heading = Limit(heading, Number(p, kMinH)->current, Number(p, kMaxH)->current);
        pitch = Limit(pitch, Number(p, kMinP)->current, Number(p, kMaxP)->current);
        hpb = {heading, pitch, own[2]};
    }
    access->setParam(LWIP_ROTATION, hpb.data());
}

const char *Describe(LWInstance instance) {
    PluginInstance *p = OpenSettings(instance);
    if (!p) return "Error!";
    if (On(p, kDisable)) return "Track: Disabled";
    LWItemID target = Target(p);
    if (!target) return "Track (no target!)";
    char *line = Work<DescriptionLine>(p)->text;
    std::snprintf(line, sizeof DescriptionLine::text, "Tracking %s", ItemName(target));
    return line;
}


const ItemMotionHandler kHandler = MotionHandlerOf(Create, Evaluate, Describe);

}  // namespace

extern const PluginDef trackPlugin = {"Track", PluginClass::ItemMotion, &kHandler};
