#include "helpers/noise.h"

#include <algorithm>
#include <cmath>

#include "helpers/random.h"

namespace {

// Twelve edge directions of the cube, four repeated, picked by the top four
// bits of the corner's hash.
constexpr double kGradients[16][3] = {
    {1, 1, 0}, {-1, 1, 0}, {1, -1, 0}, {-1, -1, 0}, {1, 0, 1}, {-1, 0, 1}, {1, 0, -1}, {-1, 0, -1},
    {0, 1, 1}, {0, -1, 1}, {0, 1, -1}, {0, -1, -1}, {1, 1, 0}, {-1, 1, 0}, {0, -1, 1}, {0, -1, -1},
};

}  // namespace

double AcidNoise(uint64_t octaveKey, double x, double y, double z) {
    const double at[3] = {x, y, z};
    int64_t cell[3];
    double t[3];
    for (int i = 0; i < 3; ++i) {
        double v = std::clamp(at[i], -1e9, 1e9), f = std::floor(v);
        cell[i] = static_cast<int32_t>(f);
        t[i] = v - f;
    }
    double corner[2][2][2];
    for (int dx = 0; dx < 2; ++dx) {
        uint64_t hx = VeskStep(octaveKey, static_cast<uint64_t>(cell[0] + dx));
        for (int dy = 0; dy < 2; ++dy) {
            uint64_t hy = VeskStep(hx, static_cast<uint64_t>(cell[1] + dy));
            for (int dz = 0; dz < 2; ++dz) {
                const double *g = kGradients[VeskStep(hy, static_cast<uint64_t>(cell[2] + dz)) >> 60];
                corner[dx][dy][dz] = g[0] * (t[0] - dx) + g[1] * (t[1] - dy) + g[2] * (t[2] - dz);
            }
        }
    }
    const double sx = Fade(t[0]), sy = Fade(t[1]), sz = Fade(t[2]);
    double e[2][2], f[2];
    for (int dy = 0; dy < 2; ++dy)
        for (int dz = 0; dz < 2; ++dz) e[dy][dz] = corner[0][dy][dz] + sx * (corner[1][dy][dz] - corner[0][dy][dz]);
    for (int dz = 0; dz < 2; ++dz) f[dz] = e[0][dz] + sy * (e[1][dz] - e[0][dz]);
    return f[0] + sz * (f[1] - f[0]);
}
