// Blink and Diffuser evaluated by the host at early and late times: Blink's
// event search walks the events from the earliest frame, so its cost grows with
// the number of events before t; Diffuser's walk takes at most 21 draws a
// lattice value below 2^20 steps, so its cost stays flat.
#include <benchmark/benchmark.h>

#include "demo_scene.h"

namespace {

// The eyelid of the blink demo (72-frame period at 24 fps, about one event
// every 3.4 seconds) at t seconds and a few frames around it.
void BlinkEvaluate(benchmark::State &state) {
    DemoScene demo("blink_demo.lws");
    const Item &eyelid = demo.Object("Eyelid");
    double motion[9], t = static_cast<double>(state.range(0));
    int frame = 0;
    for (auto _ : state) {
        demo.host.FinalMotion(eyelid, t + (frame++ % 24) / 24.0, motion);
        benchmark::DoNotOptimize(motion[4]);
    }
}
BENCHMARK(BlinkEvaluate)->Arg(10)->Arg(1000);

// The hand-held camera of the drift demo: six channels, smooth, with a pull.
void DiffuserEvaluate(benchmark::State &state) {
    DemoScene demo("drift_demo.lws");
    const Item &camera = *demo.host.scene.cameras.front();
    double motion[9], t = static_cast<double>(state.range(0));
    int frame = 0;
    for (auto _ : state) {
        demo.host.FinalMotion(camera, t + (frame++ % 24) / 24.0, motion);
        benchmark::DoNotOptimize(motion[0]);
    }
}
BENCHMARK(DiffuserEvaluate)->Arg(1)->Arg(10000);

}  // namespace
