// Speedlimit: the item chases its own keyed motion at a limited speed. It
// follows its keys while they move slowly enough and lags behind, moving at
// the limit, when they move faster: per channel or by absolute speed for
// position, per channel for rotation. Every evaluation chases from time 0.
#include <cmath>
#include <initializer_list>

#include "controls/choice.h"
#include "controls/numeric.h"
#include "controls/plugin_access.h"
#include "controls/plugin_instance.h"
#include "module/lifecycle.h"
#include "module/server_table.h"

namespace {

// Table positions, which are also the creation (and save) order.
enum { kVel, kRot, kX, kY, kZ, kV, kH, kP, kB, kInteractive, kDisable, kExportMotion, kControls };
enum { kChannelLimit, kAbsoluteLimit, kNoLimit };
constexpr double kStep = 0.01;  // seconds
// A rotation limit in degrees per second lets a channel turn twice as far:
// two degrees in radians per unit, as it always has.
constexpr double kRotationFactor = 0.03490658503988659;

const char *const kVelChoices[] = {"Channel  Speed Limit", "Absolute Speed Limit", "No Speed Limit", nullptr};
const char *const kRotChoices[] = {"Channel  Speed Limit", "No Speed Limit", nullptr};

void Reghost(PluginInstance *p);
LWInstance Create(LWError *err, LWItemID item);
// The limits' labels need the room right of the choices.

constexpr ControlSpec Limit(const char *key, int y, const char *label, double value) {
    return {.key = key, .kind = ControlSpecKind::Numeric, .x = 350, .y = y, .label = label, .value = value, .low = 0,
            .flags = kClipLow | kDragFromLow};
}

const ControlSpec kTable[kControls] = {
    {.key = "VEL", .kind = ControlSpecKind::Radio, .x = 140, .y = 85, .value = kNoLimit, .choices = kVelChoices,
     .changed = Reghost, .setup = RadioLabelsLeft},
    {.key = "ROT", .kind = ControlSpecKind::Radio, .x = 140, .y = 185, .value = 1, .choices = kRotChoices,
     .changed = Reghost, .setup = RadioLabelsLeft},
    Limit("X", 65, "X speed limit (m/s)", 10),
    Limit("Y", 88, "Y speed limit (m/s)", 10),
    Limit("Z", 110, "Z speed limit (m/s)", 10),
    Limit("V", 134, "Speed limit (m/s)", 10),
    Limit("H", 170, "Heading speed limit (deg/s)", 90),
    Limit("P", 192, "Pitch speed limit (deg/s)", 90),
    Limit("B", 214, "Bank speed limit (deg/s)", 90),
    {.key = "INTERACTIVE", .kind = ControlSpecKind::Toggle, .x = 150, .y = 249, .label = "Interactive Layout Update",
     .value = 1},
    {.key = "DISABLE", .kind = ControlSpecKind::Toggle, .x = 150, .y = 270, .label = "Disable All Effects", .value = 0,
     .changed = Reghost},
    {.key = "MB", .kind = ControlSpecKind::ExportMotion, .x = 350, .y = 267},
};

const PanelSpec kPanel = {.title = "Speedlimit", .shortName = "Speedlimit", .width = 500, .height = 325,
                          .create = Create, .destroy = SharedDestroy, .copy = SharedCopy, .afterLoad = Reghost};


LWInstance Create(LWError *err, LWItemID item) {
    return BuildInstance(kPanel, kTable, kControls, item, err, ClassInfo(PluginClass::ItemMotion).createFailure);
}

// Greys the limits the chosen modes do not use, and everything when disabled.
void Reghost(PluginInstance *p) {
    bool off = On(p, kDisable);
    int vel = Selection(p, kVel), rot = Selection(p, kRot);
    for (int i : {kX, kY, kZ}) GhostControl(static_cast<ControlRecord *>(p->controls[i]), off || vel != kChannelLimit);
    GhostControl(static_cast<ControlRecord *>(p->controls[kV]), off || vel != kAbsoluteLimit);
    for (int i : {kH, kP, kB}) GhostControl(static_cast<ControlRecord *>(p->controls[i]), off || rot != kChannelLimit);
    for (int i : {kVel, kRot, kInteractive}) GhostControl(static_cast<ControlRecord *>(p->controls[i]), off);
}

// One channel moves towards its target by at most `most`.
double Towards(double from, double to, double most) {
    if (most < std::fabs(to - from)) return from + (to > from ? most : -most);
    return to;
}

void Evaluate(LWInstance instance, const ItemMotionAccess *access) {
    PluginInstance *p = OpenEvaluation(instance, access->time, access->item);
    if (!p) return;
    const double t = access->time;
    // No position limit switches the rotation limit off as well, as it always has.
    int vel = Selection(p, kVel);
    if (On(p, kDisable) || t <= 0 || vel == kNoLimit) return;

    double position[3], target[3];
    access->getParam(LWIP_POSITION, 0, position);
    for (double tau = 0; tau < t; tau += kStep) {
        double h = t - tau < kStep ? t - tau : kStep, middle = tau + h / 2;
        access->getParam(LWIP_POSITION, tau + h, target);
        if (vel == kChannelLimit) {
            for (int c = 0; c < 3; ++c) position[c] = Towards(position[c], target[c], EvaluateNumeric(Number(p, kX + c), middle) * h);
        } else {
            double d[3] = {target[0] - position[0], target[1] - position[1], target[2] - position[2]};
            double most = EvaluateNumeric(Number(p, kV), middle) * h, length2 = d[0] * d[0] + d[1] * d[1] + d[2] * d[2];
            if (most * most < length2) {
                double k = most / (std::sqrt(length2) + 1e-16);
                for (int c = 0; c < 3; ++c) position[c] += d[c] * k;
            } else {
                for (int c = 0; c < 3; ++c) position[c] = target[c];
            }
        }
    }

    double rotation[3];
    if (Selection(p, kRot) == 1) {
        access->getParam(LWIP_ROTATION, t, rotation);
    } else {
        access->getParam(LWIP_ROTATION, 0, rotation);
        for (double tau = 0; tau < t; tau += kStep) {
            double h = t - tau < kStep ? t - tau : kStep, middle = tau + h / 2;
            access->getParam(LWIP_ROTATION, tau + h, target);
            for (int c = 0; c < 3; ++c)
                rotation[c] = Towards(rotation[c], target[c], EvaluateNumeric(Number(p, kH + c), middle) * kRotationFactor * h);
        }
    }
    double scale[3];
    access->getParam(LWIP_SCALING, t, scale);
    EvaluatePanelNumerics(p->panel, t);  // the chase left the limits at step times
    access->setParam(LWIP_POSITION, position);
    access->setParam(LWIP_ROTATION, rotation);
    access->setParam(LWIP_SCALING, scale);
}

// The disabled text capitalises the L and the plain name does not: deliberate.
const char *Describe(LWInstance instance) { return SharedDescription(instance, "Speedlimit", "SpeedLimit: Disabled"); }


const ItemMotionHandler kHandler = MotionHandlerOf(Create, Evaluate, Describe);

}  // namespace

extern const PluginDef speedlimitPlugin = {"Speedlimit", PluginClass::ItemMotion, &kHandler};
