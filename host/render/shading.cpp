// Shading: the lights arriving at a spot with their traced shadows, the
// backdrop and fog, the host's record of a spot, the surfaces' shaders and the
// model that lights it (renderer.h states it); and the ray functions the host
// grants shaders and pixel filters, answered from the frame being rendered.
#include <cstring>

#include "host/render/frame_state.h"
#include "helpers/units.h"

using namespace render;

bool Renderer::State::Arriving(const FrameLight &l, const Vec &at, Vec *toLight, double *distance, Vec *colour) const {
    *distance = std::numeric_limits<double>::infinity();
    if (l.type == LWLIGHT_DISTANT) {
        *toLight = Scale(l.forward, -1);
    } else {
        Vec d = Minus(l.position, at);
        *distance = std::sqrt(Dot(d, d));
        *toLight = *distance > 0 ? Scale(d, 1 / *distance) : Scale(l.forward, -1);
    }
    double k = 1;
    if (l.type == LWLIGHT_SPOT) {
        double c = -Dot(*toLight, l.forward);
        k = c >= l.cosInner ? 1 : c <= l.cosOuter ? 0 : (c - l.cosOuter) / (l.cosInner - l.cosOuter);
    }
    *colour = Scale(l.colour, k);
    return k > 0;
}

bool Renderer::State::Shadowed(const FrameLight &l, const Vec &at, bool receives, const Vec &toLight,
                               double distance) const {
    if (!l.shadows || !receives) return false;
    double far = distance == std::numeric_limits<double>::infinity() ? 1e30 : distance - Offset(at);
    return tracer.Blocked(at, toLight, Offset(at), far);
}

Vec Renderer::State::Backdrop(const Vec &direction) const {
    const Scene &s = host.scene;
    if (s.solidBackdrop) return {s.backdropColor[0], s.backdropColor[1], s.backdropColor[2]};
    double elevation = std::asin(std::clamp(direction[1], -1.0, 1.0)) / (kPi / 2);
    auto v = [](const std::array<double, 3> &c) { return Vec{c[0], c[1], c[2]}; };
    return elevation >= 0 ? Mix(v(s.skyColor), v(s.zenithColor), elevation)
                          : Mix(v(s.groundColor), v(s.nadirColor), -elevation);
}

Vec Renderer::State::Fogged(const Vec &colour, double distance) const {
    const Scene &s = host.scene;
    if (!s.fogType || !(s.fogFarthest > s.fogNearest)) return colour;
    double f = std::clamp((distance - s.fogNearest) / (s.fogFarthest - s.fogNearest), 0.0, 1.0);
    return Mix(colour, Vec{s.fogColor[0], s.fogColor[1], s.fogColor[2]}, f);
}

void Renderer::State::FillSpot(const TraceHit &hit, const Vec &from, const Vec &direction, int sx, int sy,
                               ShaderAccess *sa) const {
    const TracedTriangle &t = *hit.triangle;
    const ObjectState &os = objects[t.object];
    std::memset(sa, 0, sizeof *sa);
    sa->sx = sx, sa->sy = sy;
    Vec w = Add(from, Scale(direction, hit.distance));
    Vec o = os.place.ToObject(w);
    double k = 1 - hit.u - hit.v;
    Vec n = Unit(Add(Add(Scale(t.normal[0], k), Scale(t.normal[1], hit.u)), Scale(t.normal[2], hit.v)));
    Vec g = t.face;
    if (hit.backside) n = Scale(n, -1), g = Scale(g, -1);  // a double-sided polygon seen from behind
    for (int i = 0; i < 3; ++i) {
        sa->oPos[i] = o[i], sa->wPos[i] = w[i], sa->gNorm[i] = g[i], sa->wNorm[i] = n[i];
        sa->raySource[i] = from[i];
        for (int j = 0; j < 3; ++j) {
            sa->oXfrm[3 * i + j] = os.place.rows[j][i];
            sa->wXfrm[3 * i + j] = os.place.inverse[j][i];
        }
    }
    sa->rayLength = hit.distance;
    sa->cosine = -Dot(g, direction);
    sa->spotSize = hit.distance * 2 * halfTanV / height;
    sa->objID = IdOf(os.item);
    sa->polNum = t.polygon;
    const Surface defaults;
    const Surface &surface = t.surface >= 0 ? os.item->geometry.surfaces[t.surface] : defaults;
    for (int i = 0; i < 3; ++i) sa->color[i] = surface.color[i];
    sa->luminous = surface.luminosity;
    sa->diffuse = surface.diffuse;
    sa->specular = surface.specular;
    sa->mirror = surface.mirror;
    sa->transparency = surface.transparency;
    sa->eta = surface.eta;
    // Roughness from glossiness: 16 (low) is rough, 1024 (most) smooth.
    sa->roughness = std::clamp(1 - std::log2(std::max(surface.glossiness, 1.0) / 16) / 6, 0.0, 1.0);
    sa->illuminate = NoLight, sa->rayTrace = NoRay, sa->rayCast = NoCast, sa->rayShade = NoShade;
}

