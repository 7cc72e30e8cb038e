// The item-motion plug-ins that recompute from time 0 at every evaluation, at
// t = 60 s: VelAccel integrates 100 steps a second, Speedlimit chases 100
// steps a second, Wheelie measures 80 steps a second. Linear in t by design.
#include <benchmark/benchmark.h>

#include "demo_scene.h"

namespace {

void Evaluate60Seconds(benchmark::State &state, const char *scene, const char *itemName) {
    DemoScene demo(scene);
    const Item &item = demo.Object(itemName);
    double motion[9];
    for (auto _ : state) {
        demo.host.FinalMotion(item, 60.0, motion);
        benchmark::DoNotOptimize(motion[0]);
    }
}

void VelAccelAt60Seconds(benchmark::State &state) { Evaluate60Seconds(state, "throw_demo.lws", "Stone"); }
void SpeedlimitAt60Seconds(benchmark::State &state) { Evaluate60Seconds(state, "car_demo.lws", "Car"); }
// A wheel of the car: its own 80 steps a second over the car's chase.
void WheelieOnTheCarAt60Seconds(benchmark::State &state) { Evaluate60Seconds(state, "car_demo.lws", "wheel.lwo"); }
BENCHMARK(VelAccelAt60Seconds)->Unit(benchmark::kMicrosecond);
BENCHMARK(SpeedlimitAt60Seconds)->Unit(benchmark::kMicrosecond);
BENCHMARK(WheelieOnTheCarAt60Seconds)->Unit(benchmark::kMillisecond);

}  // namespace
