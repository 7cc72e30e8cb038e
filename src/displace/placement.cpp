#include "displace/placement.h"

#include <cmath>
#include <cstring>

#include "services/host_services.h"

void PlaceItem(LWItemID item, double time, Placement *out) {
    std::memset(out, 0, sizeof *out);
    if (!item) {
        for (int i = 0; i < 3; ++i) out->m[i][i] = 1;
        return;
    }
    double axis[3];
    for (int column = 0; column < 3; ++column) {
        hostServices.itemInfo->param(item, LWIP_RIGHT + column, time, axis);
        for (int row = 0; row < 3; ++row) out->m[row][column] = axis[row];
    }
    hostServices.itemInfo->param(item, LWIP_W_POSITION, time, out->t);
}

void PlaceForward(const Placement &p, const double v[3], double out[3]) {
    for (int r = 0; r < 3; ++r) out[r] = p.m[r][0] * v[0] + p.m[r][1] * v[1] + p.m[r][2] * v[2] + p.t[r];
}

void PrepareInverse(Placement *p) {
    if (p->inverseValid) return;
    const double(*m)[3] = p->m;
    double cofactor[3][3];
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c) {
            int r1 = (r + 1) % 3, r2 = (r + 2) % 3, c1 = (c + 1) % 3, c2 = (c + 2) % 3;
            cofactor[r][c] = m[r1][c1] * m[r2][c2] - m[r1][c2] * m[r2][c1];
        }
    double det = m[0][0] * cofactor[0][0] + m[0][1] * cofactor[0][1] + m[0][2] * cofactor[0][2];
    double k = std::fabs(det) > 1e-300 ? 1 / det : 0;
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c) p->inverse[r][c] = cofactor[c][r] * k;
    for (int r = 0; r < 3; ++r)
        p->inverseT[r] = -(p->inverse[r][0] * p->t[0] + p->inverse[r][1] * p->t[1] + p->inverse[r][2] * p->t[2]);
    p->inverseValid = 1;
}

void PlaceInverse(const Placement &p, const double v[3], double out[3]) {
    for (int r = 0; r < 3; ++r)
        out[r] = p.inverse[r][0] * v[0] + p.inverse[r][1] * v[1] + p.inverse[r][2] * v[2] + p.inverseT[r];
}

void RelativePlacement(const Placement &object, Placement *other, Placement *out) {
    PrepareInverse(other);
    std::memset(out, 0, sizeof *out);
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c)
            for (int k = 0; k < 3; ++k) out->m[r][c] += other->inverse[r][k] * object.m[k][c];
        for (int k = 0; k < 3; ++k) out->t[r] += other->inverse[r][k] * object.t[k];
        out->t[r] += other->inverseT[r];
    }
}
