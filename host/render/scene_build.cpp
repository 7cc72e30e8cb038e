// The scene's build at a time: the camera, the objects' displaced polygons
// placed in the world and cut into triangles with smoothed corner normals,
// the lights and the ambient light.
#include <cstring>

#include "host/render/frame_state.h"

using namespace render;

namespace render {

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

}  // namespace render

bool Renderer::State::Prepare(int frameNumber, double at, std::string *error) {
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

void Renderer::State::AddObject(int objectIndex, const Item &item, const std::vector<Vec> &points,
                                std::vector<TracedTriangle> *out) {
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
                            (other < static_cast<int>(g.polygonSurface.size()) &&
                             g.polygonSurface[other] == surfaceIndex && Dot(faces[other], faces[p]) >= cosSmooth);
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
