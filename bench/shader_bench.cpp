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
