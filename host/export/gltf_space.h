// Where the host's items stand in glTF's space, and when they are sampled.
//
// The host's world is left-handed: X right, Y up, Z ahead, and a point of an
// item maps as (p - pivot) * rows + position through its parents (row
// vectors). glTF's is right-handed with Y up, and a camera or light looks
// down its node's -Z. Mirroring Z takes the one to the other: points,
// directions and normals turn (x, y, z) into (x, y, -z) and a turn R
// becomes S R S with S = diag(1, 1, -1). A camera or light looking down the
// host's +Z then looks down glTF's -Z, as glTF's do, and sees the same
// picture: a polygon whose corners run clockwise seen from its front (the
// host's rule) still runs clockwise seen from there, so its triangles are
// written in the other order, glTF's fronts being counter-clockwise.
#pragma once

#include <array>
#include <vector>

namespace gltf {

using Vec3 = std::array<double, 3>;
using Quat = std::array<double, 4>;  // x, y, z, w, as glTF writes them

// A point, direction or normal of the host's space in glTF's.
Vec3 FromHost(const Vec3 &v);

// The turn of heading, pitch and bank (degrees) as glTF's unit quaternion;
// of the two that give it, the one nearer `previous`, so that a sampled turn
// interpolates the short way from one sample to the next.
Quat Rotation(const Vec3 &hpbDegrees, const Quat &previous = {0, 0, 0, 1});

// A triangle of the host's corners in the order glTF's front needs.
inline std::array<int, 3> Winding(const std::array<int, 3> &t) { return {t[0], t[2], t[1]}; }

// A node's translation, rotation and scale in its parent node's space. A
// node turns and scales about its own origin, so each item's node stands at
// its pivot and its points are kept relative to it; a child's pivot sits at
// its position less its parent's pivot.
struct NodeTransform {
    Vec3 translation;
    Quat rotation;
    Vec3 scale;
};
// From an item's motion (nine channels: position, heading-pitch-bank in
// degrees, scale) and its parent's pivot (zero without a parent).
NodeTransform NodeFromMotion(const double motion[9], const Vec3 &parentPivot, const Quat &previous = {0, 0, 0, 1});

// The frames sampled: first to last by step, the last always included.
std::vector<int> SampledFrames(int first, int last, int step);

}  // namespace gltf
