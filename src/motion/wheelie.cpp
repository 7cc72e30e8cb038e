// Wheelie: rolls a wheel. The object turns about one of its rotation channels
// by exactly the angle that rolls it without slipping over the distance it has
// travelled along one axis, in the world or along its parent's axis (a wheel
// on a car). The radius is measured from the object's own points.
#include <cmath>
#include <initializer_list>

#include "controls/choice.h"
#include "controls/numeric.h"
#include "controls/plugin_access.h"
#include "controls/plugin_instance.h"
#include "services/host_services.h"
#include "module/lifecycle.h"
#include "module/object_points.h"
#include "module/server_table.h"

namespace {

// Table positions, which are also the creation (and save) order.
enum { kAxis, kMove, kRate, kInteractive, kDisable, kExportMotion, kControls };
enum { kHeading, kPitch, kBank };
constexpr double kStep = 0.0125;  // 80 steps a second

const char *const kAxisChoices[] = {"Forward Rotate Heading",  "Forward Rotate Pitch",  "Forward Rotate Bank",
                                    "Backward Rotate Heading", "Backward Rotate Pitch", "Backward Rotate Bank", nullptr};
const char *const kMoveChoices[] = {"Base on X movement", "Base on Y movement", "Base on Z movement", nullptr};

LWInstance Create(LWError *err, LWItemID item);
// The fields beside the choices need the room right of them.

const ControlSpec kTable[kControls] = {
    {.key = "AXIS", .kind = ControlSpecKind::Radio, .x = 178, .y = 55, .value = 2, .flags = kGreyWhileDisabled, .choices = kAxisChoices,
     .changed = GreyWhileDisabled, .setup = RadioLabelsLeft},
    {.key = "Move", .kind = ControlSpecKind::Radio, .x = 420, .y = 55, .value = 0, .flags = kGreyWhileDisabled, .choices = kMoveChoices},
    {.key = "RATE", .kind = ControlSpecKind::Percent, .x = 325, .y = 129, .label = "Rotation Rate", .value = 1,
     .flags = kDragFree | kGreyWhileDisabled},
    {.key = "INTERACTIVE", .kind = ControlSpecKind::Toggle, .x = 422, .y = 158, .label = "Interactive", .value = 1, .flags = kGreyWhileDisabled},
    {.key = "DISABLE", .kind = ControlSpecKind::Toggle, .x = 422, .y = 178, .label = "Disable", .value = 0,
     .changed = GreyWhileDisabled},
    {.key = "MB", .kind = ControlSpecKind::ExportMotion, .x = 60, .y = 170},
};

// The radii of the object last measured: the largest distance of a point
// from its Z, Y and X axes.
struct Radii {
    int measured;
    LWItemID item;
    double xy, xz, yz;
};

const PanelSpec kPanel = {.title = "Wheelie!", .shortName = "Wheelie!", .width = 500, .height = 230, .create = Create,
                          .destroy = SharedDestroy, .copy = SharedCopy, .afterLoad = GreyWhileDisabled,
                          .workBytes = sizeof(Radii)};


LWInstance Create(LWError *err, LWItemID item) {
    return BuildInstance(kPanel, kTable, kControls, item, err, ClassInfo(PluginClass::ItemMotion).createFailure);
}

void Param(LWItemID item, int code, double time, double v[3]) { hostServices.itemInfo->param(item, code, time, v); }
double Squared(const double v[3]) { return v[0] * v[0] + v[1] * v[1] + v[2] * v[2]; }

// The scale enters once, not squared, as it always has.
void Measure(Radii *r, LWItemID item) {
    struct Reach {
        double scale[3];
        double xy, xz, yz;
    } reach{{1, 1, 1}, 0, 0, 0};
    Param(item, LWIP_SCALING, 0, reach.scale);
    if (hostServices.itemInfo->type(item) == LWI_OBJECT)
        ReadObjectPoints(hostServices.objectInfo->filename(item), [](void *data, const double p[3]) {
            Reach *m = static_cast<Reach *>(data);
            double x = m->scale[0] * p[0] * p[0], y = m->scale[1] * p[1] * p[1], z = m->scale[2] * p[2] * p[2];
            m->xy = std::fmax(m->xy, x + y);
            m->xz = std::fmax(m->xz, x + z);
            m->yz = std::fmax(m->yz, y + z);
        }, &reach);
    *r = {1, item, std::sqrt(reach.xy), std::sqrt(reach.xz), std::sqrt(reach.yz)};
}

void Evaluate(LWInstance instance, const ItemMotionAccess *access) {
    PluginInstance *p = OpenEvaluation(instance, access->time, access->item);
    if (!p) return;
    const double t = access->time;
    const LWItemID item = access->item;
    if (On(p, kDisable)) return;
    Radii &radii = *Work<Radii>(p);
    if (!radii.measured || radii.item != item) Measure(&radii, item);

    // The parent's mean squared scale at time 0.
    LWItemID parent = hostServices.itemInfo->parent(item);
    double k = 1, v[3];
    if (parent) {
        k = 0;
        for (int code : {LWIP_RIGHT, LWIP_UP, LWIP_FORWARD}) Param(parent, code, 0, v), k += Squared(v);
        k /= 3;
    }
    double s[3];
    Param(item, LWIP_SCALING, 0, s);
    // Pitch takes its radius from the X-Y extent and bank from the Y-Z extent
    // while their scales follow their own planes, as they always have.
    int axis = Selection(p, kAxis);
    axis = axis < 0 || axis > 5 ? 2 : axis;
    double radius = axis % 3 == kHeading ? std::sqrt((s[0] * s[0] + s[2] * s[2]) * k * 0.5) * radii.xz
                    : axis % 3 == kPitch ? std::sqrt((s[2] * s[2] + s[1] * s[1]) * k * 0.5) * radii.xy
                                         : std::sqrt((s[0] * s[0] + s[1] * s[1]) * k * 0.5) * radii.yz;
    if (radius <= 0) return;
    if (axis >= 3) radius = -radius;

    int move = Selection(p, kMove);
    move = move < 0 || move > 2 ? 0 : move;
    NumericControl *rate = Number(p, kRate);
    double travelled = 0, from[3], to[3];
    Param(item, LWIP_W_POSITION, 0, from);
    for (double tau = 0; tau < t;) {
        tau += kStep;  // the last step may pass t
        Param(item, LWIP_W_POSITION, tau, to);
        double d[3] = {from[0] - to[0], from[1] - to[1], from[2] - to[2]};
        double r = EvaluateNumeric(rate, tau - kStep / 2), along;
        if (!parent) {
            along = d[move] * r;
        } else {
            Param(parent, LWIP_RIGHT + move, tau - kStep / 2, v);
            double length = std::sqrt(Squared(v)) + 1e-16;
            along = (v[0] * d[0] + v[1] * d[1] + v[2] * d[2]) / length * r;
        }
        travelled -= along;
        for (int c = 0; c < 3; ++c) from[c] = to[c];
    }
    EvaluatePanelNumerics(p->panel, t);

    // The keyed rotation and scale after time 0 are not used, as always.
    double position[3], scale[3], rotation[3];
    access->getParam(LWIP_POSITION, t, position);
    access->getParam(LWIP_SCALING, 0, scale);
    access->getParam(LWIP_ROTATION, 0, rotation);
    rotation[axis % 3] += travelled / radius;
    access->setParam(LWIP_ROTATION, rotation);
    access->setParam(LWIP_SCALING, scale);
    access->setParam(LWIP_POSITION, position);
}

const char *Describe(LWInstance instance) { return SharedDescription(instance, "Wheelie", "Wheelie: Disabled"); }


const ItemMotionHandler kHandler = MotionHandlerOf(Create, Evaluate, Describe);

}  // namespace

extern const PluginDef wheeliePlugin = {"Wheelie", PluginClass::ItemMotion, &kHandler};
