// An object's polygons as the renderer shades them: each cut into triangles
// (ears clipped, concave polygons included), with a normal at each corner
// averaged over the polygons of its surface that meet there within the
// surface's smoothing angle. The renderer builds its frames from it, and the
// glTF export its meshes.
#pragma once

#include <array>
#include <vector>

#include "host/object_file.h"

namespace render {

using Vec = std::array<double, 3>;

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
