// The render's geometry: every object's polygons as world-space triangles in
// Embree's bounding-volume hierarchy, each triangle remembering its object,
// polygon and surface, its corners' smoothed normals and its face normal.
// Embree finds the nearest triangle in single precision; the distance and the
// barycentric position are then worked out again in double precision from the
// triangle's own corners, so depths and ray lengths are exact to the geometry.
// Polygons are seen from the side their points run clockwise, unless their
// surface is double-sided; they cast shadows from both sides.
#pragma once

#include <array>
#include <vector>

using Vec3d = std::array<double, 3>;

struct TracedTriangle {
    int object;   // the caller's number for the object
    int polygon;  // the object's polygon
    int surface;  // the object's surface
    bool doubleSided;
    bool castsShadow;
    Vec3d corner[3];
    Vec3d normal[3];  // smoothed, unit
    Vec3d face;       // unit, on the side the polygon is seen from
    bool operator==(const TracedTriangle &) const = default;
};

struct TraceHit {
    double distance;
    const TracedTriangle *triangle;
    double u, v;        // barycentric weights of corners 1 and 2
    bool backside;      // the ray met the polygon from behind (double-sided surfaces only)
};

class Tracer {
public:
    Tracer();
    ~Tracer();
    Tracer(const Tracer &) = delete;
    Tracer &operator=(const Tracer &) = delete;

    // Replaces the geometry: the triangles of every object, then built once.
    // The same triangles as the last build keep that build (passes at other
    // times of a frame where nothing moved).
    void Build(std::vector<TracedTriangle> triangles);
    const std::vector<TracedTriangle> &Triangles() const { return triangles_; }
    long Builds() const { return builds_; }  // hierarchies built, all told

    // The nearest triangle along a unit direction between near and far.
    bool Nearest(const Vec3d &from, const Vec3d &direction, double near, double far, TraceHit *hit) const;
    // Whether anything that casts shadows lies between near and far.
    bool Blocked(const Vec3d &from, const Vec3d &direction, double near, double far) const;

private:
    struct Device;
    Device *device_;
    std::vector<TracedTriangle> triangles_;
    long builds_ = 0;
};
