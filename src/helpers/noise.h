// Gradient noise on the integer lattice: at each lattice point a gradient
// picked by the point's hash under a key, blended across the cell by the
// quintic fade, so the noise is 0 at every lattice point and smooth across
// cells. Acid's pattern is made of its octaves.
#pragma once

#include <cstdint>

// t^3 (6t^2 - 15t + 10): 0 to 1 over the cell with zero first and second
// derivatives at both ends.
inline double Fade(double t) { return t * t * t * (t * (6 * t - 15) + 10); }

// One octave at a point, within about -1 to 1; `octaveKey` picks the gradients.
double AcidNoise(uint64_t octaveKey, double x, double y, double z);
