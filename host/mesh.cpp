#include "host/mesh.h"

#include <cmath>

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
                // A corner on the ear's own points (a keyhole's bridge passes its
                // two ends twice) cannot block it.
                if (at(other) == at(p) || at(other) == at(q) || at(other) == at(r)) continue;
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


std::vector<SmoothedPolygon> SmoothPolygons(const ObjectGeometry &g, const std::vector<Vec> &points) {
    std::vector<SmoothedPolygon> out(g.polygons.size());
    for (size_t p = 0; p < g.polygons.size(); ++p) out[p].face = PolygonNormal(g.polygons[p], points);
    std::vector<std::vector<int>> touching(points.size());
    for (size_t p = 0; p < g.polygons.size(); ++p)
        for (int i : g.polygons[p]) touching[i].push_back(static_cast<int>(p));
    for (size_t p = 0; p < g.polygons.size(); ++p) {
        const std::vector<int> &polygon = g.polygons[p];
        SmoothedPolygon &sp = out[p];
        sp.surface = p < g.polygonSurface.size() ? g.polygonSurface[p] : -1;
        const Surface *surface = sp.surface >= 0 ? &g.surfaces[sp.surface] : nullptr;
        double cosSmooth = surface && surface->smoothing > 0 ? std::cos(surface->smoothing) : 2;
        sp.cornerNormals.resize(polygon.size());
        for (size_t c = 0; c < polygon.size(); ++c) {
            Vec sum{};
            for (int other : touching[polygon[c]]) {
                bool same = other == static_cast<int>(p) ||
                            (other < static_cast<int>(g.polygonSurface.size()) &&
                             g.polygonSurface[other] == sp.surface && Dot(out[other].face, sp.face) >= cosSmooth);
                if (same) sum = Add(sum, out[other].face);
            }
            sp.cornerNormals[c] = Unit(sum);
        }
        sp.triangles = Triangulate(polygon, points, sp.face);
    }
    return out;
}

}  // namespace render
