#include "host/export/gltf_space.h"

#include <cmath>

#include "helpers/transform.h"
#include "helpers/units.h"

namespace gltf {

Vec3 FromHost(const Vec3 &v) { return {v[0], v[1], -v[2]}; }

Quat Rotation(const Vec3 &hpbDegrees, const Quat &previous) {
    const Mat3 rows = RotationRows({hpbDegrees[0] * kRadiansPerDegree, hpbDegrees[1] * kRadiansPerDegree,
                                    hpbDegrees[2] * kRadiansPerDegree});
    // The host's row i is where its axis i goes: column i of the turn as
    // glTF's column vectors see it, then mirrored in Z on both sides.
    const double s[3] = {1, 1, -1};
    double m[3][3];
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) m[i][j] = s[i] * s[j] * rows[j][i];
    // The quaternion of a rotation matrix, from its largest diagonal term
    // for accuracy.
    double x, y, z, w, trace = m[0][0] + m[1][1] + m[2][2];
    if (trace > 0) {
        double k = 0.5 / std::sqrt(trace + 1);
        w = 0.25 / k, x = (m[2][1] - m[1][2]) * k, y = (m[0][2] - m[2][0]) * k, z = (m[1][0] - m[0][1]) * k;
    } else if (m[0][0] > m[1][1] && m[0][0] > m[2][2]) {
        double k = 2 * std::sqrt(1 + m[0][0] - m[1][1] - m[2][2]);
        w = (m[2][1] - m[1][2]) / k, x = 0.25 * k, y = (m[0][1] + m[1][0]) / k, z = (m[0][2] + m[2][0]) / k;
    } else if (m[1][1] > m[2][2]) {
        double k = 2 * std::sqrt(1 + m[1][1] - m[0][0] - m[2][2]);
        w = (m[0][2] - m[2][0]) / k, x = (m[0][1] + m[1][0]) / k, y = 0.25 * k, z = (m[1][2] + m[2][1]) / k;
    } else {
        double k = 2 * std::sqrt(1 + m[2][2] - m[0][0] - m[1][1]);
        w = (m[1][0] - m[0][1]) / k, x = (m[0][2] + m[2][0]) / k, y = (m[1][2] + m[2][1]) / k, z = 0.25 * k;
    }
    double length = std::sqrt(x * x + y * y + z * z + w * w);
    Quat q{x / length, y / length, z / length, w / length};
    if (q[0] * previous[0] + q[1] * previous[1] + q[2] * previous[2] + q[3] * previous[3] < 0)
        for (double &c : q) c = -c;
    return q;
}

NodeTransform NodeFromMotion(const double motion[9], const Vec3 &parentPivot, const Quat &previous) {
    return {FromHost({motion[0] - parentPivot[0], motion[1] - parentPivot[1], motion[2] - parentPivot[2]}),
            Rotation({motion[3], motion[4], motion[5]}, previous),
            {motion[6], motion[7], motion[8]}};
}

std::vector<int> SampledFrames(int first, int last, int step) {
    std::vector<int> frames;
    if (step < 1) step = 1;
    for (int f = first; f < last; f += step) frames.push_back(f);
    frames.push_back(last);
    return frames;
}

}  // namespace gltf