void Renderer::State::RunShaders(const TraceHit &hit, ShaderAccess *sa) const {
    const TracedTriangle &t = *hit.triangle;
    const ObjectState &os = objects[t.object];
    if (t.surface < 0 || t.surface >= static_cast<int>(os.surfaceShaders.size())) return;
    if (os.surfaceShaders[t.surface].empty()) return;
    std::lock_guard<std::recursive_mutex> hold(plugins);
    for (const ShaderUse &use : os.surfaceShaders[t.surface]) {
        ShaderAccess before = *sa;
        bool rayed = use.flags & LWSHF_RAYTRACE;
        sa->illuminate = rayed ? rays.illuminate : NoLight;
        sa->rayTrace = rayed ? rays.rayTrace : NoRay;
        sa->rayCast = rayed ? rays.rayCast : NoCast;
        sa->rayShade = rayed ? rays.rayShade : NoShade;
        if (use.version < 3) sa->rayCast = nullptr, sa->rayShade = nullptr;
        use.handler->evaluate(use.instance, sa);
        ShaderAccess after = before;  // read-only fields and ray functions as they were
        auto keep = [&](unsigned flag, auto member) {
            if (use.flags & flag) std::memcpy(&(after.*member), &(sa->*member), sizeof(after.*member));
        };
        keep(LWSHF_NORMAL, &ShaderAccess::wNorm);
        keep(LWSHF_COLOR, &ShaderAccess::color);
        keep(LWSHF_LUMINOUS, &ShaderAccess::luminous);
        keep(LWSHF_DIFFUSE, &ShaderAccess::diffuse);
        keep(LWSHF_SPECULAR, &ShaderAccess::specular);
        keep(LWSHF_MIRROR, &ShaderAccess::mirror);
        keep(LWSHF_TRANSP, &ShaderAccess::transparency);
        keep(LWSHF_ETA, &ShaderAccess::eta);
        keep(LWSHF_ROUGH, &ShaderAccess::roughness);
        *sa = after;
    }
}

double Renderer::State::Trace(const Vec &from, const Vec &direction, double near, int sx, int sy, Vec *colour,
                              double *alpha, SpotRecord *record) {
    TraceHit hit;
    if (rayDepth > host.scene.recursionDepth || !tracer.Nearest(from, direction, near, 1e30, &hit)) {
        *colour = Backdrop(direction);
        *alpha = 0;
        return -1;
    }
    ShaderAccess sa;
    FillSpot(hit, from, direction, sx, sy, &sa);
    RunShaders(hit, &sa);
    const ObjectState &os = objects[hit.triangle->object];
    bool receives = os.item->shadowOptions & LWOSHAD_RECEIVE;
    Vec at{sa.wPos[0], sa.wPos[1], sa.wPos[2]}, n = Unit(Vec{sa.wNorm[0], sa.wNorm[1], sa.wNorm[2]});
    Vec c{sa.color[0], sa.color[1], sa.color[2]}, view = Scale(direction, -1);
    Vec out =
        Add(Scale(c, sa.luminous), Scale(Vec{ambient[0] * c[0], ambient[1] * c[1], ambient[2] * c[2]}, sa.diffuse));
    double glossiness = std::exp2(4 + 6 * (1 - sa.roughness));  // back from roughness: 16 to 1024
    double shading = 0, unshadowed = 0, shadowedShare = 0, diffShade = 0, specShade = 0;
    for (const FrameLight &l : lights) {
        Vec toLight, free;
        double distance;
        if (!Arriving(l, at, &toLight, &distance, &free)) continue;
        double lit = Dot(n, toLight);
        if (lit <= 0) continue;
        const Vec arriving = Shadowed(l, at, receives, toLight, distance) ? Vec{} : free;
        Vec reflected = Minus(Scale(n, 2 * lit), toLight);
        double highlight = std::pow(std::max(0.0, Dot(reflected, view)), glossiness);
        for (int i = 0; i < 3; ++i) out[i] += arriving[i] * (sa.diffuse * c[i] * lit + sa.specular * highlight);
        double strength = (free[0] + free[1] + free[2]) / 3, reaching = (arriving[0] + arriving[1] + arriving[2]) / 3;
        diffShade += strength * sa.diffuse * lit;
        specShade += strength * sa.specular * highlight;
        unshadowed += strength;
        shadowedShare += reaching;
    }
    shading = diffShade + specShade;
    ++rayDepth;
    if (sa.mirror > 0) {
        Vec bounce = Minus(direction, Scale(n, 2 * Dot(direction, n)));
        Vec seen;
        double seenAlpha;
        if (host.scene.rayTraceEffects & 2)
            Trace(at, bounce, Offset(at), sx, sy, &seen, &seenAlpha, nullptr);
        else
            seen = Backdrop(bounce);
        out = Mix(out, seen, sa.mirror);
    }
    double a = 1;
    if (sa.transparency > 0) {
        Vec through = direction;
        if ((host.scene.rayTraceEffects & 4) && sa.eta > 0 && sa.eta != 1) {
            // Snell's law into the surface (out of it when met from inside).
            double cosIn = -Dot(n, direction), ratio = cosIn > 0 ? 1 / sa.eta : sa.eta;
            Vec facing = cosIn > 0 ? n : Scale(n, -1);
            cosIn = std::fabs(cosIn);
            double k = 1 - ratio * ratio * (1 - cosIn * cosIn);
            if (k >= 0) through = Unit(Add(Scale(direction, ratio), Scale(facing, ratio * cosIn - std::sqrt(k))));
        }
        Vec behind;
        double behindAlpha;
        Trace(at, through, Offset(at), sx, sy, &behind, &behindAlpha, nullptr);
        out = Mix(out, behind, sa.transparency);
        a = 1 - sa.transparency * (1 - behindAlpha);
    }
    --rayDepth;
    *colour = Fogged(out, hit.distance);
    *alpha = a;
    if (record) {
        record->luminous = sa.luminous, record->diffuse = sa.diffuse, record->specular = sa.specular;
        record->mirror = sa.mirror, record->transparency = sa.transparency;
        record->raw = c;
        record->shading = shading, record->diffShade = diffShade, record->specShade = specShade;
        record->shadow = unshadowed > 0 ? shadowedShare / unshadowed : 1;
        record->geometry = std::max(0.0, Dot(n, view));
    }
    return hit.distance;
}

