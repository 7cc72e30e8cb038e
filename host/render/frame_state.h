// The renderer's working state, shared by its parts: the scene's build at a
// time (scene_build.cpp), shading, lights and the host's ray functions
// (shading.cpp), and the passes over the pixels (sampling.cpp); renderer.cpp
// holds the render session. Only the renderer's own files include this.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "host/mesh.h"
#include "host/render/renderer.h"
#include "host/render/tracer.h"

namespace render {

using Vec = Vec3;

inline Vec Mix(const Vec &a, const Vec &b, double t) { return Add(Scale(a, 1 - t), Scale(b, t)); }

// The largest frame side rendered: past any frame the host renders.
constexpr int kLongestSide = 16384;
// Secondary rays start this far (metres, grown with the distance from the
// origin) off the surface they leave, so they do not meet it again.
inline double Offset(const Vec &p) {
    return 1e-4 * (1 + std::max({std::fabs(p[0]), std::fabs(p[1]), std::fabs(p[2])}));
}

inline int NoLight(LWItemID, const double *, double *, double *) { return 0; }
inline double NoRay(const double *, const double *, double *) { return -1; }
inline double NoCast(const double *, const double *) { return -1; }
inline double NoShade(const double *, const double *, ShaderAccess *) { return -1; }

struct ShaderUse {
    const ShaderHandler *handler;
    LWInstance instance;
    std::string server;
    unsigned flags = 0;
    bool owned = false;  // made from the object file here, destroyed here
    long version = 3;    // the handler's: before 3 the access has no ray cast or shade
};

struct FrameLight {
    LWItemID id;
    int type;
    Vec position, forward, colour;
    double cosOuter, cosInner;  // spot: full light inside inner, none outside outer
    bool shadows;
};

// What one ray's spot gives the frame's buffers.
struct SpotRecord {
    double luminous = 0, diffuse = 0, specular = 0, mirror = 0, transparency = 0;
    Vec raw{};
    double shading = 0, shadow = 0, geometry = 0, diffShade = 0, specShade = 0;
};

}  // namespace render

struct Renderer::State {
    EmbeddedHost &host;
    Tracer tracer;
    std::multimap<std::string, render::ShaderUse> mapped;  // by surface name, from the caller
    // Per object of the scene (by its position in scene.objects): its
    // surfaces' shaders, placement at the frame and item.
    struct ObjectState {
        Item *item;
        std::vector<std::vector<render::ShaderUse>> surfaceShaders;
        Placement place;
    };
    std::vector<ObjectState> objects;
    std::vector<render::FrameLight> lights;
    render::Vec ambient{};
    render::Vec eye{}, right{}, up{}, forward{};
    double halfTanV = 0, halfTanH = 0;
    double lensRadius = 0, focus = 0;  // depth of field: none when the radius is 0
    int width = 0, height = 0, frame = 0;
    double time = 0;
    int threads = 1;  // the passes' rows shared among this many
    // The plug-ins a frame calls while its rows are shaded (shaders, and the
    // host services they ask) are called by one thread at a time.
    mutable std::recursive_mutex plugins;
    bool begun = false;
    // The scene's pixel filters started (their init called), in order, and
    // whether this frame's samples go through them (a render with pixel
    // filters, not a shading).
    size_t pixelFiltersStarted = 0;
    bool filterSamples = false;
    void EndPixelFilters();
    RayFunctions rays{};

    explicit State(EmbeddedHost &h) : host(h) {}

    // ---- the frame's geometry, lights and camera ----

    // The scene at a time of the frame: its own, or a motion-blur pass's.
    bool Prepare(int frameNumber, double at, std::string *error);

    // The object's polygons as triangles, with corner normals smoothed over
    // the polygons of the same surface that meet at a point within the
    // surface's smoothing angle.
    void AddObject(int objectIndex, const Item &item, const std::vector<render::Vec> &points,
                   std::vector<TracedTriangle> *out);

    // ---- lights ----

    // Light from a light arriving at a spot, shadows aside: unit direction
    // towards the light, its distance (infinite for a distant light) and its
    // colour (zero outside a spot's cone); whether any arrives.
    bool Arriving(const render::FrameLight &l, const render::Vec &at, render::Vec *toLight, double *distance,
                  render::Vec *colour) const;

    // Whether the light's traced shadow falls on a spot that receives shadows.
    bool Shadowed(const render::FrameLight &l, const render::Vec &at, bool receives, const render::Vec &toLight,
                  double distance) const;

    // ---- backdrop and fog ----

    render::Vec Backdrop(const render::Vec &direction) const;

    render::Vec Fogged(const render::Vec &colour, double distance) const;

    // ---- spots ----

    // The host's record of the spot a ray met, before any shader.
    void FillSpot(const TraceHit &hit, const render::Vec &from, const render::Vec &direction, int sx, int sy,
                  ShaderAccess *sa) const;

    // The surface's shaders in order; what a shader changed in a field its
    // flags do not claim is put back, as the host ignores it.
    void RunShaders(const TraceHit &hit, ShaderAccess *sa) const;

    // The colour and alpha seen along a ray, and how far it went (-1: the backdrop).
    double Trace(const render::Vec &from, const render::Vec &direction, double near, int sx, int sy,
                 render::Vec *colour, double *alpha, render::SpotRecord *record);

    render::Vec PixelRay(double x, double y) const;
};

namespace render {

// The renderer whose frame the ray functions answer from, and those functions.
extern Renderer::State *active;
extern const RayFunctions kRays;
// Rays in flight below the camera's, on this thread.
extern thread_local int rayDepth;

}  // namespace render
