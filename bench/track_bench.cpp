// Track's evaluate, and baking 10,000 frames of a tracking camera through the
// export that vesk bake and the Export Motion button share.
#include <benchmark/benchmark.h>

#include "demo_scene.h"
#include "export/motion_export.h"

namespace {

struct Demo : DemoScene {
    Item *camera;
    Demo() : DemoScene("track_demo.lws"), camera(host.scene.cameras.front().get()) {}
};

// The camera's motion at a time as the host evaluates it: its keyed motion,
// then Track's evaluate, with the item-info queries Track makes of the host.
void TrackEvaluate(benchmark::State &state) {
    Demo demo;
    double motion[9];
    int frame = 0;
    for (auto _ : state) {
        demo.host.FinalMotion(*demo.camera, (frame++ % 120) / 24.0, motion);
        benchmark::DoNotOptimize(motion[3]);
    }
}
BENCHMARK(TrackEvaluate);

// Arg 0: the tracking camera as vesk bake bakes it, in an evaluation pass;
// 1: the same outside a pass (every question works the camera out again);
// 2: the plain keyed target null, the yardstick a plug-in bake is held to.
void Bake10000Frames(benchmark::State &state) {
    Demo demo;
    std::string path = "/tmp/vesk_bench.mot";
    Item *item = state.range(0) == 2 ? demo.host.scene.objects.front().get() : demo.camera;
    ExportRequest request{IdOf(item), 9999, 1.0, false, demo.host.scene.framesPerSecond, nullptr, nullptr};
    for (auto _ : state) {
        if (state.range(0) == 1) {
            ExportMotionFile(request, path.c_str());
        } else {
            EvaluationPass pass(demo.host);
            ExportMotionFile(request, path.c_str());
        }
    }
    std::remove(path.c_str());
    state.SetItemsProcessed(state.iterations() * 10000);
}
BENCHMARK(Bake10000Frames)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

}  // namespace

