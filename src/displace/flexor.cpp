// Flexor: bends an object modelled straight along one of its axes so that its
// tip turns toward a guide item (a stem leaning to the sun, a lamp following a
// target). The part beyond the bending centre follows a circular arc in the
// plane of the axis and the guide; lengths along the axis are kept, each
// cross-section turns rigidly, and the bend angle is the angle to the guide,
// exaggerated, capped and faded.
#include <cmath>
#include <cstdio>

#include "controls/choice.h"
#include "controls/item.h"
#include "controls/numeric.h"
#include "controls/plugin_access.h"
#include "controls/plugin_instance.h"
#include "helpers/units.h"
#include "module/object_points.h"
#include "services/host_services.h"
#include "module/lifecycle.h"
#include "module/server_table.h"
#include "helpers/transform.h"

namespace {


// Table positions, which are also the creation (and save) order.
enum { kGuide, kAxis, kExaggeration, kCentre, kMaxBend, kStrength, kLength, kAim, kInteractive, kDisable, kControls };
enum { kParallel, kPointAtGuide };

const char *const kAxisChoices[] = {"Bend along +X", "Bend along -X", "Bend along +Y",
                                    "Bend along -Y", "Bend along +Z", "Bend along -Z", nullptr};
const char *const kAimChoices[] = {"Tip Parallel to Guide Line", "Tip Points at Guide", nullptr};

LWInstance Create(LWError *err, LWItemID item);

const ControlSpec kTable[kControls] = {
    {.key = "GUIDE", .kind = ControlSpecKind::Item, .x = 110, .y = 65, .label = "Guide Object", .flags = kGreyWhileDisabled},
    {.key = "AXIS", .kind = ControlSpecKind::Radio, .x = 60, .y = 100, .value = 2, .flags = kGreyWhileDisabled, .choices = kAxisChoices},
    {.key = "EXAGGERATION", .kind = ControlSpecKind::Percent, .x = 340, .y = 100, .label = "Exaggeration", .value = 1,
     .flags = kDragRange | kGreyWhileDisabled, .dragLow = -3, .dragHigh = 3},
    {.key = "CENTRE", .kind = ControlSpecKind::Percent, .x = 340, .y = 125, .label = "Bending Centre", .value = 0,
     .low = 0, .high = 1, .flags = kClipLow | kClipHigh | kGreyWhileDisabled},
    {.key = "MAXBEND", .kind = ControlSpecKind::Numeric, .x = 340, .y = 150, .label = "Maximum Bend (degrees)",
     .value = 180, .low = 0, .high = 360, .flags = kClipLow | kClipHigh | kDragRange | kGreyWhileDisabled, .dragLow = 0, .dragHigh = 360,
     .digits = 1, .dragStep = 0.5},
    {.key = "STRENGTH", .kind = ControlSpecKind::Percent, .x = 340, .y = 175, .label = "Strength", .value = 1,
     .low = 0, .high = 1, .flags = kClipLow | kClipHigh | kGreyWhileDisabled},
    {.key = "LENGTH", .kind = ControlSpecKind::Factor, .x = 340, .y = 200, .label = "Length (0 = from object)",
     .value = 0, .flags = kGreyWhileDisabled},
    {.key = "AIM", .kind = ControlSpecKind::Radio, .x = 250, .y = 222, .value = kParallel, .flags = kGreyWhileDisabled, .choices = kAimChoices},
    {.key = "INTERACTIVE", .kind = ControlSpecKind::Toggle, .x = 60, .y = 222, .label = "Interactive", .value = 1, .flags = kGreyWhileDisabled},
    {.key = "DISABLE", .kind = ControlSpecKind::Toggle, .x = 60, .y = 244, .label = "Disable All Effects", .value = 0,
     .changed = GreyWhileDisabled},
};

// The bend found at the last new time, in object coordinates.
struct Bend {
    ObjectExtentsCache extents;
    int active;
    Vec3 axis, across;   // a, and n in the bending plane toward the guide
    double start;        // s0: where bending begins along a
    double length;       // Lb: the bending zone's length
    double angle;        // theta, signed
    double radius;       // Rb = Lb / theta
};

const PanelSpec kPanel = {.title = "Flexor: Guided Bend", .shortName = "Flexor", .width = 480, .height = 270,
                          .create = Create, .destroy = SharedDestroy, .copy = SharedCopy, .afterLoad = GreyWhileDisabled,
                          .workBytes = sizeof(Bend)};

double Held(double v, double low, double high) { return v < low ? low : (v > high ? high : v); }
double Dot(const Vec3 &a, const Vec3 &b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
Vec3 Cross(const Vec3 &a, const Vec3 &b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

LWItemID Guide(PluginInstance *p) {
    ItemControl *c = Control<ItemControl>(p, kGuide);
    for (int i = 0; i < c->count; ++i)
        if (c->items[i]) return c->items[i];
    return LWITEM_NULL;
}

LWInstance Create(LWError *err, LWItemID item) {
    return BuildInstance(kPanel, kTable, kControls, item, err, ClassInfo(PluginClass::Displacement).createFailure);
}

// The axis, its length from the extents, and the bending direction used when
// the guide lies on the axis line (perpendicular to the axis).
struct AxisRow {
    Vec3 axis;
    int extent;
    double sign;
    Vec3 fallback;
};
const AxisRow kAxes[6] = {
    {{1, 0, 0}, kXMax, 1, {0, 1, 0}},  {{-1, 0, 0}, kXMin, -1, {0, 1, 0}}, {{0, 1, 0}, kYMax, 1, {0, 0, 1}},
    {{0, -1, 0}, kYMin, -1, {0, 0, 1}}, {{0, 0, 1}, kZMax, 1, {0, 1, 0}},  {{0, 0, -1}, kZMin, -1, {0, 1, 0}},
};

// The angle at which the tip's line passes through the guide (at da along the
// axis and dn across it from the bending centre), between the plain aim angle
// and straight back.
double AngleToAimTip(double aim, double length, double da, double dn) {
    auto miss = [&](double theta) {
        double along = theta == 0 ? length : length * std::sin(theta) / theta;
        double across = theta == 0 ? 0 : length * (1 - std::cos(theta)) / theta;
        return (da - along) * std::sin(theta) - (dn - across) * std::cos(theta);
    };
    if (miss(kPi) <= 0) return kPi;
    double low = aim, high = kPi;
    for (int i = 0; i < 60; ++i) {
        double mid = 0.5 * (low + high);
        (miss(mid) >= 0 ? high : low) = mid;
    }
    return 0.5 * (low + high);
}

LWError NewTime(LWInstance instance, LWItemID object, LWFrame, LWTime t) {
    PluginInstance *p = OpenEvaluation(instance, t, object);
    if (!p) return "Eeek, no inst at newtime";
    Bend &bend = *Work<Bend>(p);
    bend.active = 0;
    LWItemID guide = Guide(p);
    if (On(p, kDisable) || !guide) return nullptr;

    int choice = Selection(p, kAxis);
    const AxisRow &row = kAxes[choice < 0 || choice > 5 ? 2 : choice];
    double length = Number(p, kLength)->current;
    if (!(length > 0)) {
        double extents[6];
        if (!CachedObjectExtents(&bend.extents, object, extents)) return nullptr;
        length = row.sign * extents[row.extent];
    }
    if (length <= 1e-8) return nullptr;
    // The hold repeats the clipping: a missing reference item gives 0.0 unclipped.
    double start = Held(Number(p, kCentre)->current, 0, 1) * length;

    // The guide in object coordinates: the host's placement of object points,
    // W + (p - V) x (R, U, F), inverted.
    const LWItemInfo *info = hostServices.itemInfo;
    Vec3 world, right, up, forward, pivot, guideWorld;
    info->param(object, LWIP_W_POSITION, t, world.data());
    info->param(object, LWIP_RIGHT, t, right.data());
    info->param(object, LWIP_UP, t, up.data());
    info->param(object, LWIP_FORWARD, t, forward.data());
    info->param(object, LWIP_PIVOT, t, pivot.data());
    info->param(guide, LWIP_W_POSITION, t, guideWorld.data());
    double det = Dot(right, Cross(up, forward));
    if (std::fabs(det) < 1e-12) return nullptr;
    Vec3 q = {guideWorld[0] - world[0], guideWorld[1] - world[1], guideWorld[2] - world[2]};
    Vec3 local = {Dot(q, Cross(up, forward)) / det, Dot(q, Cross(forward, right)) / det, Dot(q, Cross(right, up)) / det};

    const Vec3 &a = row.axis;
    Vec3 d = {pivot[0] + local[0] - start * a[0], pivot[1] + local[1] - start * a[1], pivot[2] + local[2] - start * a[2]};
    double da = Dot(d, a);
    Vec3 dp = {d[0] - da * a[0], d[1] - da * a[1], d[2] - da * a[2]};
    double dn = std::sqrt(Dot(dp, dp)), dLength = std::sqrt(Dot(d, d));
    double aim = std::atan2(dn, da);
    bool offAxis = dn > 1e-9 * dLength;
    Vec3 n = offAxis ? Vec3{dp[0] / (dn + 1e-16), dp[1] / (dn + 1e-16), dp[2] / (dn + 1e-16)} : row.fallback;
    double zone = length - start;
    if (Selection(p, kAim) == kPointAtGuide && offAxis) aim = AngleToAimTip(aim, zone, da, dn);

    double most = Held(Number(p, kMaxBend)->current, 0, 360) * kRadiansPerDegree;
    double angle = Held(Number(p, kExaggeration)->current * aim, -most, most);
    angle *= Held(Number(p, kStrength)->current, 0, 1);
    if (std::fabs(angle) < 1e-12) return nullptr;

    bend.axis = a;
    bend.across = n;
    bend.start = start;
    bend.length = zone;
    bend.angle = angle;
    bend.radius = zone >= 1e-12 ? zone / angle : 0;
    bend.active = 1;
    return nullptr;
}

void Evaluate(LWInstance instance, DisplacementAccess *access) {
    if (!instance) return;
    const Bend &b = *Work<Bend>(static_cast<PluginInstance *>(instance));
    if (!b.active) return;
    Vec3 point = {access->source[0], access->source[1], access->source[2]};
    double s = Dot(point, b.axis), sigma = s - b.start;
    if (sigma <= 0) return;  // below the bending centre: rigid
    double w = Dot(point, b.across);
    Vec3 rest;  // across the bending plane: unchanged
    for (int i = 0; i < 3; ++i) rest[i] = point[i] - s * b.axis[i] - w * b.across[i];
    // A zone of no length is a hinge at the bending centre.
    double along = b.length >= 1e-12 ? (sigma < b.length ? sigma : b.length) : 0;
    double phi = b.length >= 1e-12 ? b.angle * along / b.length : b.angle;
    // 1 - cos(phi) as 2 sin^2(phi / 2) stays exact for tiny angles.
    double hs = std::sin(phi / 2), hc = std::cos(phi / 2);
    double sinPhi = 2 * hs * hc, cosPhi = 1 - 2 * hs * hs;
    double arcAlong = b.radius * sinPhi, arcAcross = 2 * b.radius * hs * hs;
    double beyond = sigma - along;  // past the zone: straight on along the tip
    double onAxis = b.start + arcAlong + beyond * cosPhi - w * sinPhi;
    double onAcross = arcAcross + beyond * sinPhi + w * cosPhi;
    for (int i = 0; i < 3; ++i) access->source[i] = rest[i] + onAxis * b.axis[i] + onAcross * b.across[i];
}

const char *Describe(LWInstance instance) {
    PluginInstance *p = OpenSettings(instance);
    if (!p) return "Error!";
    if (On(p, kDisable)) return "Flexor: Disabled";
    LWItemID guide = Guide(p);
    if (!guide) return "Flexor: No Guide";
    std::snprintf(p->description, sizeof p->description, "Flexor, guided by %s", ItemName(guide));
    return p->description;
}


const DisplacementHandler kHandler = DisplacementHandlerOf(Create, NewTime, Evaluate, SharedObjectDisplacementFlags, Describe, SharedOwnerItemsUsed);

}  // namespace

extern const PluginDef flexorPlugin = {"Flexor", PluginClass::Displacement, &kHandler};
