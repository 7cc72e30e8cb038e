// The embedded host's renderer: a frame of the studio example (three objects,
// two lights with traced shadows, a mirror floor, the haze filter) and of a
// 100,000-triangle globe at 640 x 480, and one rayCast into that globe's scene.
#include <benchmark/benchmark.h>

#include <cmath>
#include <limits>
#include <random>

#include <embree3/rtcore.h>

#include "demo_scene.h"
#include "host/render/renderer.h"
#include "host/render/tracer.h"

namespace {

// The studio's frame 6, rendered with its filters, again and again, its
// passes' rows shared among `threads` threads.
void RenderStudio(benchmark::State &state, DemoScene &studio, int threads = 1) {
    Renderer renderer(studio.host);
    renderer.SetThreads(threads);
    RgbaImage image;
    std::string error;
    for (auto _ : state) {
        if (!renderer.Render(6, &image, &error)) state.SkipWithError(error.c_str());
        benchmark::DoNotOptimize(image.rgba.data());
    }
    state.counters["triangles"] = static_cast<double>(renderer.Triangles());
    state.counters["frames/s"] = benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
    state.counters["primary rays/s"] =
        benchmark::Counter(static_cast<double>(renderer.primaryRays), benchmark::Counter::kIsRate);
}

// The arguments: the antialiasing level (0 one ray a pixel, 1 to 3 five,
// nine and seventeen passes over every pixel, adaptive sampling off) and the
// threads sharing each pass.
void StudioFrame(benchmark::State &state) {
    DemoScene studio("studio_demo.lws");
    studio.host.scene.antialiasing = static_cast<int>(state.range(0));
    studio.host.scene.adaptiveSampling = false;
    RenderStudio(state, studio, static_cast<int>(state.range(1)));
}
BENCHMARK(StudioFrame)->ArgsProduct({{0, 1, 2, 3}, {1, 2}})->Unit(benchmark::kMillisecond)->UseRealTime();

// The studio frame with motion blur over half a frame at the medium level:
// nine passes, each with the scene built at its own time; the argument is
// the threads sharing each pass.
void StudioFrameMotionBlur(benchmark::State &state) {
    DemoScene studio("studio_demo.lws");
    Scene &scene = studio.host.scene;
    scene.antialiasing = 2, scene.adaptiveSampling = false;
    scene.renderOptions |= LWROPT_MOTIONBLUR;
    scene.cameras.front()->blurLength = ConstantChannel(0.5);
    RenderStudio(state, studio, static_cast<int>(state.range(0)));
}
BENCHMARK(StudioFrameMotionBlur)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

// The studio frame's primary rays, one through each pixel's centre of its
// 640 x 480 frame from the camera, against the geometry of frame 6: traced
// by the renderer's tracer (Embree's query, then the distance worked out
// again in double precision, one-sided polygons filtered), and by Embree's
// own single-ray query on the same triangles with nothing around it. The
// frame's full render (StudioFrame/0) gives a pass's rays a second with
// shading, lights, shadows and filters.
struct StudioRays {
    DemoScene studio{"studio_demo.lws"};
    Renderer renderer{studio.host};
    std::vector<Vec3d> directions;
    Vec3d eye{};
    StudioRays() {
        RgbaImage image;
        std::string error;
        renderer.Shade(6, &image, &error);
        const Scene &s = studio.host.scene;
        const Item &camera = *s.cameras.front();
        const double time = 6 / s.framesPerSecond;
        Vec3d axes[3];
        s.Param(camera, LWIP_W_POSITION, time, eye.data());
        for (int i = 0; i < 3; ++i) s.Param(camera, LWIP_RIGHT + i, time, axes[i].data());
        const double halfTan = 1 / 3.2, w = s.frameWidth, h = s.frameHeight;
        for (int y = 0; y < s.frameHeight; ++y)
            for (int x = 0; x < s.frameWidth; ++x) {
                const double u = ((x + 0.5) / w * 2 - 1) * halfTan * w / h, v = (1 - (y + 0.5) / h * 2) * halfTan;
                Vec3d d;
                for (int i = 0; i < 3; ++i) d[i] = u * axes[0][i] + v * axes[1][i] + axes[2][i];
                const double n = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
                directions.push_back({d[0] / n, d[1] / n, d[2] / n});
            }
    }
};

void StudioRaysThroughTheTracer(benchmark::State &state) {
    StudioRays rays;
    const Tracer &tracer = rays.renderer.Geometry();
    long hits = 0;
    for (auto _ : state)
        for (const Vec3d &d : rays.directions) {
            TraceHit hit;
            hits += tracer.Nearest(rays.eye, d, 0, 1e30, &hit);
        }
    state.counters["hit share"] = static_cast<double>(hits) / (state.iterations() * rays.directions.size());
    state.counters["rays/s"] = benchmark::Counter(static_cast<double>(state.iterations() * rays.directions.size()),
                                                  benchmark::Counter::kIsRate);
}
BENCHMARK(StudioRaysThroughTheTracer)->Unit(benchmark::kMillisecond);

void StudioRaysThroughEmbreeAlone(benchmark::State &state) {
    StudioRays rays;
    const std::vector<TracedTriangle> &triangles = rays.renderer.Geometry().Triangles();
    RTCDevice device = rtcNewDevice("threads=1");
    RTCScene scene = rtcNewScene(device);
    RTCGeometry mesh = rtcNewGeometry(device, RTC_GEOMETRY_TYPE_TRIANGLE);
    auto *points = static_cast<float *>(rtcSetNewGeometryBuffer(mesh, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3,
                                                                 3 * sizeof(float), 3 * triangles.size()));
    auto *corners = static_cast<unsigned *>(rtcSetNewGeometryBuffer(mesh, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3,
                                                                     3 * sizeof(unsigned), triangles.size()));
    for (size_t t = 0; t < triangles.size(); ++t)
        for (int c = 0; c < 3; ++c) {
            for (int i = 0; i < 3; ++i) points[9 * t + 3 * c + i] = static_cast<float>(triangles[t].corner[c][i]);
            corners[3 * t + c] = static_cast<unsigned>(3 * t + c);
        }
    rtcCommitGeometry(mesh);
    rtcAttachGeometry(scene, mesh);
    rtcReleaseGeometry(mesh);
    rtcCommitScene(scene);
    long hits = 0;
    for (auto _ : state)
        for (const Vec3d &d : rays.directions) {
            RTCIntersectContext context;
            rtcInitIntersectContext(&context);
            RTCRayHit rh{};
            rh.ray.org_x = static_cast<float>(rays.eye[0]), rh.ray.org_y = static_cast<float>(rays.eye[1]);
            rh.ray.org_z = static_cast<float>(rays.eye[2]);
            rh.ray.dir_x = static_cast<float>(d[0]), rh.ray.dir_y = static_cast<float>(d[1]);
            rh.ray.dir_z = static_cast<float>(d[2]);
            rh.ray.tfar = std::numeric_limits<float>::infinity(), rh.ray.mask = ~0u;
            rh.hit.geomID = RTC_INVALID_GEOMETRY_ID;
            rtcIntersect1(scene, &context, &rh);
            hits += rh.hit.geomID != RTC_INVALID_GEOMETRY_ID;
        }
    state.counters["hit share"] = static_cast<double>(hits) / (state.iterations() * rays.directions.size());
    state.counters["rays/s"] = benchmark::Counter(static_cast<double>(state.iterations() * rays.directions.size()),
                                                  benchmark::Counter::kIsRate);
    rtcReleaseScene(scene);
    rtcReleaseDevice(device);
}
BENCHMARK(StudioRaysThroughEmbreeAlone)->Unit(benchmark::kMillisecond);

// A globe of `around` x 200 quads (250 across: 100,000 triangles; 500:
// 100,000 polygons) filling much of a 640 x 480 frame, lit by a light that
// casts traced shadows.
struct GlobeScene {
    DemoScene demo;
    explicit GlobeScene(int around = 250) {
        Scene &s = demo.host.scene;
        s.frameWidth = 640, s.frameHeight = 480;
        s.rayTraceEffects = 1;
        s.AddCamera("Camera").SetRest({0, 0, -4});
        s.AddLight("Light").SetRest({-3, 3, -3}, {45, 35, 0});
        Item &globe = s.AddObject("Globe", "globe.lwo");
        globe.SetRest({0, 0, 0});
        const int down = 200;
        ObjectGeometry &g = globe.geometry;
        for (int i = 0; i <= down; ++i)
            for (int j = 0; j < around; ++j) {
                double t = M_PI * i / down, p = 2 * M_PI * j / around;
                g.points.push_back({std::sin(t) * std::cos(p), std::cos(t), std::sin(t) * std::sin(p)});
            }
        for (int i = 0; i < down; ++i)
            for (int j = 0; j < around; ++j)
                g.polygons.push_back({i * around + j, (i + 1) * around + j, (i + 1) * around + (j + 1) % around,
                                      i * around + (j + 1) % around});
        g.surfaces.push_back({});
        g.surfaces[0].name = "Globe", g.surfaces[0].smoothing = 1.5, g.surfaces[0].specular = 0.4;
        g.polygonSurface.assign(g.polygons.size(), 0);
    }
};

void HundredThousandTriangles(benchmark::State &state) {
    GlobeScene scene(static_cast<int>(state.range(0)));
    Renderer renderer(scene.demo.host);
    RgbaImage image;
    std::string error;
    for (auto _ : state) {
        if (!renderer.Shade(0, &image, &error)) state.SkipWithError(error.c_str());
        benchmark::DoNotOptimize(image.rgba.data());
    }
    state.counters["triangles"] = static_cast<double>(renderer.Triangles());
    state.counters["frames/s"] = benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(HundredThousandTriangles)->Arg(250)->Arg(500)->Unit(benchmark::kMillisecond);

void RayCastIntoAHundredThousandTriangles(benchmark::State &state) {
    GlobeScene scene;
    Renderer renderer(scene.demo.host);
    RgbaImage image;
    std::string error;
    if (!renderer.Shade(0, &image, &error)) state.SkipWithError(error.c_str());
    const RayFunctions &rays = renderer.Rays();
    std::mt19937 random(5);
    std::uniform_real_distribution<double> spread(-0.3, 0.3);
    std::vector<std::array<double, 3>> directions(4096);
    for (auto &d : directions) d = {spread(random), spread(random), 1};
    const double from[3] = {0, 0, -4};
    size_t i = 0;
    for (auto _ : state) benchmark::DoNotOptimize(rays.rayCast(from, directions[i++ & 4095].data()));
}
BENCHMARK(RayCastIntoAHundredThousandTriangles);

}  // namespace

namespace {

// Enviro's spherical map of the studio from its probe null, 1024 x 512: the
// camera's view is rendered first, then every sample traced again.
void EnviroSphericalMap(benchmark::State &state) {
    DemoScene studio("enviro_demo.lws");
    Renderer renderer(studio.host);
    RgbaImage image;
    std::string error;
    for (auto _ : state) {
        if (!renderer.Render(6, &image, &error)) state.SkipWithError(error.c_str());
        benchmark::DoNotOptimize(image.rgba.data());
    }
}
BENCHMARK(EnviroSphericalMap)->Unit(benchmark::kMillisecond);

// VFog per sample: the mist example's frame 24 (the camera above the layer)
// over a 640 x 360 render, the pixel filter alone.
void VFogPerSample(benchmark::State &state) {
    DemoScene mist("mist_demo.lws");
    Renderer renderer(mist.host);
    RgbaImage rendered, image;
    std::string error;
    if (!renderer.Shade(24, &rendered, &error)) state.SkipWithError(error.c_str());
    const FilterPluginUse &fog = mist.host.scene.filterPlugins.front();
    for (auto _ : state) {
        image = rendered;
        RunPixelFilter(fog.pixel, fog.instance, &image, 24, 1.0, &error);
        benchmark::DoNotOptimize(image.rgba.data());
    }
    state.SetItemsProcessed(state.iterations() * rendered.width * rendered.height);
}
BENCHMARK(VFogPerSample)->Unit(benchmark::kMillisecond);

}  // namespace
