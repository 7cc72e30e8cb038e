// Lens and Confusion over a 1920 x 1080 frame, run by the host's image-filter
// pass, beside a plain copy of the same frame: the yardstick for a filter
// step that should cost a small multiple of moving the pixels once.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <string>

#include "demo_scene.h"
#include "host/passes.h"
#include "host/scene_file.h"

namespace {

constexpr int kWidth = 1920, kHeight = 1080;

RgbaImage Frame() {
    std::mt19937 random(3);
    RgbaImage image;
    image.width = kWidth;
    image.height = kHeight;
    image.rgba.resize(static_cast<size_t>(kWidth) * kHeight * 4);
    for (unsigned char &v : image.rgba) v = static_cast<unsigned char>(random());
    // Depth from 1 to 60 m across the frame; the focus at 10 m.
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x) image.depth.push_back(1.0f + 59.0f * (x + y) / (kWidth + kHeight));
    return image;
}

void FrameCopy(benchmark::State &state) {
    const RgbaImage source = Frame();
    std::vector<unsigned char> copy(source.rgba.size());
    for (auto _ : state) {
        std::memcpy(copy.data(), source.rgba.data(), copy.size());
        benchmark::DoNotOptimize(copy.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(FrameCopy)->Unit(benchmark::kMillisecond);

// The filter with settings loaded as a scene block would load them.
void RunFilter(benchmark::State &state, const char *server, const std::string &settings) {
    DemoScene bench;
    EmbeddedHost &host = bench.host;
    std::string error;
    host.scene.frameWidth = kWidth;
    host.scene.frameHeight = kHeight;
    std::string text = "LWSC\n1\nPlugin ImageFilterHandler 1 " + std::string(server) + "\nBEGIN MARVEN_LABS_PLUGIN " +
                       server + "\nVERSION 1\n" + settings + "END MARVEN_LABS_PLUGIN " + server + "\nEndPlugin\n";
    if (!LoadSceneText(host, text, "bench.lws", &error)) {
        state.SkipWithError(error.c_str());
        return;
    }
    const FilterPluginUse &use = host.scene.filterPlugins.front();
    const RgbaImage source = Frame();
    RgbaImage image;
    for (auto _ : state) {
        image = source;
        RunImageFilter(use.image, use.instance, &image, 0, 0, &error);
        benchmark::DoNotOptimize(image.rgba.data());
    }
}

const std::string kBarrel = " BEGIN NUM XPIN\n VALUE -0.1\n END\n BEGIN NUM YPIN\n VALUE -0.1\n END\n";

void LensPointSampled(benchmark::State &state) { RunFilter(state, "Lens", kBarrel); }
BENCHMARK(LensPointSampled)->Unit(benchmark::kMillisecond);

void LensBilinear(benchmark::State &state) {
    RunFilter(state, "Lens", kBarrel + " BEGIN BUTTON INTERPOLATE\n  CHECKED YES\n  HIGHLIGHTED YES\n END\n");
}
BENCHMARK(LensBilinear)->Unit(benchmark::kMillisecond);

void ConfusionBlur(benchmark::State &state) { RunFilter(state, "Confusion", ""); }
BENCHMARK(ConfusionBlur)->Unit(benchmark::kMillisecond);

}  // namespace

namespace {
void LensDisabled(benchmark::State &state) {
    RunFilter(state, "Lens", " BEGIN RADIO APPLY\n  SELECTION 2\n END RADIO APPLY\n");
}
BENCHMARK(LensDisabled)->Unit(benchmark::kMillisecond);
}  // namespace

namespace {
// DropShadow at opacity 0 declines the frame: what is left is the image-filter
// frame layer (the host's pass, the module's planes, the per-pixel writes).
void FrameLayer(benchmark::State &state) { RunFilter(state, "DropShadow", " BEGIN NUM STRENGTH\n VALUE 0\n END\n"); }
BENCHMARK(FrameLayer)->Unit(benchmark::kMillisecond);
}  // namespace

namespace {
// The least any image filter can cost through the host's interface: a filter
// of the benchmark's own that writes every pixel back unchanged, as the
// interface requires, with one setRGB and one setAlpha call each, and reads
// each row once. Beside FrameCopy it is the floor under FrameLayer.
void WriteEveryPixel(LWInstance, const FilterAccess *access) {
    for (int y = 0; y < access->height; ++y) {
        const BufferValue *r = access->bufLine(LWBUF_RED, y), *g = access->bufLine(LWBUF_GREEN, y),
                          *b = access->bufLine(LWBUF_BLUE, y), *a = access->bufLine(LWBUF_ALPHA, y);
        for (int x = 0; x < access->width; ++x) {
            BufferValue rgb[3] = {r[x], g[x], b[x]};
            access->setRGB(x, y, rgb);
            access->setAlpha(x, y, a[x]);
        }
    }
}
unsigned NoBuffers(LWInstance) { return 0; }

void InterfaceFloor(benchmark::State &state) {
    ImageFilterHandler handler{};
    handler.process = WriteEveryPixel;
    handler.flags = NoBuffers;
    const RgbaImage source = Frame();
    RgbaImage image = source;
    std::string error;
    for (auto _ : state) {
        RunImageFilter(&handler, nullptr, &image, 0, 0, &error);
        benchmark::DoNotOptimize(image.rgba.data());
    }
}
BENCHMARK(InterfaceFloor)->Unit(benchmark::kMillisecond);
}  // namespace