Vec Renderer::State::PixelRay(double x, double y) const {
    double u = (x / width * 2 - 1) * halfTanH, v = (1 - y / height * 2) * halfTanV;
    return Unit(Add(Add(Scale(right, u), Scale(up, v)), forward));
}

namespace render {
Renderer::State *active = nullptr;
thread_local int rayDepth = 0;
}  // namespace render

namespace {

Vec Direction(const double d[3]) { return Unit(Vec{d[0], d[1], d[2]}); }

int Illuminate(LWItemID light, const double position[3], double direction[3], double color[3]) {
    if (!active) return 0;
    for (const FrameLight &l : active->lights)
        if (l.id == light) {
            Vec toLight, colour, at{position[0], position[1], position[2]};
            double distance;
            bool lit = active->Arriving(l, at, &toLight, &distance, &colour) &&
                       !active->Shadowed(l, at, true, toLight, distance);
            if (!lit) colour = Vec{};
            for (int i = 0; i < 3; ++i) direction[i] = toLight[i], color[i] = colour[i];
            return lit ? 1 : 0;
        }
    return 0;
}

double RayTrace(const double position[3], const double direction[3], double color[3]) {
    if (!active) return -1;
    Vec from{position[0], position[1], position[2]}, colour;
    double alpha;
    ++rayDepth;
    double distance = active->Trace(from, Direction(direction), Offset(from), 0, 0, &colour, &alpha, nullptr);
    --rayDepth;
    for (int i = 0; i < 3; ++i) color[i] = colour[i];
    return distance;
}

double RayCast(const double position[3], const double direction[3]) {
    if (!active) return -1;
    Vec from{position[0], position[1], position[2]};
    TraceHit hit;
    return active->tracer.Nearest(from, Direction(direction), Offset(from), 1e30, &hit) ? hit.distance : -1;
}

// The spot met, as the host fills it before its shaders run.
double RayShade(const double position[3], const double direction[3], ShaderAccess *spot) {
    if (!active || !spot) return -1;
    Vec from{position[0], position[1], position[2]}, d = Direction(direction);
    TraceHit hit;
    if (!active->tracer.Nearest(from, d, Offset(from), 1e30, &hit)) return -1;
    active->FillSpot(hit, from, d, spot->sx, spot->sy, spot);
    return hit.distance;
}

}  // namespace

namespace render {
const RayFunctions kRays = {Illuminate, RayTrace, RayCast, RayShade};
}  // namespace render
