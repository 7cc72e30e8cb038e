// The embedded host's renderer: a frame of the studio example (three objects,
// two lights with traced shadows, a mirror floor, the haze filter) and of a
// 100,000-triangle globe at 640 x 480, and one rayCast into that globe's scene.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>

#include "demo_scene.h"
#include "host/render/renderer.h"

namespace {

// The studio's frame 6, rendered with its filters, again and again.
void RenderStudio(benchmark::State &state, DemoScene &studio) {
    Renderer renderer(studio.host);
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

// The argument is the antialiasing level: 0 one ray a pixel, 1 to 3 five,
// nine and seventeen passes over every pixel (adaptive sampling off).
void StudioFrame(benchmark::State &state) {
    DemoScene studio("studio_demo.lws");
    studio.host.scene.antialiasing = static_cast<int>(state.range(0));
    studio.host.scene.adaptiveSampling = false;
    RenderStudio(state, studio);
}
BENCHMARK(StudioFrame)->DenseRange(0, 3)->Unit(benchmark::kMillisecond);

// The studio frame with motion blur over half a frame at the medium level:
// nine passes, each with the scene built at its own time.
void StudioFrameMotionBlur(benchmark::State &state) {
    DemoScene studio("studio_demo.lws");
    Scene &scene = studio.host.scene;
    scene.antialiasing = 2, scene.adaptiveSampling = false;
    scene.renderOptions |= LWROPT_MOTIONBLUR;
    scene.cameras.front()->blurLength = ConstantChannel(0.5);
    RenderStudio(state, studio);
}
BENCHMARK(StudioFrameMotionBlur)->Unit(benchmark::kMillisecond);

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
