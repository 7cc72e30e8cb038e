#include "shaders/facing.h"

#include <cmath>

double FacingCosine(ShaderAccess *spot) {
    double view[3], n2 = 0, v2 = 0;
    for (int i = 0; i < 3; ++i) {
        view[i] = spot->raySource[i] - spot->wPos[i];
        v2 += view[i] * view[i];
        n2 += spot->wNorm[i] * spot->wNorm[i];
    }
    double vl = std::sqrt(v2) + 1e-16, nl = std::sqrt(n2) + 1e-16, c = 0;
    for (int i = 0; i < 3; ++i) {
        spot->wNorm[i] /= nl;
        c += view[i] / vl * spot->wNorm[i];
    }
    return c < 0 ? 0 : (c > 1 ? 1 : c);
}
