// DropShadow over a 1920 x 1080 frame at the largest radius (20 in each
// direction): the plug-in's gather against the direct sum over every ellipse
// cell (the direct sum lives only here and in the tests).
#include <benchmark/benchmark.h>

#include <random>
#include <string>

#include "../tests/dropshadow_reference.h"
#include "demo_scene.h"
#include "host/passes.h"

namespace {

constexpr int kWidth = 1920, kHeight = 1080;

std::vector<unsigned char> Frame() {
    std::mt19937 random(7);
    std::vector<unsigned char> rgba(static_cast<size_t>(kWidth) * kHeight * 4);
    for (size_t i = 0; i < rgba.size(); ++i) rgba[i] = static_cast<unsigned char>(i % 4 == 3 ? (random() % 3) * 127 : random());
    return rgba;
}

void DropShadowGather(benchmark::State &state) {
    DemoScene bench;
    EmbeddedHost &host = bench.host;
    std::string error;
    host.scene.frameWidth = kWidth;
    host.scene.frameHeight = kHeight;
    auto *h = static_cast<const ImageFilterHandler *>(host.Handler("ImageFilterHandler", "DropShadow", &error));
    LWError failure = nullptr;
    LWInstance shadow = h->create(&failure);  // the default softness 0.4 gives radii of 20
    RgbaImage image;
    image.width = kWidth;
    image.height = kHeight;
    const auto source = Frame();
    for (auto _ : state) {
        image.rgba = source;
        RunImageFilter(h, shadow, &image, 0, 0, &error);
        benchmark::DoNotOptimize(image.rgba.data());
    }
    h->destroy(shadow);
}
BENCHMARK(DropShadowGather)->Unit(benchmark::kMillisecond);

void DropShadowDirectSum(benchmark::State &state) {
    const auto source = Frame();
    ShadowSettings settings;  // the defaults: radii 46.08 and 25.92 (both held at 20), offsets -192 and -75.6
    for (auto _ : state) benchmark::DoNotOptimize(DirectDropShadow(source, kWidth, kHeight, settings, {20, 20, -192, -75}).data());
}
BENCHMARK(DropShadowDirectSum)->Unit(benchmark::kMillisecond)->Iterations(2);

}  // namespace
