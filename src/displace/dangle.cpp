// Dangle: hangs an object like a rope or chain between its own pivot and an
// anchor item. The object is modelled along its +X axis from its pivot to its
// tip; at every frame the catenary of that length between the two ends is
// solved, and each point is moved onto it, its Y and Z kept as offsets across
// the curve. Ends farther apart than the chain is long give a straight line
// aimed at the anchor; ends one above the other give a chain folded down.
#include <cmath>
#include <cstdio>

#include "controls/choice.h"
#include "controls/item.h"
#include "controls/numeric.h"
#include "controls/plugin_access.h"
#include "controls/plugin_instance.h"
#include "module/object_points.h"
#include "services/host_services.h"
#include "module/lifecycle.h"
#include "module/server_table.h"
#include "helpers/transform.h"

namespace {

enum { kControl, kInteractive, kDisable, kControls };

// Sentinel values of a: a straight line, and a chain folded straight down.
constexpr double kTaut = -9999999999.0, kFolded = 999999999.0;

LWInstance Create(LWError *err, LWItemID item);

const ControlSpec kTable[kControls] = {
    {.key = "CONTROL", .kind = ControlSpecKind::Item, .x = 100, .y = 65, .label = "Anchor Object", .flags = kGreyWhileDisabled},
    {.key = "INTERACTIVE", .kind = ControlSpecKind::Toggle, .x = 150, .y = 100, .label = "Interactive", .value = 0, .flags = kGreyWhileDisabled},
    {.key = "DISABLE", .kind = ControlSpecKind::Toggle, .x = 150, .y = 125, .label = "Disable All Effects", .value = 0,
     .changed = GreyWhileDisabled},
};

// The chain solved at the last new time, in units of its length L.
struct Chain {
    LWItemID measured;  // the object the length was read from
    double length;      // its largest X
    int active;
    Vec3 pivot;         // P, the object's world position
    double sx, sy, sz;  // the object's scale along its axes
    double L;           // the chain's world length
    double h, v;        // horizontal and vertical distance to the anchor
    double dx, dz;      // the horizontal direction to the anchor
    double a, b;        // the catenary, or a sentinel
};

const PanelSpec kPanel = {.title = "Dangle", .shortName = "Dangle", .width = 400, .height = 200, .create = Create,
                          .destroy = SharedDestroy, .copy = SharedCopy, .afterLoad = GreyWhileDisabled,
                          .workBytes = sizeof(Chain)};

LWItemID Anchor(PluginInstance *p) {
    ItemControl *c = Control<ItemControl>(p, kControl);
    return c->count > 0 ? c->items[0] : LWITEM_NULL;
}

LWInstance Create(LWError *err, LWItemID item) {
    return BuildInstance(kPanel, kTable, kControls, item, err, ClassInfo(PluginClass::Displacement).createFailure);
}

// Newton's method on two residuals with the analytic Jacobian, subtracting
// `relax` times each step. Converged when the residuals before a step are
// small (the stepped values are kept), or after the last step.
template <typename Residuals>
bool Newton(double *x, double *y, double relax, Residuals residuals) {
    double f[2], j[2][2];
    for (int i = 0; i < 50; ++i) {
        residuals(*x, *y, f, j);
        double det = j[0][0] * j[1][1] - j[0][1] * j[1][0], dx = 0, dy = 0;
        if (!(std::fabs(det) < 1e-15)) {
            dx = (f[0] * j[1][1] - f[1] * j[0][1]) / det;
            dy = (j[0][0] * f[1] - j[1][0] * f[0]) / det;
        }
        *x -= relax * dx;
        *y -= relax * dy;
        if (f[0] * f[0] + f[1] * f[1] < 1e-11) return true;
    }
    residuals(*x, *y, f, j);
    return f[0] * f[0] + f[1] * f[1] < 1e-11;
}

// y(x) = (cosh(a x + b) - cosh b) / a from (0, 0) to (h, v), arc length 1.
bool SolveByA(double h, double v, double *a, double *b) {
    *a = 5.02 / (std::pow(h, 1.48) + 0.01) - 3.3 - 14.75 * v * v * v * v;
    // A starting a that is not positive makes the logarithm fail, and the
    // solver with it; the other solver takes over.
    *b = 0.505 * std::exp(0.499 * (v + 1) * (v + 1)) - 1.26 * std::log(*a) - 1.8 * h + 0.475;
    return Newton(a, b, 1.0, [&](double a, double b, double f[2], double j[2][2]) {
        double ch = std::cosh(a * h + b), sh = std::sinh(a * h + b), c0 = std::cosh(b), s0 = std::sinh(b);
        f[0] = (ch - c0) / a - v;
        f[1] = (sh - s0) / a - 1;
        j[0][0] = h * sh / a - (ch - c0) / (a * a);
        j[0][1] = (sh - s0) / a;
        j[1][0] = h * ch / a - (sh - s0) / (a * a);
        j[1][1] = (ch - c0) / a;
    });
}

// The same curve in c = 1 / a for spans too short for the first form, with
// the step over-relaxed by 1.26.
bool SolveByC(double h, double v, double *a, double *b) {
    double c = 0.091 * std::pow(h, 1.49) + 0.000084;
    *b = 1.37 * std::log(c) - 0.1;
    bool ok = Newton(&c, b, 1.26, [&](double c, double b, double f[2], double j[2][2]) {
        double ch = std::cosh(h / c + b), sh = std::sinh(h / c + b), c0 = std::cosh(b), s0 = std::sinh(b);
        f[0] = c * (ch - c0) - v;
        f[1] = c * (sh - s0) - 1;
        j[0][0] = (ch - c0) - h / c * sh;
        j[0][1] = c * (sh - s0);
        j[1][0] = (sh - s0) - h / c * ch;
        j[1][1] = c * (ch - c0);
    });
    *a = 1 / c;
    return ok;
}

LWError NewTime(LWInstance instance, LWItemID object, LWFrame, LWTime t) {
    PluginInstance *p = OpenEvaluation(instance, t, object);
    if (!p) return "Eeek, no inst at newtime";
    Chain &chain = *Work<Chain>(p);
    chain.active = 0;
    if (On(p, kDisable)) return nullptr;
    if (object != chain.measured) {
        double extents[6];
        if (!ReadObjectExtents(hostServices.objectInfo->filename(object), extents)) return nullptr;
        chain.length = extents[kXMax];
        chain.measured = object;
    }
    LWItemID anchor = Anchor(p);
    if (chain.length <= 0 || !anchor) return nullptr;

    const LWItemInfo *info = hostServices.itemInfo;
    Vec3 at, right, up, forward;
    info->param(anchor, LWIP_W_POSITION, t, at.data());
    info->param(object, LWIP_W_POSITION, t, chain.pivot.data());
    info->param(object, LWIP_RIGHT, t, right.data());
    info->param(object, LWIP_UP, t, up.data());
    info->param(object, LWIP_FORWARD, t, forward.data());
    chain.sx = std::sqrt(right[0] * right[0] + right[1] * right[1] + right[2] * right[2]);
    chain.sy = std::sqrt(up[0] * up[0] + up[1] * up[1] + up[2] * up[2]);
    chain.sz = std::sqrt(forward[0] * forward[0] + forward[1] * forward[1] + forward[2] * forward[2]);
    chain.L = chain.sx * chain.length;
    double ex = at[0] - chain.pivot[0], ez = at[2] - chain.pivot[2], dist = std::sqrt(ex * ex + ez * ez);
    chain.v = (at[1] - chain.pivot[1]) / chain.L;
    chain.h = dist / chain.L;
    chain.dx = 1, chain.dz = 0;
    if (chain.h > 0.0001) chain.dx = ex / dist, chain.dz = ez / dist;

    double r = chain.h * chain.h + chain.v * chain.v;
    if (r >= 1) {  // taut: b is the sine of the line's slope
        chain.a = kTaut;
        chain.b = chain.v / std::sqrt(r);
    } else if (chain.h < 0.002 ||
               (!(chain.h >= 0.0231 && SolveByA(chain.h, chain.v, &chain.a, &chain.b)) &&
                !SolveByC(chain.h, chain.v, &chain.a, &chain.b))) {
        chain.a = kFolded;
        chain.b = 0;
    }
    chain.active = 1;
    return nullptr;
}

double Asinh(double u) {
    if (u > 0) return std::log(std::sqrt(u * u + 1) + u);
    if (u < 0) return -std::log(std::sqrt(u * u + 1) - u);
    return 0;
}

void Evaluate(LWInstance instance, DisplacementAccess *access) {
    if (!instance) return;
    const Chain &c = *Work<Chain>(static_cast<PluginInstance *>(instance));
    if (!c.active) return;
    // Along the chain and across it, in chain lengths.
    double s = c.sx * access->oPos[0] / c.L, y = c.sy * access->oPos[1] / c.L, z = c.sz * access->oPos[2] / c.L;
    double H, V;
    if (c.a < -99999) {
        double sine = c.b, cosine = std::sqrt(1 - sine * sine);
        H = cosine * s - sine * y;
        V = sine * s + cosine * y;
    } else if (c.a > 99999) {
        // Folded down and back up; the second leg mirrors the Y offset.
        if (s < (1 - c.v) * 0.5) {
            H = s * c.h + y;
            V = -s;
        } else {
            H = s * c.h - y;
            V = s + c.v - 1;
        }
    } else if (s <= 0) {  // behind the pivot: the tangent line at the start
        double t = std::sinh(c.b), sine = t / std::sqrt(t * t + 1), cosine = std::sqrt(1 - sine * sine);
        H = cosine * s - sine * y;
        V = sine * s + cosine * y;
    } else {
        double X = Asinh(std::sinh(c.b) + c.a * s), along = (X - c.b) / c.a;
        X = along * c.a + c.b;
        double t = std::sinh(X), sine = t / std::sqrt(t * t + 1), cosine = std::sqrt(1 - sine * sine);
        H = along - sine * y;
        V = (std::cosh(X) - std::cosh(c.b)) / c.a + cosine * y;
    }
    access->source[0] = (H * c.dx - z * c.dz) * c.L + c.pivot[0];
    access->source[1] = V * c.L + c.pivot[1];
    access->source[2] = (H * c.dz + z * c.dx) * c.L + c.pivot[2];
}

const char *Describe(LWInstance instance) {
    PluginInstance *p = OpenSettings(instance);
    if (!p) return "Error!";
    if (On(p, kDisable)) return "Dangle: Disabled";
    LWItemID anchor = Anchor(p);
    if (!anchor) return "Dangle: No Anchor";
    std::snprintf(p->description, sizeof p->description, "Dangle, anchored by %s", ItemName(anchor));
    return p->description;
}

// The anchor alone is used: the host then knows the object follows it.
const DisplacementHandler kHandler = DisplacementHandlerOf(Create, NewTime, Evaluate, SharedWorldDisplacementFlags, Describe, SharedControlItemsUsed);

}  // namespace

extern const PluginDef danglePlugin = {"Dangle", PluginClass::Displacement, &kHandler};
