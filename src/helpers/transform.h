// Placement arithmetic shared by the item-motion plug-ins, Poke's history and
// the motion export, in the host's convention: row vectors, an item's rows are its right,
// up and forward axes (scaled) in its parent's frame, a point maps as
// p * rows + position, and rotations are heading (Y), pitch (X), bank (Z) with
// rows = Rz(bank) * Rx(pitch) * Ry(heading).
#pragma once

#include <array>

#include "hostapi/lwhost.h"

using Vec3 = std::array<double, 3>;
using Mat3 = std::array<Vec3, 3>;  // rows

struct Transform {
    Mat3 rows;  // right, up, forward
    Vec3 position;
};

Transform Identity();
// An item's world transform at a time, from the host's item information
// (right, up, forward and world position); no item gives the identity.
Transform ItemWorldTransform(LWItemID item, double time);
Transform Inverse(const Transform &t);
// a, then b: the transform that applies a first and b after it.
Transform Product(const Transform &a, const Transform &b);
Vec3 Apply(const Transform &t, const Vec3 &point);
// A direction turned (and scaled) by the 3 x 3 part alone.
Vec3 RotateDirection(const Transform &t, const Vec3 &direction);

// Unit rows of a heading-pitch-bank turn (radians).
Mat3 RotationRows(const Vec3 &hpb);
Transform ComposeLocal(const Vec3 &position, const Vec3 &hpb, const Vec3 &scale);

struct Decomposition {
    Vec3 position, scale;
    Vec3 hpb[2];  // the two heading-pitch-bank triples of the same orientation
};
Decomposition Decompose(const Transform &t);
// Heading, pitch, bank of unit rows.
Vec3 RowsToHpb(const Mat3 &rows);

struct Quaternion {
    double w, x, y, z;
};
Quaternion AxisAngle(const Vec3 &axis, double angle);
Quaternion Multiply(const Quaternion &a, const Quaternion &b);
// Unit rows of the item turned by q: row i is q applied to the i-th axis.
Mat3 QuaternionRows(const Quaternion &q);

// The heading, pitch and bank that turn the item's axis a onto the direction d,
// then roll about d. Degenerate inputs give (0, 0, 0).
Vec3 AxisToDirection(const Vec3 &a, const Vec3 &d, double roll);

double Dot(const Vec3 &a, const Vec3 &b);
Vec3 Cross(const Vec3 &a, const Vec3 &b);
// a / (|a| + 1e-16): the collection's normalisation, safe for the zero vector.
Vec3 Normalised(const Vec3 &a);
