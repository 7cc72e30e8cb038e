// DistLink integrates the control object's travel from time 0 at every
// evaluation: at 50% quality five steps a second, so t = 100 s costs ten times
// t = 10 s. Its graph of 480 samples integrates once, not 480 times.
#include <benchmark/benchmark.h>

#include "controls/plugin_instance.h"
#include "demo_scene.h"
#include "tests/text_store.h"

namespace {

struct Stride : DemoScene {
    const Item &stride;
    Stride() : DemoScene("distlink_demo.lws"), stride(Object("Stride")) {
        TextStore text = TextStore::Text(
            "BEGIN MARVEN_LABS_PLUGIN DistLink\nVERSION 1\n BEGIN NUM QUALITY\n VALUE 0.5\n END\nEND MARVEN_LABS_PLUGIN DistLink\n");
        LWLoadState load = text.LoadState();
        stride.motionPlugins[0].handler->load(stride.motionPlugins[0].instance, &load);
    }
};

void DistLinkAt(benchmark::State &state) {
    Stride demo;
    double motion[9], t = static_cast<double>(state.range(0));
    for (auto _ : state) {
        demo.host.FinalMotion(demo.stride, t, motion);
        benchmark::DoNotOptimize(motion[4]);
    }
}
BENCHMARK(DistLinkAt)->Arg(10)->Arg(100)->Unit(benchmark::kMicrosecond);

// The graph over frames 0 to 250 (about 10 s), as the panel draws it.
void DistLinkGraph(benchmark::State &state) {
    Stride demo;
    auto *p = static_cast<PluginInstance *>(demo.stride.motionPlugins[0].instance);
    p->panel->ownerItem = IdOf(&demo.stride);
    for (auto _ : state) p->panel->afterLoad(p);
}
BENCHMARK(DistLinkGraph)->Unit(benchmark::kMicrosecond);

}  // namespace
