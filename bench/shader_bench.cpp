// The view-angle shaders over a 256 x 256 lit sphere, as vesk shade draws it:
// some 41,000 shading spots a frame, each through the shader's evaluate, with
// Unveil (a few operations a spot) as the yardstick of the host's own share.
#include <benchmark/benchmark.h>

#include <string>

#include "demo_scene.h"
#include "host/passes.h"

namespace {

void ShadeSphere(benchmark::State &state, const char *server) {
    DemoScene bench;
    EmbeddedHost &host = bench.host;
    std::string error;
    auto *h = static_cast<const ShaderHandler *>(host.Handler("ShaderHandler", server, &error));
    LWError failure = nullptr;
    LWInstance shader = h ? h->create(&failure) : nullptr;
    if (!shader) {
        state.SkipWithError("no shader");
        return;
    }
    RgbaImage picture;
    for (auto _ : state) {
        RenderShaderPreview(h, shader, 256, 256, &picture, &error);
        benchmark::DoNotOptimize(picture.rgba.data());
    }
    h->destroy(shader);
}

void HSVBoostSphere(benchmark::State &state) { ShadeSphere(state, "HSVBoost"); }
BENCHMARK(HSVBoostSphere)->Unit(benchmark::kMillisecond);
void EdgeRGBSphere(benchmark::State &state) { ShadeSphere(state, "EdgeRGB"); }
BENCHMARK(EdgeRGBSphere)->Unit(benchmark::kMillisecond);
void UnveilSphere(benchmark::State &state) { ShadeSphere(state, "Unveil"); }
BENCHMARK(UnveilSphere)->Unit(benchmark::kMillisecond);

}  // namespace

namespace {

// PolyPop's cost per spot on an object of a million polygons in its seeded
// order (a Feistel permutation of 2 x 10 bits, a few passes a spot), at frame
// 30 of its default build over frames 1 to 60, spots in a scattered order.
void PolyPopSpot(benchmark::State &state) {
    DemoScene bench;
    EmbeddedHost &host = bench.host;
    Item &thing = host.scene.AddObject("Thing", "thing.lwo");
    thing.numPolygons = 1000000;
    std::string error;
    auto *h = static_cast<const ShaderHandler *>(host.Handler("ShaderHandler", "PolyPop", &error));
    LWError failure = nullptr;
    LWInstance pop = h ? h->create(&failure) : nullptr;
    if (!pop) {
        state.SkipWithError("no PolyPop");
        return;
    }
    h->init(pop);
    h->newTime(pop, 30, 1.0);
    ShaderAccess spot{};
    spot.objID = IdOf(&thing);
    long n = 0;
    for (auto _ : state) {
        spot.polNum = static_cast<int>((n += 7919) % 1000000);
        spot.luminous = 0.2, spot.diffuse = 0.8, spot.transparency = 0, spot.eta = 1.3;
        h->evaluate(pop, &spot);
        benchmark::DoNotOptimize(spot.transparency);
    }
    h->destroy(pop);
}
BENCHMARK(PolyPopSpot);

}  // namespace

namespace {

// BladeBlur per spot: 3 blades at 1000 RPM over half a frame, spots across
// the disc (an arcsine, an arctangent and the covered length each).
void BladeBlurSpot(benchmark::State &state) {
    DemoScene bench;
    EmbeddedHost &host = bench.host;
    host.scene.AddCamera("Camera");
    std::string error;
    auto *h = static_cast<const ShaderHandler *>(host.Handler("ShaderHandler", "BladeBlur", &error));
    LWError failure = nullptr;
    LWInstance blur = h ? h->create(&failure) : nullptr;
    if (!blur) {
        state.SkipWithError("no BladeBlur");
        return;
    }
    h->init(blur);
    h->newTime(blur, 30, 1.0);
    ShaderAccess spot{};
    long n = 0;
    for (auto _ : state) {
        ++n;
        spot.oPos[0] = 0.9 * ((n * 37) % 200 - 100) / 100.0, spot.oPos[1] = 0.9 * ((n * 53) % 200 - 100) / 100.0;
        spot.specular = 0.5;
        h->evaluate(blur, &spot);
        benchmark::DoNotOptimize(spot.transparency);
    }
    h->destroy(blur);
}
BENCHMARK(BladeBlurSpot);

}  // namespace

namespace {

// Acid per spot: six octaves of the ragged pattern, colour, specularity and
// the bump on (four pattern samples a spot), spots scattered over the object.
void AcidSpot(benchmark::State &state) {
    DemoScene bench;
    EmbeddedHost &host = bench.host;
    std::string error;
    auto *h = static_cast<const ShaderHandler *>(host.Handler("ShaderHandler", "Acid", &error));
    LWError failure = nullptr;
    LWInstance acid = h ? h->create(&failure) : nullptr;
    if (!acid) {
        state.SkipWithError("no Acid");
        return;
    }
    const char *text = "BEGIN MARVEN_LABS_PLUGIN Acid\nVERSION 1\n BEGIN NUM DETAIL\n VALUE 6\n END\nEND MARVEN_LABS_PLUGIN Acid\n";
    struct Source {
        const char *at;
    } source{text};
    LWLoadState load = {LWIO_OBJECT, &source, [](void *d, char *buf, int len) {
                            auto *s = static_cast<Source *>(d);
                            int n = 0;
                            while (n < len && *s->at) buf[n++] = *s->at++;
                            return n;
                        }};
    h->load(acid, &load);
    h->init(acid);
    h->newTime(acid, 30, 1.0);
    ShaderAccess spot{};
    for (int i = 0; i < 3; ++i) spot.oXfrm[4 * i] = spot.wXfrm[4 * i] = 1;
    long n = 0;
    for (auto _ : state) {
        ++n;
        spot.oPos[0] = ((n * 37) % 1000) * 0.003, spot.oPos[1] = ((n * 53) % 1000) * 0.003, spot.oPos[2] = 0.1;
        spot.wNorm[0] = 0, spot.wNorm[1] = 1, spot.wNorm[2] = 0, spot.specular = 0.5;
        h->evaluate(acid, &spot);
        benchmark::DoNotOptimize(spot.wNorm[0]);
    }
    h->destroy(acid);
}
BENCHMARK(AcidSpot);

}  // namespace
