// Whip: an antenna or whip fixed at the item's pivot. The direction of its +Y
// axis is simulated as a damped pendulum on a spring, thrown about by the
// acceleration of its base, pulled down by gravity and dragged by the air,
// and written as the item's rotation. The simulation always runs from time 0,
// so any frame can be evaluated alone.
#include <cmath>
#include <initializer_list>

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
enum { kRestore, kGravity, kWind, kDamping, kLimit, kSensitivity, kQuality, kAxis, kInteractive, kDisable, kExportMotion,
       kControls };
enum { kXHinge, kZHinge, kWhip };

// Samples of the base: at most 1019 (and three beyond), 30 a second at 100%.
constexpr int kMostSamples = 1019, kScratch = 1024;
constexpr double kGravityConstant = 9.8;

const char *const kAxisChoices[] = {"X-only hinge", "Z-only hinge", "X+Z antenna whip", nullptr};

LWInstance Create(LWError *err, LWItemID item);

constexpr ControlSpec Share(const char *key, int y, const char *label, double value, bool capped = true) {
    return {.key = key, .kind = ControlSpecKind::Percent, .x = 150, .y = y, .label = label, .value = value, .low = 0,
            .high = 1, .flags = kClipLow | (capped ? unsigned{kClipHigh} : 0u) | (capped ? 0u : unsigned{kDragFromLow}) |
                                kNotAnimatable | kGreyWhileDisabled};
}

const ControlSpec kTable[kControls] = {
    Share("RESTORE", 60, "Restoration Strength", 0.5),
    Share("GRAVITY", 90, "Gravity", 0.5),
    Share("WIND", 120, "Wind Friction", 0.5),
    Share("DAMPING", 150, "Damping", 0.2),
    Share("LIMIT", 180, "Rotation Limit", 0),
    Share("SENSITIVITY", 210, "Motion Sensitivity", 0.5, false),
    Share("QUALITY", 240, "Simulation Quality", 0.5),
    {.key = "AXIS", .kind = ControlSpecKind::Radio, .x = 420, .y = 75, .value = kWhip, .flags = kGreyWhileDisabled, .choices = kAxisChoices},
    {.key = "INTERACTIVE", .kind = ControlSpecKind::Toggle, .x = 400, .y = 150, .label = "Interactive", .value = 1, .flags = kGreyWhileDisabled},
    {.key = "DISABLE", .kind = ControlSpecKind::Toggle, .x = 400, .y = 175, .label = "Disable All Effects", .value = 0,
     .changed = GreyWhileDisabled},
    {.key = "MB", .kind = ControlSpecKind::ExportMotion, .x = 350, .y = 238},
};

// Working storage of one evaluation, kept with the instance so that nothing
// is allocated per evaluation: the base's positions, up directions,
// velocities and accelerations.
struct Samples {
    Vec3 position[kScratch], up[kScratch], velocity[kScratch], acceleration[kScratch];
};

const PanelSpec kPanel = {.title = "Antenna Whip", .shortName = "Whip", .width = 500, .height = 300,
                          .create = Create, .destroy = SharedDestroy, .copy = SharedCopy, .afterLoad = GreyWhileDisabled,
                          .workBytes = sizeof(Samples)};


LWInstance Create(LWError *err, LWItemID item) {
    return BuildInstance(kPanel, kTable, kControls, item, err, ClassInfo(PluginClass::ItemMotion).createFailure);
}

// Keeps a hinge's antenna in its plane: X-only swings in X-Y (no Z), Z-only
// in Y-Z (no X).
void Hinge(int axis, Vec3 *v) {
    if (axis == kXHinge) (*v)[2] = 0;
    if (axis == kZHinge) (*v)[0] = 0;
}

