// A globe of quads round `centre` (rows of `around` points from pole to pole,
// `down` bands), each quad wound to face outwards as the renderer's one-sided
// polygons need; its one surface, white, shades every polygon.
#pragma once

#include <cmath>
#include <utility>

#include "host/object_file.h"

inline void MakeGlobe(ObjectGeometry &g, std::array<double, 3> centre, double radius, int around, int down) {
    const double pi = 3.14159265358979323846;
    for (int i = 0; i <= down; ++i)
        for (int j = 0; j < around; ++j) {
            double t = pi * i / down, p = 2 * pi * j / around;
            g.points.push_back({centre[0] + radius * std::sin(t) * std::cos(p), centre[1] + radius * std::cos(t),
                                centre[2] + radius * std::sin(t) * std::sin(p)});
        }
    auto at = [&](int i, int j) { return i * around + (j % around); };
    for (int i = 0; i < down; ++i)
        for (int j = 0; j < around; ++j) {
            std::vector<int> q = {at(i, j), at(i, j + 1), at(i + 1, j + 1), at(i + 1, j)};
            const auto &a = g.points[q[0]], &b = g.points[q[1]], &c = g.points[q[2]];
            double u[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]}, w[3] = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
            double n[3] = {u[1] * w[2] - u[2] * w[1], u[2] * w[0] - u[0] * w[2], u[0] * w[1] - u[1] * w[0]};
            if (n[0] * (c[0] - centre[0]) + n[1] * (c[1] - centre[1]) + n[2] * (c[2] - centre[2]) < 0)
                std::swap(q[1], q[3]);
            g.polygons.push_back(q);
        }
    g.surfaces.assign(1, {});
    g.surfaces[0].name = "Plain", g.surfaces[0].color = {1, 1, 1};
    g.polygonSurface.assign(g.polygons.size(), 0);
}
