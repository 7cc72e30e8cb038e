#include "host/render/renderer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <string>

#include "host/render/tracer.h"
#include "host/scene_file.h"
#include "helpers/units.h"

namespace {

using Vec = Vec3;

double Dot(const Vec &a, const Vec &b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
Vec Add(const Vec &a, const Vec &b) { return {a[0] + b[0], a[1] + b[1], a[2] + b[2]}; }
Vec Minus(const Vec &a, const Vec &b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
Vec Scale(const Vec &a, double k) { return {a[0] * k, a[1] * k, a[2] * k}; }
Vec Unit(const Vec &a) {
    double n = std::sqrt(Dot(a, a));
    return n > 0 ? Scale(a, 1 / n) : a;
}
Vec Mix(const Vec &a, const Vec &b, double t) { return Add(Scale(a, 1 - t), Scale(b, t)); }

// The largest frame side rendered: past any frame the host renders.
constexpr int kLongestSide = 16384;
// Secondary rays start this far (metres, grown with the distance from the
// origin) off the surface they leave, so they do not meet it again.
double Offset(const Vec &p) { return 1e-4 * (1 + std::max({std::fabs(p[0]), std::fabs(p[1]), std::fabs(p[2])})); }

int NoLight(LWItemID, const double *, double *, double *) { return 0; }
double NoRay(const double *, const double *, double *) { return -1; }
double NoCast(const double *, const double *) { return -1; }
double NoShade(const double *, const double *, ShaderAccess *) { return -1; }

struct ShaderUse {
    const ShaderHandler *handler;
    LWInstance instance;
    std::string server;
    unsigned flags = 0;
    bool owned = false;  // made from the object file here, destroyed here
    long version = 3;    // the handler's: before 3 the access has no ray cast or shade
};

struct FrameLight {
    LWItemID id;
    int type;
    Vec position, forward, colour;
    double cosOuter, cosInner;  // spot: full light inside inner, none outside outer
    bool shadows;
};

// What one ray's spot gives the frame's buffers.
struct SpotRecord {
    double luminous = 0, diffuse = 0, specular = 0, mirror = 0, transparency = 0;
    Vec raw{};
    double shading = 0, shadow = 0, geometry = 0, diffShade = 0, specShade = 0;
};

// Polygon corners in a plane, cut into triangles by clipping ears (concave
// polygons included); a polygon that will not cut cleanly falls back to a fan.
std::vector<std::array<int, 3>> Triangulate(const std::vector<int> &polygon, const std::vector<Vec> &points,
                                            const Vec &normal) {
    std::vector<std::array<int, 3>> out;
    size_t n = polygon.size();
    if (n == 3) return {{0, 1, 2}};
    // Drop the normal's largest axis and work in the other two.
    int drop = std::fabs(normal[0]) > std::fabs(normal[1]) ? (std::fabs(normal[0]) > std::fabs(normal[2]) ? 0 : 2)
                                                           : (std::fabs(normal[1]) > std::fabs(normal[2]) ? 1 : 2);
    int a = (drop + 1) % 3, b = (drop + 2) % 3;
    double sign = normal[drop] >= 0 ? 1 : -1;
    auto at = [&](int i) { return std::array<double, 2>{points[polygon[i]][a], points[polygon[i]][b]}; };
    auto cross = [&](int i, int j, int k) {
        auto p = at(i), q = at(j), r = at(k);
        return sign * ((q[0] - p[0]) * (r[1] - p[1]) - (q[1] - p[1]) * (r[0] - p[0]));
    };
    std::vector<int> left(n);
    for (size_t i = 0; i < n; ++i) left[i] = static_cast<int>(i);
    size_t guard = 0;
    while (left.size() > 3 && guard++ < 4 * n * n) {
        bool cut = false;
        for (size_t i = 0; i < left.size() && !cut; ++i) {
            int p = left[(i + left.size() - 1) % left.size()], q = left[i], r = left[(i + 1) % left.size()];
            if (cross(p, q, r) <= 0) continue;  // not convex here
            bool inside = false;
            for (int other : left) {
                if (other == p || other == q || other == r) continue;
                if (cross(p, q, other) >= 0 && cross(q, r, other) >= 0 && cross(r, p, other) >= 0) inside = true;
            }
            if (inside) continue;
            out.push_back({p, q, r});
            left.erase(left.begin() + static_cast<long>(i));
            cut = true;
        }
        if (!cut) break;
    }
    if (left.size() == 3) {
        out.push_back({left[0], left[1], left[2]});
        return out;
    }
    out.clear();
    for (size_t i = 1; i + 1 < n; ++i) out.push_back({0, static_cast<int>(i), static_cast<int>(i + 1)});
    return out;
}

// The unit normal of a polygon by Newell's sums: on the side its points run
// clockwise, whatever its shape.
Vec PolygonNormal(const std::vector<int> &polygon, const std::vector<Vec> &points) {
    Vec n{};
    for (size_t i = 0; i < polygon.size(); ++i) {
        const Vec &p = points[polygon[i]], &q = points[polygon[(i + 1) % polygon.size()]];
        n[0] += (p[1] - q[1]) * (p[2] + q[2]);
        n[1] += (p[2] - q[2]) * (p[0] + q[0]);
        n[2] += (p[0] - q[0]) * (p[1] + q[1]);
    }
    return Unit(n);
}

}  // namespace

struct Renderer::State {
    EmbeddedHost &host;
    Tracer tracer;
    std::multimap<std::string, ShaderUse> mapped;  // by surface name, from the caller
    // Per object of the scene (by its position in scene.objects): its
    // surfaces' shaders, placement at the frame and item.
    struct ObjectState {
        Item *item;
        std::vector<std::vector<ShaderUse>> surfaceShaders;
        Placement place;
    };
    std::vector<ObjectState> objects;
    std::vector<FrameLight> lights;
    Vec ambient{};
    Vec eye{}, right{}, up{}, forward{};
    double halfTanV = 0, halfTanH = 0;
    double lensRadius = 0, focus = 0;  // depth of field: none when the radius is 0
    int width = 0, height = 0, frame = 0;
    double time = 0;
    int depth = 0;  // rays in flight below the camera's
    bool begun = false;
    RayFunctions rays{};

    explicit State(EmbeddedHost &h) : host(h) {}

    // ---- the frame's geometry, lights and camera ----

    // The scene at a time of the frame: its own, or a motion-blur pass's.
    bool Prepare(int frameNumber, double at, std::string *error) {
        Scene &s = host.scene;
        frame = frameNumber;
        time = at;
        width = s.frameWidth;
        height = s.frameHeight;
        if (width < 1 || height < 1 || width > kLongestSide || height > kLongestSide)
            return *error = "the frame is " + std::to_string(width) + "x" + std::to_string(height) + "; frames are 1 to " +
                            std::to_string(kLongestSide) + " pixels a side",
                   false;
        if (s.cameras.empty()) return *error = "the scene has no camera", false;
        const Item &camera = *s.cameras.front();
        s.Param(camera, LWIP_W_POSITION, time, eye.data());
        s.Param(camera, LWIP_RIGHT, time, right.data());
        s.Param(camera, LWIP_UP, time, up.data());
        s.Param(camera, LWIP_FORWARD, time, forward.data());
        right = Unit(right), up = Unit(up), forward = Unit(forward);
        double zoom = camera.zoom.ValueAt(s.FrameAt(time));
        if (!(zoom > 0)) return *error = "the camera's zoom factor is not above 0", false;
        halfTanV = 1 / zoom;
        halfTanH = halfTanV * width * s.pixelAspect / height;
        // Depth of field: a thin lens of focal length F (half the film's
        // height times the zoom) and aperture F / f-stop, focused at D. The
        // lens is sampled over a disc enlarged by D / (D - F), so that a point
        // at distance z blurs over the thin lens's circle of confusion,
        // A F |z - D| / (z (D - F)) on the film.
        lensRadius = 0, focus = 0;
        if (s.renderOptions & LWROPT_DEPTHOFFIELD) {
            const double F = s.FilmHeight() / 2 * zoom, D = camera.focalDistance.ValueAt(s.FrameAt(time)),
                         stop = camera.fStop.ValueAt(s.FrameAt(time));
            if (D > F && stop > 0) lensRadius = F / stop / 2 * D / (D - F), focus = D;
        }

        std::vector<TracedTriangle> triangles;
        for (size_t o = 0; o < objects.size(); ++o) {
            ObjectState &os = objects[o];
            Item &item = *os.item;
            os.place = PlacementAt(s, item, time);
            if (item.filename.empty() || item.geometry.polygons.empty()) continue;
            if (item.dissolve.ValueAt(s.FrameAt(time)) >= 1) continue;  // dissolved away
            std::vector<Vec> points = DisplacedPoints(host, item, time, error);
            if (points.size() != item.geometry.points.size()) {
                *error = s.ShownName(item) + ": " + *error;
                return false;
            }
            for (Vec &p : points) p = os.place.ToWorld(p);
            AddObject(static_cast<int>(o), item, points, &triangles);
        }
        tracer.Build(std::move(triangles));

        lights.clear();
        for (const auto &light : s.lights) {
            FrameLight l;
            l.id = IdOf(light.get());
            l.type = light->lightType;
            s.Param(*light, LWIP_W_POSITION, time, l.position.data());
            s.Param(*light, LWIP_FORWARD, time, l.forward.data());
            l.forward = Unit(l.forward);
            l.colour = Scale(Vec{light->lightColor[0], light->lightColor[1], light->lightColor[2]},
                             light->intensity.ValueAt(s.FrameAt(time)));
            l.cosOuter = std::cos(light->coneRadius);
            l.cosInner = std::cos(std::max(0.0, light->coneRadius - light->coneEdge));
            l.shadows = light->shadowType == LWLSHAD_RAYTRACE && (s.rayTraceEffects & 1);
            lights.push_back(l);
        }
        ambient = Scale(Vec{s.ambientColor[0], s.ambientColor[1], s.ambientColor[2]},
                        s.ambientIntensity.ValueAt(s.FrameAt(time)));
        return true;
    }

    // The object's polygons as triangles, with corner normals smoothed over
    // the polygons of the same surface that meet at a point within the
    // surface's smoothing angle.
    void AddObject(int objectIndex, const Item &item, const std::vector<Vec> &points, std::vector<TracedTriangle> *out) {
        const ObjectGeometry &g = item.geometry;
        std::vector<Vec> faces(g.polygons.size());
        for (size_t p = 0; p < g.polygons.size(); ++p) faces[p] = PolygonNormal(g.polygons[p], points);
        std::vector<std::vector<int>> touching(points.size());
        for (size_t p = 0; p < g.polygons.size(); ++p)
            for (int i : g.polygons[p]) touching[i].push_back(static_cast<int>(p));
        bool casts = item.shadowOptions & LWOSHAD_CAST;
        for (size_t p = 0; p < g.polygons.size(); ++p) {
            const std::vector<int> &polygon = g.polygons[p];
            int surfaceIndex = p < g.polygonSurface.size() ? g.polygonSurface[p] : -1;
            const Surface *surface = surfaceIndex >= 0 ? &g.surfaces[surfaceIndex] : nullptr;
            double cosSmooth = surface && surface->smoothing > 0 ? std::cos(surface->smoothing) : 2;
            std::vector<Vec> cornerNormals(polygon.size());
            for (size_t c = 0; c < polygon.size(); ++c) {
                Vec sum{};
                for (int other : touching[polygon[c]]) {
                    bool same = other == static_cast<int>(p) ||
                                (other < static_cast<int>(g.polygonSurface.size()) && g.polygonSurface[other] == surfaceIndex &&
                                 Dot(faces[other], faces[p]) >= cosSmooth);
                    if (same) sum = Add(sum, faces[other]);
                }
                cornerNormals[c] = Unit(sum);
            }
            for (const auto &t : Triangulate(polygon, points, faces[p])) {
                TracedTriangle tri;
                tri.object = objectIndex;
                tri.polygon = static_cast<int>(p);
                tri.surface = surfaceIndex;
                tri.doubleSided = surface && surface->doubleSided;
                tri.castsShadow = casts;
                for (int c = 0; c < 3; ++c) {
                    tri.corner[c] = points[polygon[t[c]]];
                    tri.normal[c] = cornerNormals[t[c]];
                }
                tri.face = faces[p];
                out->push_back(tri);
            }
        }
    }

    // ---- lights ----

    // Light from a light arriving at a spot, shadows aside: unit direction
    // towards the light, its distance (infinite for a distant light) and its
    // colour (zero outside a spot's cone); whether any arrives.
    bool Arriving(const FrameLight &l, const Vec &at, Vec *toLight, double *distance, Vec *colour) const {
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

    // Whether the light's traced shadow falls on a spot that receives shadows.
    bool Shadowed(const FrameLight &l, const Vec &at, bool receives, const Vec &toLight, double distance) const {
        if (!l.shadows || !receives) return false;
        double far = distance == std::numeric_limits<double>::infinity() ? 1e30 : distance - Offset(at);
        return tracer.Blocked(at, toLight, Offset(at), far);
    }

    // ---- backdrop and fog ----

    Vec Backdrop(const Vec &direction) const {
        const Scene &s = host.scene;
        if (s.solidBackdrop) return {s.backdropColor[0], s.backdropColor[1], s.backdropColor[2]};
        double elevation = std::asin(std::clamp(direction[1], -1.0, 1.0)) / (kPi / 2);
        auto v = [](const std::array<double, 3> &c) { return Vec{c[0], c[1], c[2]}; };
        return elevation >= 0 ? Mix(v(s.skyColor), v(s.zenithColor), elevation)
                              : Mix(v(s.groundColor), v(s.nadirColor), -elevation);
    }

    Vec Fogged(const Vec &colour, double distance) const {
        const Scene &s = host.scene;
        if (!s.fogType || !(s.fogFarthest > s.fogNearest)) return colour;
        double f = std::clamp((distance - s.fogNearest) / (s.fogFarthest - s.fogNearest), 0.0, 1.0);
        return Mix(colour, Vec{s.fogColor[0], s.fogColor[1], s.fogColor[2]}, f);
    }

    // ---- spots ----

    // The host's record of the spot a ray met, before any shader.
    void FillSpot(const TraceHit &hit, const Vec &from, const Vec &direction, int sx, int sy, ShaderAccess *sa) const {
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

    // The surface's shaders in order; what a shader changed in a field its
    // flags do not claim is put back, as the host ignores it.
    void RunShaders(const TraceHit &hit, ShaderAccess *sa) const {
        const TracedTriangle &t = *hit.triangle;
        const ObjectState &os = objects[t.object];
        if (t.surface < 0 || t.surface >= static_cast<int>(os.surfaceShaders.size())) return;
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

    // The colour and alpha seen along a ray, and how far it went (-1: the backdrop).
    double Trace(const Vec &from, const Vec &direction, double near, int sx, int sy, Vec *colour, double *alpha,
                 SpotRecord *record) {
        TraceHit hit;
        if (depth > host.scene.recursionDepth || !tracer.Nearest(from, direction, near, 1e30, &hit)) {
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
        Vec out = Add(Scale(c, sa.luminous), Scale(Vec{ambient[0] * c[0], ambient[1] * c[1], ambient[2] * c[2]}, sa.diffuse));
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
        ++depth;
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
        --depth;
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

    Vec PixelRay(double x, double y) const {
        double u = (x / width * 2 - 1) * halfTanH, v = (1 - y / height * 2) * halfTanV;
        return Unit(Add(Add(Scale(right, u), Scale(up, v)), forward));
    }
};

namespace {

Renderer::State *active = nullptr;  // the renderer whose frame the ray functions answer from

Vec Direction(const double d[3]) { return Unit(Vec{d[0], d[1], d[2]}); }

int Illuminate(LWItemID light, const double position[3], double direction[3], double color[3]) {
    if (!active) return 0;
    for (const FrameLight &l : active->lights)
        if (l.id == light) {
            Vec toLight, colour, at{position[0], position[1], position[2]};
            double distance;
            bool lit = active->Arriving(l, at, &toLight, &distance, &colour) && !active->Shadowed(l, at, true, toLight, distance);
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
    ++active->depth;
    double distance = active->Trace(from, Direction(direction), Offset(from), 0, 0, &colour, &alpha, nullptr);
    --active->depth;
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

const RayFunctions kRays = {Illuminate, RayTrace, RayCast, RayShade};

}  // namespace

Renderer::Renderer(EmbeddedHost &host) : state_(std::make_unique<State>(host)) {
    state_->rays = kRays;
}

Renderer::~Renderer() {
    if (state_->begun)
        for (auto &os : state_->objects)
            for (auto &list : os.surfaceShaders)
                for (ShaderUse &use : list) use.handler->cleanup(use.instance);
    for (auto &os : state_->objects)
        for (auto &list : os.surfaceShaders)
            for (ShaderUse &use : list)
                if (use.owned) use.handler->destroy(use.instance);
    if (active == state_.get()) active = nullptr;
}

void Renderer::AddSurfaceShader(const std::string &surface, const ShaderHandler *handler, LWInstance instance,
                                const std::string &server) {
    state_->mapped.insert({surface, ShaderUse{handler, instance, server}});
}

bool Renderer::Begin(std::string *error) {
    State &st = *state_;
    Scene &s = st.host.scene;
    if (s.frameWidth < 1 || s.frameHeight < 1 || s.frameWidth > kLongestSide || s.frameHeight > kLongestSide)
        return *error = "the frame is " + std::to_string(s.frameWidth) + "x" + std::to_string(s.frameHeight) +
                        "; frames are 1 to " + std::to_string(kLongestSide) + " pixels a side",
               false;
    if (s.cameras.empty()) return *error = "the scene has no camera", false;
    st.objects.clear();
    for (const auto &object : s.objects) {
        State::ObjectState os{object.get(), {}, {}};
        // An object that names a file it could not read is refused here, once.
        if (!object->filename.empty() && object->geometry.points.empty())
            return *error = s.ShownName(*object) + ": " +
                            (object->geometryProblem.empty() ? "the object holds no points" : object->geometryProblem),
                   false;
        for (const Surface &surface : object->geometry.surfaces) {
            std::vector<ShaderUse> list;
            for (const SurfaceShader &shader : surface.shaders) {
                std::string why;
                long version = 3;
                auto *handler =
                    static_cast<const ShaderHandler *>(st.host.Handler("ShaderHandler", shader.server, &why, &version));
                if (!handler) return *error = s.ShownName(*object) + ": surface " + surface.name + ": " + why, false;
                LWError failure = nullptr;
                LWInstance instance = handler->create(&failure);
                if (!instance)
                    return *error = shader.server + ": " + (failure ? failure : "could not be created"), false;
                list.push_back({handler, instance, shader.server, 0, true, version});
                if (LWError e = LoadInstanceBytes(handler->load, instance, shader.data))
                    return *error = s.ShownName(*object) + ": surface " + surface.name + ": " + shader.server + ": " + e, false;
            }
            auto [from, to] = st.mapped.equal_range(surface.name);
            for (auto it = from; it != to; ++it) list.push_back(it->second);
            os.surfaceShaders.push_back(std::move(list));
        }
        st.objects.push_back(std::move(os));
    }
    // Every shader's render session starts; one that will not start stops the render.
    for (auto &os : st.objects)
        for (auto &list : os.surfaceShaders)
            for (ShaderUse &use : list) {
                if (LWError e = use.handler->init(use.instance)) return *error = use.server + ": " + e, false;
                use.flags = use.handler->flags(use.instance);
            }
    st.begun = true;
    return true;
}

namespace {

// Where each antialiasing pass looks within its pixel, as offsets from the
// centre in pixels. The host's own pattern is not published (unconfirmed):
// here the first pass is the centre, so a render without antialiasing is the
// one-ray render, and the N passes form a rank-1 lattice over the pixel's
// N x N grid (pass k at column k a mod N, row k): every row and every column
// holds one pass, so an edge along either axis is covered to within 1/N, and
// the generator a spreads them across the diagonals too.
std::vector<std::array<double, 2>> SubpixelOffsets(int passes) {
    const int generator = passes == 5 ? 2 : passes == 9 ? 4 : passes == 17 ? 5 : 1;
    std::vector<std::array<double, 2>> offsets;
    for (int k = 0; k < passes; ++k) {
        auto centred = [&](int cell) { return cell * 2 < passes ? double(cell) / passes : double(cell) / passes - 1; };
        offsets.push_back({centred(k * generator % passes), centred(k)});
    }
    return offsets;
}

// The pixels of rows first, first + step, ... that get the passes after the
// first: all of them, or with adaptive sampling those whose colour or alpha
// differs from a neighbour's in those rows (left, right, above, below) by
// more than the threshold.
std::vector<bool> NeedsPasses(const RgbaImage &image, const Scene &scene, bool adaptive, int first, int step) {
    const int w = image.width, h = image.height;
    std::vector<bool> more(static_cast<size_t>(w) * h, !adaptive);
    if (!adaptive) return more;
    auto differs = [&](size_t a, size_t b) {
        for (int c = 0; c < 4; ++c)
            if (std::abs(image.rgba[a * 4 + c] - image.rgba[b * 4 + c]) > scene.adaptiveThreshold) return true;
        return false;
    };
    const size_t below = static_cast<size_t>(step) * w;
    for (int y = first; y < h; y += step)
        for (int x = 0; x < w; ++x) {
            size_t at = static_cast<size_t>(y) * w + x;
            if (x + 1 < w && differs(at, at + 1)) more[at] = more[at + 1] = true;
            if (y + step < h && differs(at, at + below)) more[at] = more[at + below] = true;
        }
    return more;
}

}  // namespace

bool Renderer::Shade(int frame, RgbaImage *out, std::string *error) {
    State &st = *state_;
    if (!st.begun && !Begin(error)) return false;
    EvaluationPass pass(st.host);  // the frame's motion, worked out once per item and time
    const Scene &scene = st.host.scene;
    // With motion blur each pass has its own time, the frame's own last of
    // them; it is rendered first, so the buffers are the frame's. The plug-ins
    // are handed the frame being rendered with every pass's time.
    std::vector<double> times = st.host.BlurPassTimes(frame);
    std::rotate(times.begin(), times.end() - 1, times.end());
    const bool blur = times.size() > 1, fields = scene.renderOptions & LWROPT_FIELDS;
    struct PassFrame {
        EmbeddedHost &host;
        int outer;
        ~PassFrame() { host.SetPassFrame(outer); }
    } passFrame{st.host, st.host.SetPassFrame(blur || fields ? frame : EmbeddedHost::kNoPassFrame)};
    auto prepare = [&](double time) {
        if (!st.Prepare(frame, time, error) || st.host.MotionOverrun(error)) return false;
        for (auto &os : st.objects)
            for (auto &list : os.surfaceShaders)
                for (ShaderUse &use : list)
                    if (LWError e = use.handler->newTime(use.instance, frame, time)) return *error = use.server + ": " + e, false;
        active = &st;
        return true;
    };
    if (!prepare(times[0])) return false;
    const int w = st.width, h = st.height;
    out->width = w, out->height = h;
    size_t n = static_cast<size_t>(w) * h;
    out->rgba.assign(n * 4, 0);
    out->depth.assign(n, kBackdropDepth);
    for (auto &buffer : out->buffers) buffer.assign(n, 0);
    // Depth of field without antialiasing takes the low level's passes, as
    // motion blur does.
    const int dof = (scene.renderOptions & LWROPT_DEPTHOFFIELD) ? 5 : 1;
    const std::vector<std::array<double, 2>> offsets =
        SubpixelOffsets(blur ? static_cast<int>(times.size()) : std::max(dof, scene.AntialiasingPasses()));
    const int passes = static_cast<int>(offsets.size());
    std::vector<float> sum(passes > 1 ? n * 4 : 0);
    auto sample = [&](int x, int y, int pass, Vec *colour, double *alpha, SpotRecord *r) {
        // Dithered motion blur pairs each pixel's later passes with the
        // subpixel offsets in an order of its own, so that the passes' steps
        // in time do not line up from pixel to pixel.
        int k = pass;
        if (pass > 0 && blur && scene.ditheredMotionBlur)
            k = 1 + (pass - 1 + static_cast<int>((x * 7919u + y * 104729u) % (passes - 1))) % (passes - 1);
        Vec direction = st.PixelRay(x + 0.5 + offsets[k][0], y + 0.5 + offsets[k][1]), from = st.eye;
        if (st.lensRadius > 0 && pass > 0) {
            // Pass k looks from its own point of the lens, r sqrt(k / N) from
            // its centre at k golden angles, through the pinhole ray's point
            // on the focal plane; the first pass is the pinhole's.
            const double radius = st.lensRadius * std::sqrt(double(pass) / passes), turn = pass * 2.399963229728653;
            Vec focal = Add(st.eye, Scale(direction, st.focus / Dot(direction, st.forward)));
            from = Add(st.eye, Add(Scale(st.right, radius * std::cos(turn)), Scale(st.up, radius * std::sin(turn))));
            direction = Unit(Minus(focal, from));
        }
        st.depth = 0;
        double distance = st.Trace(from, direction, 0, x, y, colour, alpha, r);
        ++primaryRays;
        for (int c = 0; c < 3; ++c) (*colour)[c] = std::clamp((*colour)[c], 0.0, 1.0);
        *alpha = std::clamp(*alpha, 0.0, 1.0);
        return distance < 0 ? distance : distance * Dot(direction, st.forward);
    };
    // The rows first, first + step, ... at the times shifted by `shift`
    // seconds. The first pass, through the pixels' centres, gives the depth
    // and the other buffers; later passes add their colour and alpha.
    auto rows = [&](int first, int step, double shift) {
        if (st.time != times[0] + shift && !prepare(times[0] + shift)) return false;
        for (int y = first; y < h; y += step)
            for (int x = 0; x < w; ++x) {
                Vec colour;
                double alpha;
                SpotRecord r;
                double depth = sample(x, y, 0, &colour, &alpha, &r);
                size_t at = static_cast<size_t>(y) * w + x;
                for (int c = 0; c < 3; ++c) out->rgba[at * 4 + c] = static_cast<unsigned char>(colour[c] * 255 + 0.5);
                out->rgba[at * 4 + 3] = static_cast<unsigned char>(alpha * 255 + 0.5);
                if (!sum.empty()) {
                    for (int c = 0; c < 3; ++c) sum[at * 4 + c] = static_cast<float>(colour[c]);
                    sum[at * 4 + 3] = static_cast<float>(alpha);
                }
                if (depth < 0) continue;
                out->depth[at] = static_cast<float>(depth);
                auto byte = [](double v) { return static_cast<float>(std::floor(std::clamp(v, 0.0, 1.0) * 255 + 0.5)); };
                out->buffers[LWBUF_LUMINOUS][at] = byte(r.luminous);
                out->buffers[LWBUF_DIFFUSE][at] = byte(r.diffuse);
                out->buffers[LWBUF_SPECULAR][at] = byte(r.specular);
                out->buffers[LWBUF_MIRROR][at] = byte(r.mirror);
                out->buffers[LWBUF_TRANS][at] = byte(r.transparency);
                for (int c = 0; c < 3; ++c) out->buffers[LWBUF_RAW_RED + c][at] = byte(r.raw[c]);
                out->buffers[LWBUF_SHADING][at] = static_cast<float>(r.shading);
                out->buffers[LWBUF_SHADOW][at] = static_cast<float>(r.shadow);
                out->buffers[LWBUF_GEOMETRY][at] = static_cast<float>(r.geometry);
                out->buffers[LWBUF_DIFFSHADE][at] = static_cast<float>(r.diffShade);
                out->buffers[LWBUF_SPECSHADE][at] = static_cast<float>(r.specShade);
            }
        if (sum.empty()) return true;
        // Adaptive sampling looks at the first pass alone, so it is left out
        // under motion blur (a moving edge crosses pixels that look flat at one
        // time) and depth of field (a blurred edge spreads over flat ones).
        const std::vector<bool> more = NeedsPasses(*out, scene, !blur && dof == 1 && scene.adaptiveSampling, first, step);
        for (int p = 1; p < passes; ++p) {
            if (blur && !prepare(times[p] + shift)) return false;
            for (int y = first; y < h; y += step)
                for (int x = 0; x < w; ++x) {
                    size_t at = static_cast<size_t>(y) * w + x;
                    if (!more[at]) continue;
                    Vec colour;
                    double alpha;
                    SpotRecord r;
                    sample(x, y, p, &colour, &alpha, &r);
                    for (int c = 0; c < 3; ++c) sum[at * 4 + c] += static_cast<float>(colour[c]);
                    sum[at * 4 + 3] += static_cast<float>(alpha);
                }
        }
        for (int y = first; y < h; y += step)
            for (size_t at = static_cast<size_t>(y) * w, end = at + w; at < end; ++at)
                if (more[at])
                    for (int c = 0; c < 4; ++c)
                        out->rgba[at * 4 + c] = static_cast<unsigned char>(sum[at * 4 + c] / passes * 255 + 0.5);
        return true;
    };
    if (!fields) return rows(0, 1, 0) && (!blur || prepare(times[0]));
    // Fields: the first in time half a frame before the frame, the second at
    // its time (the host's own timing is not published: unconfirmed). The
    // first field holds the even lines (counting the top line as 0), or with
    // ReverseFields the odd ones. The filters after it see the frame's time.
    const double half = 0.5 / scene.framesPerSecond;
    const int early = scene.reverseFields ? 1 : 0;
    return rows(early, 2, -half) && rows(1 - early, 2, 0) && prepare(times[0]);
}

bool Renderer::Render(int frame, RgbaImage *out, std::string *error) {
    if (!Shade(frame, out, error)) return false;
    State &st = *state_;
    EvaluationPass pass(st.host);
    active = &st;  // pixel filters that trace see this frame
    for (const FilterPluginUse &use : st.host.scene.filterPlugins)
        if (use.pixel && !RunPixelFilter(use.pixel, use.instance, out, frame, st.time, error, &kRays)) {
            *error = use.server + ": " + *error;
            return false;
        }
    // The exposure: from the first motion-blur pass to the frame's own time.
    const double exposureStart = st.host.BlurPassTimes(frame).front();
    for (const FilterPluginUse &use : st.host.scene.filterPlugins)
        if (use.image && !RunImageFilter(use.image, use.instance, out, frame, st.time, error, exposureStart)) {
            *error = use.server + ": " + *error;
            return false;
        }
    return true;
}

const RayFunctions &Renderer::Rays() const {
    active = state_.get();
    return kRays;
}

size_t Renderer::Triangles() const { return state_->tracer.Triangles().size(); }
