#include "host/render/tracer.h"

#include <embree3/rtcore.h>

#include <cmath>
#include <limits>

namespace {

double Dot(const Vec3d &a, const Vec3d &b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
Vec3d Minus(const Vec3d &a, const Vec3d &b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
Vec3d Cross(const Vec3d &a, const Vec3d &b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

// The ray's context: whether it looks for shadow casters.
struct Context {
    RTCIntersectContext embree;
    bool shadow;
};

// One-sided polygons are invisible from behind, but stop light from either
// side; objects that cast no shadow do not stop shadow rays.
void Filter(const RTCFilterFunctionNArguments *args) {
    const auto *triangles = static_cast<const std::vector<TracedTriangle> *>(args->geometryUserPtr);
    const auto *context = reinterpret_cast<const Context *>(args->context);
    for (unsigned i = 0; i < args->N; ++i) {
        if (args->valid[i] != -1) continue;
        const TracedTriangle &t = (*triangles)[RTCHitN_primID(args->hit, args->N, i)];
        Vec3d direction = {RTCRayN_dir_x(args->ray, args->N, i), RTCRayN_dir_y(args->ray, args->N, i),
                           RTCRayN_dir_z(args->ray, args->N, i)};
        bool fromBehind = Dot(t.face, direction) > 0;
        if (context->shadow ? !t.castsShadow : fromBehind && !t.doubleSided) args->valid[i] = 0;
    }
}

// The exact distance and barycentric position on the triangle (Moller and
// Trumbore's solution, in double precision).
bool Exact(const TracedTriangle &t, const Vec3d &from, const Vec3d &direction, double *distance, double *u, double *v) {
    Vec3d e1 = Minus(t.corner[1], t.corner[0]), e2 = Minus(t.corner[2], t.corner[0]);
    Vec3d p = Cross(direction, e2);
    double det = Dot(e1, p);
    if (det == 0) return false;
    Vec3d s = Minus(from, t.corner[0]);
    *u = Dot(s, p) / det;
    Vec3d q = Cross(s, e1);
    *v = Dot(direction, q) / det;
    *distance = Dot(e2, q) / det;
    return true;
}

RTCRay Ray(const Vec3d &from, const Vec3d &direction, double near, double far) {
    RTCRay ray{};
    ray.org_x = static_cast<float>(from[0]), ray.org_y = static_cast<float>(from[1]), ray.org_z = static_cast<float>(from[2]);
    ray.dir_x = static_cast<float>(direction[0]), ray.dir_y = static_cast<float>(direction[1]),
    ray.dir_z = static_cast<float>(direction[2]);
    ray.tnear = static_cast<float>(near);
    ray.tfar = far >= std::numeric_limits<float>::max() ? std::numeric_limits<float>::infinity() : static_cast<float>(far);
    ray.mask = ~0u;
    return ray;
}

}  // namespace

struct Tracer::Device {
    RTCDevice device = rtcNewDevice("threads=1");
    RTCScene scene = nullptr;
    ~Device() {
        if (scene) rtcReleaseScene(scene);
        rtcReleaseDevice(device);
    }
};

Tracer::Tracer() : device_(new Device) {}
Tracer::~Tracer() { delete device_; }

void Tracer::Build(std::vector<TracedTriangle> triangles) {
    if (builds_ > 0 && triangles == triangles_) return;
    triangles_ = std::move(triangles);
    if (device_->scene) rtcReleaseScene(device_->scene);
    device_->scene = rtcNewScene(device_->device);
    // Watertight: a ray grazing a shared edge far away must not slip between
    // the two triangles and show the backdrop through the floor.
    rtcSetSceneFlags(device_->scene, RTC_SCENE_FLAG_ROBUST);
    if (!triangles_.empty()) {
        RTCGeometry mesh = rtcNewGeometry(device_->device, RTC_GEOMETRY_TYPE_TRIANGLE);
        auto *points = static_cast<float *>(rtcSetNewGeometryBuffer(mesh, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3,
                                                                     3 * sizeof(float), 3 * triangles_.size()));
        auto *corners = static_cast<unsigned *>(rtcSetNewGeometryBuffer(mesh, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3,
                                                                         3 * sizeof(unsigned), triangles_.size()));
        for (size_t t = 0; t < triangles_.size(); ++t)
            for (int c = 0; c < 3; ++c) {
                for (int i = 0; i < 3; ++i) points[9 * t + 3 * c + i] = static_cast<float>(triangles_[t].corner[c][i]);
                corners[3 * t + c] = static_cast<unsigned>(3 * t + c);
            }
        rtcSetGeometryUserData(mesh, &triangles_);
        rtcSetGeometryIntersectFilterFunction(mesh, Filter);
        rtcSetGeometryOccludedFilterFunction(mesh, Filter);
        rtcCommitGeometry(mesh);
        rtcAttachGeometry(device_->scene, mesh);
        rtcReleaseGeometry(mesh);
    }
    rtcCommitScene(device_->scene);
    ++builds_;
}

bool Tracer::Nearest(const Vec3d &from, const Vec3d &direction, double near, double far, TraceHit *hit) const {
    Context context;
    rtcInitIntersectContext(&context.embree);
    context.shadow = false;
    RTCRayHit rayHit{};
    rayHit.ray = Ray(from, direction, near, far);
    rayHit.hit.geomID = RTC_INVALID_GEOMETRY_ID;
    rtcIntersect1(device_->scene, &context.embree, &rayHit);
    if (rayHit.hit.geomID == RTC_INVALID_GEOMETRY_ID) return false;
    const TracedTriangle &t = triangles_[rayHit.hit.primID];
    hit->triangle = &t;
    if (!Exact(t, from, direction, &hit->distance, &hit->u, &hit->v)) {
        hit->distance = rayHit.ray.tfar, hit->u = rayHit.hit.u, hit->v = rayHit.hit.v;
    }
    hit->backside = Dot(t.face, direction) > 0;
    return true;
}

bool Tracer::Blocked(const Vec3d &from, const Vec3d &direction, double near, double far) const {
    Context context;
    rtcInitIntersectContext(&context.embree);
    context.shadow = true;
    RTCRay ray = Ray(from, direction, near, far);
    rtcOccluded1(device_->scene, &context.embree, &ray);
    return ray.tfar < 0;
}
