// Whip re-simulates from time 0: its cost grows with t up to the cap of 1019
// samples (34 s at 100% quality) and stays flat beyond; the counter gives the
// host's item-parameter queries per evaluation, 2 (N + 3) by design. Parent
// walks a schedule of nine slices.
#include <benchmark/benchmark.h>

#include "demo_scene.h"
#include "tests/text_store.h"

namespace {

void WhipAt(benchmark::State &state) {
    DemoScene demo("whip_demo.lws");
    const Item &antenna = demo.Object("Antenna");
    double motion[9], t = static_cast<double>(state.range(0));
    long before = demo.host.paramQueries;
    for (auto _ : state) {
        demo.host.FinalMotion(antenna, t, motion);
        benchmark::DoNotOptimize(motion[3]);
    }
    state.counters["queries"] = static_cast<double>(demo.host.paramQueries - before) / state.iterations();
}
BENCHMARK(WhipAt)->Arg(1)->Arg(10)->Arg(60)->Unit(benchmark::kMicrosecond);

// The ball of the Parent demo, its schedule grown to nine slices of 10 frames
// alternating between the two hands, evaluated in the ninth.
void ParentNineSlices(benchmark::State &state) {
    DemoScene demo("parent_demo.lws");
    const Item &ball = demo.Object("Ball");
    std::string blocks;
    for (int k = 1; k <= 9; ++k) {
        std::string n = std::to_string(k), hand = k % 2 ? "HandA" : "HandB";
        blocks += " BEGIN NUM DURATION" + n + "\n VALUE 10\n END\n BEGIN ITEM PARENT" + n + "\n OBJECT 1 1 5 @" + hand +
                  "\n END ITEM PARENT" + n + "\n";
    }
    TextStore text = TextStore::Text("BEGIN MARVEN_LABS_PLUGIN Parent\nVERSION 1\n" + blocks + "END MARVEN_LABS_PLUGIN Parent\n");
    LWLoadState load = text.LoadState();
    ball.motionPlugins[0].handler->load(ball.motionPlugins[0].instance, &load);
    double motion[9];
    for (auto _ : state) {
        demo.host.FinalMotion(ball, 85 / 24.0, motion);
        benchmark::DoNotOptimize(motion[0]);
    }
}
BENCHMARK(ParentNineSlices)->Unit(benchmark::kMicrosecond);

}  // namespace
