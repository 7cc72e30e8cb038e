// PathAlign: turns an item so that one of its axes points along its path: a
// weighted mix of its world velocity, its world acceleration (so it banks
// into curves) and its own keyed axis. An item that has come to rest keeps the
// direction of its last motion.
#include <cmath>

#include "controls/choice.h"
#include "controls/numeric.h"
#include "controls/plugin_access.h"
#include "controls/plugin_instance.h"
#include "services/host_services.h"
#include "module/lifecycle.h"
#include "module/server_table.h"
#include "helpers/transform.h"

namespace {

// Table positions, which are also the creation (and save) order.
enum { kAxis, kVel, kAccel, kLookahead, kInteractive, kDisable, kExportMotion, kControls };

// Below this squared speed (or acceleration) the item counts as still.
constexpr double kStill = 1e-5;

const char *const kAxisChoices[] = {"Align +X axis", "Align -X axis", "Align +Y axis",
                                    "Align -Y axis", "Align +Z axis", "Align -Z axis", nullptr};

LWInstance Create(LWError *err, LWItemID item);
// The weights' labels need the room right of the choices.

const ControlSpec kTable[kControls] = {
    {.key = "AXIS", .kind = ControlSpecKind::Radio, .x = 100, .y = 65, .value = 4, .flags = kGreyWhileDisabled, .choices = kAxisChoices,
     .setup = RadioLabelsLeft},
    {.key = "VEL", .kind = ControlSpecKind::Percent, .x = 270, .y = 65, .label = "Align to Velocity", .value = 1, .flags = kGreyWhileDisabled},
    {.key = "ACCEL", .kind = ControlSpecKind::Percent, .x = 270, .y = 90, .label = "Align to Acceleration", .value = 0, .flags = kGreyWhileDisabled},
    {.key = "LOOKAHEAD", .kind = ControlSpecKind::Integer, .x = 270, .y = 115, .label = "Lookahead (frames)", .value = 2, .flags = kGreyWhileDisabled},
    {.key = "INTERACTIVE", .kind = ControlSpecKind::Toggle, .x = 350, .y = 150, .label = "Interactive", .value = 1, .flags = kGreyWhileDisabled},
    {.key = "DISABLE", .kind = ControlSpecKind::Toggle, .x = 350, .y = 175, .label = "Disable", .value = 0,
     .changed = GreyWhileDisabled},
    {.key = "MB", .kind = ControlSpecKind::ExportMotion, .x = 150, .y = 160},
};

const PanelSpec kPanel = {.title = "PathAlign", .shortName = "PathAlign", .width = 400, .height = 230, .create = Create,
                          .destroy = SharedDestroy, .copy = SharedCopy, .afterLoad = GreyWhileDisabled};


LWInstance Create(LWError *err, LWItemID item) {
    return BuildInstance(kPanel, kTable, kControls, item, err, ClassInfo(PluginClass::ItemMotion).createFailure);
}

Vec3 WorldPosition(LWItemID item, double time) {
    Vec3 v;
    hostServices.itemInfo->param(item, LWIP_W_POSITION, time, v.data());
    return v;
}

// The item's own direction for the chosen axis (right, up or forward), signed.
Vec3 OwnAxis(LWItemID item, int axis, double time) {
    Vec3 v;
    hostServices.itemInfo->param(item, LWIP_RIGHT + axis / 2, time, v.data());
    if (axis % 2) v = {-v[0], -v[1], -v[2]};
    return v;
}

// Searches back a frame at a time from t for motion: the span L starts half
// its length before the time searched (never before 0) and `measure` returns
// the velocity or acceleration over it.
template <typename Measure>
Vec3 LastMotion(double t, double fps, double span, Measure measure) {
    Vec3 v{};
    for (double tau = t;;) {
        double start = tau - span / 2;
        if (!(start > 0)) start = 0;
        v = measure(start);
        tau -= 1 / fps;
        if (tau < 0 || Dot(v, v) >= kStill) break;
    }
    return v;
}

void Evaluate(LWInstance instance, const ItemMotionAccess *access) {
    PluginInstance *p = OpenEvaluation(instance, access->time, access->item);
    if (!p) return;
    const double t = access->time;
    const LWItemID item = access->item;
    if (On(p, kDisable)) return;
    auto *scene = static_cast<const LWSceneInfo *>(hostServices.global(LWSERVICE_SCENE_INFO, GFUSE_TRANSIENT));
    if (!scene || scene->framesPerSecond <= 0) return;
    const double fps = scene->framesPerSecond, span = Current(p, kLookahead) / fps;
    int axis = Selection(p, kAxis);
    axis = axis < 0 || axis > 5 ? 4 : axis;

    Vec3 rotation, scale, position;
    access->getParam(LWIP_ROTATION, t, rotation.data());
    access->getParam(LWIP_SCALING, t, scale.data());
    access->getParam(LWIP_POSITION, t, position.data());

    Vec3 velocity = LastMotion(t, fps, span, [&](double start) {
        Vec3 a = WorldPosition(item, start), b = WorldPosition(item, start + span);
        return Vec3{(b[0] - a[0]) / span, (b[1] - a[1]) / span, (b[2] - a[2]) / span};
    });
    if (Dot(velocity, velocity) < kStill) velocity = OwnAxis(item, axis, 0);  // it has never moved
    Vec3 acceleration = LastMotion(t, fps, span, [&](double start) {
        Vec3 a = WorldPosition(item, start), b = WorldPosition(item, start + span / 2), c = WorldPosition(item, start + span);
        return Vec3{(a[0] + c[0] - 2 * b[0]) / (span * span), (a[1] + c[1] - 2 * b[1]) / (span * span),
                    (a[2] + c[2] - 2 * b[2]) / (span * span)};
    });
    if (Dot(acceleration, acceleration) < kStill) acceleration = OwnAxis(item, axis, 0);
    Vec3 own = OwnAxis(item, axis, t);

    velocity = Normalised(velocity), acceleration = Normalised(acceleration), own = Normalised(own);
    double wv = Current(p, kVel), wa = Current(p, kAccel), wb = std::fmax(0.0, 1 - std::fabs(wv) - std::fabs(wa));
    Vec3 d;
    for (int c = 0; c < 3; ++c) d[c] = wv * velocity[c] + wb * own[c] + wa * acceleration[c];
    d = Normalised(d);
    LWItemID parent = hostServices.itemInfo->parent(item);
    if (parent) d = Normalised(RotateDirection(Inverse(ItemWorldTransform(parent, t)), d));

    // The least turn from where the axis points now onto d, so that the twist
    // about d is the item's own.
    Mat3 rows = RotationRows(rotation);
    Vec3 now = rows[axis / 2];
    if (axis % 2) now = {-now[0], -now[1], -now[2]};
    Vec3 hinge = Cross(now, d);
    double sine = std::sqrt(Dot(hinge, hinge)), cosine = Dot(now, d);
    if (sine > 1e-12 || cosine < 0) {
        Vec3 about = sine > 1e-12 ? hinge : Cross(now, std::fabs(now[0]) < 0.9 ? Vec3{1, 0, 0} : Vec3{0, 1, 0});
        Mat3 turn = QuaternionRows(AxisAngle(Normalised(about), std::atan2(sine, cosine)));
        Mat3 turned;
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                turned[i][j] = rows[i][0] * turn[0][j] + rows[i][1] * turn[1][j] + rows[i][2] * turn[2][j];
        rotation = RowsToHpb(turned);
    }
    access->setParam(LWIP_POSITION, position.data());
    access->setParam(LWIP_ROTATION, rotation.data());
    access->setParam(LWIP_SCALING, scale.data());
}

const char *Describe(LWInstance instance) { return SharedDescription(instance, "PathAlign", "PathAlign: Disabled"); }


const ItemMotionHandler kHandler = MotionHandlerOf(Create, Evaluate, Describe);

}  // namespace

extern const PluginDef pathAlignPlugin = {"PathAlign", PluginClass::ItemMotion, &kHandler};
