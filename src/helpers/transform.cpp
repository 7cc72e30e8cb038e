#include "helpers/transform.h"

#include <cmath>

#include "services/host_services.h"
#include "helpers/units.h"

namespace {


Vec3 Times(const Vec3 &v, const Mat3 &m) {
    return {v[0] * m[0][0] + v[1] * m[1][0] + v[2] * m[2][0], v[0] * m[0][1] + v[1] * m[1][1] + v[2] * m[2][1],
            v[0] * m[0][2] + v[1] * m[1][2] + v[2] * m[2][2]};
}

double Length(const Vec3 &v) { return std::sqrt(Dot(v, v)); }

}  // namespace

double Dot(const Vec3 &a, const Vec3 &b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

Vec3 Cross(const Vec3 &a, const Vec3 &b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

Vec3 Normalised(const Vec3 &a) {
    double k = 1 / (Length(a) + 1e-16);
    return {a[0] * k, a[1] * k, a[2] * k};
}

Transform Identity() { return {{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}}, {0, 0, 0}}; }

Transform ItemWorldTransform(LWItemID item, double time) {
    if (!item) return Identity();
    Transform t;
    const LWItemInfo *info = hostServices.itemInfo;
    info->param(item, LWIP_RIGHT, time, t.rows[0].data());
    info->param(item, LWIP_UP, time, t.rows[1].data());
    info->param(item, LWIP_FORWARD, time, t.rows[2].data());
    info->param(item, LWIP_W_POSITION, time, t.position.data());
    return t;
}

Transform Inverse(const Transform &t) {
    const Mat3 &m = t.rows;
    Mat3 c = {{{m[1][1] * m[2][2] - m[1][2] * m[2][1], m[0][2] * m[2][1] - m[0][1] * m[2][2],
                m[0][1] * m[1][2] - m[0][2] * m[1][1]},
               {m[1][2] * m[2][0] - m[1][0] * m[2][2], m[0][0] * m[2][2] - m[0][2] * m[2][0],
                m[0][2] * m[1][0] - m[0][0] * m[1][2]},
               {m[1][0] * m[2][1] - m[1][1] * m[2][0], m[0][1] * m[2][0] - m[0][0] * m[2][1],
                m[0][0] * m[1][1] - m[0][1] * m[1][0]}}};
    double det = m[0][0] * c[0][0] + m[0][1] * c[1][0] + m[0][2] * c[2][0];
    // A collapsed item (scale 0) has no inverse; it maps everything to its position.
    double k = std::fabs(det) > 1e-300 ? 1 / det : 0;
    for (Vec3 &row : c)
        for (double &x : row) x *= k;
    Transform inv;
    inv.rows = c;
    Vec3 p = Times(t.position, c);
    inv.position = {-p[0], -p[1], -p[2]};
    return inv;
}

Transform Product(const Transform &a, const Transform &b) {
    Transform r;
    for (int i = 0; i < 3; ++i) r.rows[i] = Times(a.rows[i], b.rows);
    r.position = Apply(b, a.position);
    return r;
}

Vec3 Apply(const Transform &t, const Vec3 &p) {
    Vec3 v = Times(p, t.rows);
    return {v[0] + t.position[0], v[1] + t.position[1], v[2] + t.position[2]};
}

Vec3 RotateDirection(const Transform &t, const Vec3 &d) { return Times(d, t.rows); }

Mat3 RotationRows(const Vec3 &hpb) {
    double sh = std::sin(hpb[0]), ch = std::cos(hpb[0]);
    double sp = std::sin(hpb[1]), cp = std::cos(hpb[1]);
    double sb = std::sin(hpb[2]), cb = std::cos(hpb[2]);
    return {{{ch * cb + sh * sp * sb, cp * sb, -sh * cb + ch * sp * sb},
             {-ch * sb + sh * sp * cb, cp * cb, sh * sb + ch * sp * cb},
             {sh * cp, -sp, ch * cp}}};
}

Transform ComposeLocal(const Vec3 &position, const Vec3 &hpb, const Vec3 &scale) {
    Transform t{RotationRows(hpb), position};
    for (int i = 0; i < 3; ++i)
        for (double &x : t.rows[i]) x *= scale[i];
    return t;
}

Vec3 RowsToHpb(const Mat3 &m) {
    const Vec3 &r = m[0], &u = m[1], &f = m[2];
    double s = -f[1];
    s = s > 1 ? 1 : (s < -1 ? -1 : s);
    double pitch = std::asin(s);
    if (std::cos(pitch) > 1e-9) return {std::atan2(f[0], f[2]), pitch, std::atan2(r[1], u[1])};
    // Looking straight down or up: only heading minus (or plus) bank is known; bank 0.
    return pitch > 0 ? Vec3{std::atan2(u[0], u[2]), pitch, 0} : Vec3{std::atan2(-u[0], -u[2]), pitch, 0};
}

Decomposition Decompose(const Transform &t) {
    Decomposition d;
    d.position = t.position;
    Mat3 unit;
    for (int i = 0; i < 3; ++i) {
        d.scale[i] = Length(t.rows[i]);
        double k = d.scale[i] > 0 ? 1 / d.scale[i] : 0;
        unit[i] = {t.rows[i][0] * k, t.rows[i][1] * k, t.rows[i][2] * k};
    }
    d.hpb[0] = RowsToHpb(unit);
    d.hpb[1] = {d.hpb[0][0] + kPi, kPi - d.hpb[0][1], d.hpb[0][2] + kPi};
    return d;
}

Quaternion AxisAngle(const Vec3 &axis, double angle) {
    Vec3 a = Normalised(axis);
    double s = std::sin(angle / 2);
    return {std::cos(angle / 2), a[0] * s, a[1] * s, a[2] * s};
}

Quaternion Multiply(const Quaternion &a, const Quaternion &b) {
    return {a.w * b.w - a.x * b.x - a.y * b.y - a.z * b.z, a.w * b.x + a.x * b.w + a.y * b.z - a.z * b.y,
            a.w * b.y - a.x * b.z + a.y * b.w + a.z * b.x, a.w * b.z + a.x * b.y - a.y * b.x + a.z * b.w};
}

// The usual matrix of q acting on column vectors has the turned axes as its
// columns; the host's rows are those columns.
Mat3 QuaternionRows(const Quaternion &q) {
    double w = q.w, x = q.x, y = q.y, z = q.z;
    return {{{1 - 2 * (y * y + z * z), 2 * (x * y + w * z), 2 * (x * z - w * y)},
             {2 * (x * y - w * z), 1 - 2 * (x * x + z * z), 2 * (y * z + w * x)},
             {2 * (x * z + w * y), 2 * (y * z - w * x), 1 - 2 * (x * x + y * y)}}};
}

Vec3 AxisToDirection(const Vec3 &axis, const Vec3 &direction, double roll) {
    if (Dot(direction, direction) < 1e-13 || Dot(axis, axis) < 1e-14) return {0, 0, 0};
    Vec3 a = Normalised(axis), d = Normalised(direction);
    Vec3 r = Cross(a, d);
    if (Dot(r, r) < 1e-7) {
        r = {0, -a[2], a[1]};
        if (Dot(r, r) < 1e-7) r = {-a[1], a[0], 0};
    }
    r = Normalised(r);
    double c = (Dot(a, d) + 1) * 0.5;
    double w = std::sqrt(c < 0 ? 0 : c);
    double s = std::sqrt(1 - w * w < 0 ? 0 : 1 - w * w);
    Quaternion q = {w, s * r[0], s * r[1], s * r[2]};
    // The roll turns about d after a is brought onto it.
    if (roll != 0) q = Multiply(AxisAngle(d, roll), q);
    return RowsToHpb(QuaternionRows(q));
}
