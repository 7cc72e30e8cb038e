// An object's polygons as the renderer shades them: each cut into triangles
// (ears clipped, concave polygons included), with a normal at each corner
// averaged over the polygons of its surface that meet there within the
// surface's smoothing angle. The renderer builds its frames from it, and the
// glTF export its meshes.
#pragma once

#include <array>
#include <cmath>
#include <vector>

#include "host/object_file.h"

namespace render {

using Vec = std::array<double, 3>;

// The renderer's vector arithmetic, shared with the meshes' smoothing so both
// round alike.
inline double Dot(const Vec &a, const Vec &b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
inline Vec Add(const Vec &a, const Vec &b) { return {a[0] + b[0], a[1] + b[1], a[2] + b[2]}; }
inline Vec Minus(const Vec &a, const Vec &b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
inline Vec Scale(const Vec &a, double k) { return {a[0] * k, a[1] * k, a[2] * k}; }
inline Vec Unit(const Vec &a) {
    double n = std::sqrt(Dot(a, a));
    return n > 0 ? Scale(a, 1 / n) : a;
}

struct SmoothedPolygon {
    int surface = -1;                           // into the geometry's surfaces; -1 none
    Vec face{};                                 // the unit normal of the front
    std::vector<Vec> cornerNormals;             // one a corner, in the polygon's order
    std::vector<std::array<int, 3>> triangles;  // corners of the polygon, front turning as it does
};
// One a polygon of `g`, with its points at `points` (the geometry's, moved).
std::vector<SmoothedPolygon> SmoothPolygons(const ObjectGeometry &g, const std::vector<Vec> &points);

// Polygon corners in a plane cut into triangles, and a polygon's normal.
std::vector<std::array<int, 3>> Triangulate(const std::vector<int> &polygon, const std::vector<Vec> &points,
                                            const Vec &normal);
Vec PolygonNormal(const std::vector<int> &polygon, const std::vector<Vec> &points);

}  // namespace render