void Evaluate(LWInstance instance, const ItemMotionAccess *access) {
    PluginInstance *p = OpenEvaluation(instance, access->time, access->item);
    if (!p) return;
    const double t = access->time;
    const LWItemID item = access->item;
    if (On(p, kDisable) || t <= 0) return;
    LWItemID parent = hostServices.itemInfo->parent(item);
    int axis = Selection(p, kAxis);

    // The count is quality x t x 30 truncated, and that product often lands on
    // a whole number (100 % at frame 4 of 24 fps is 5). Rounded to a double
    // (SSE) or kept in the x87's longer register, it can fall a hair either
    // side of it; the allowance makes both the whole number it is meant to be.
    double wanted = Current(p, kQuality) * t * 30;
    wanted += 1e-9 * (1 + std::fabs(wanted));
    int n = wanted > kMostSamples ? kMostSamples : wanted < 0 ? 0 : static_cast<int>(wanted);
    if (n <= 3) n = 3;
    if (n > kMostSamples - 1) n = kMostSamples;
    const double h = t / (n - 1);
    Samples &s = *Work<Samples>(p);
    for (int j = 0; j < n + 3; ++j) {
        hostServices.itemInfo->param(item, LWIP_W_POSITION, j * h, s.position[j].data());
        hostServices.itemInfo->param(item, LWIP_UP, j * h, s.up[j].data());
        s.up[j] = Normalised(s.up[j]);
    }
    for (int j = 0; j <= n + 1; ++j)
        for (int c = 0; c < 3; ++c) s.velocity[j][c] = (s.position[j + 1][c] - s.position[j][c]) / h;
    for (int j = 0; j <= n; ++j)
        for (int c = 0; c < 3; ++c) s.acceleration[j][c] = (s.velocity[j + 1][c] - s.velocity[j][c]) / h;

    Vec3 d = s.up[0], w = {0, 0, 0};
    if (axis == kXHinge || axis == kZHinge) {
        Hinge(axis, &d);
        d = Normalised(d);
    }
    const double dt = t / ((n - 1) * 4.0);
    const double restore = Current(p, kRestore), gravity = Current(p, kGravity), sensitivity = Current(p, kSensitivity);
    const double damping = Current(p, kDamping), lowest = 2 * Current(p, kLimit) - 1;
    const double decay = std::exp(-(damping * damping + 0.1) * dt);
    const double wind = Current(p, kWind) * sensitivity * 0.1, inertia = dt * sensitivity;
    for (int k = 0; k < n; ++k) {
        for (int sub = 0; sub < 4; ++sub) {
            // Turn the antenna and its velocity by the velocity's rotation: the
            // quaternion's matrix applied to them as columns, which moves the
            // tip along W (so the spring restores and a sudden start throws the
            // tip back).
            Vec3 spin = Cross(w, d);
            double speed = std::sqrt(Dot(w, w)), angle = speed * dt, spinLength = std::sqrt(Dot(spin, spin)) + 1e-17;
            double half = std::cos(angle / 2), sine = std::sqrt(std::fmax(0.0, 1 - half * half));
            Quaternion q{half, sine * spin[0] / spinLength, sine * spin[1] / spinLength, sine * spin[2] / spinLength};
            Mat3 turn = QuaternionRows(q);
            auto rotate = [&](const Vec3 &v) { return Vec3{Dot(turn[0], v), Dot(turn[1], v), Dot(turn[2], v)}; };
            Vec3 turned = rotate(d), carried = rotate(w);
            // The base's acceleration at the sub-step, leaning towards the later
            // sample at the interval's start, as it always has.
            Vec3 a;
            for (int c = 0; c < 3; ++c)
                a[c] = ((3.5 - sub) * s.acceleration[k + 1][c] + (sub + 0.5) * s.acceleration[k][c]) * 0.25;
            for (int c = 0; c < 3; ++c) w[c] = decay * (carried[c] - inertia * a[c]) - wind * s.velocity[k][c];
            // Gravity pulls hardest when the antenna lies flat.
            w[1] -= std::sqrt(std::fmax(0.0, 1 - turned[1] * turned[1])) * gravity * dt * kGravityConstant;
            // The spring back towards the base's up direction.
            double c = Dot(turned, s.up[k]);
            c = c < -1 ? -1 : (c > 1 ? 1 : c);
            Vec3 across = {s.up[k][0] - c * turned[0], s.up[k][1] - c * turned[1], s.up[k][2] - c * turned[2]};
            double pull = std::acos(c) * restore * dt * 20 / (std::sqrt(Dot(across, across)) + 1e-5);
            for (int i = 0; i < 3; ++i) w[i] += across[i] * pull;
            if (turned[1] < lowest) w[1] = 0, turned[1] = lowest;
            Hinge(axis, &w);
            Hinge(axis, &turned);
            d = Normalised(turned);
            double along = Dot(w, d);
            for (int i = 0; i < 3; ++i) w[i] -= along * d[i];
        }
    }

    // Into the parent's frame, then the turn that takes +Y onto it.
    if (parent) d = RotateDirection(Inverse(ItemWorldTransform(parent, t)), d);
    Vec3 hpb = AxisToDirection({0, 1, 0}, Normalised(d), 0);
    double position[3], scale[3];
    access->getParam(LWIP_POSITION, t, position);
    access->getParam(LWIP_SCALING, t, scale);
    access->setParam(LWIP_POSITION, position);
    access->setParam(LWIP_SCALING, scale);
    access->setParam(LWIP_ROTATION, hpb.data());
}

const char *Describe(LWInstance instance) { return SharedDescription(instance, "Whip", "Whip: Disabled"); }


const ItemMotionHandler kHandler = MotionHandlerOf(Create, Evaluate, Describe);

}  // namespace

extern const PluginDef whipPlugin = {"Whip", PluginClass::ItemMotion, &kHandler};
