// The displacement plug-ins over a 10,000-point object through the host's
// displacement pass (new time, then every point). Diffuse costs the same at
// t = 1 s and t = 10,000 s: its walk is computed directly, not stepped. Poke's
// per-point work is (N + 1) n effector tests: 21 samples of 8 effectors here.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "host/embedded_host.h"
#include "host/module_loader.h"
#include "host/passes.h"
#include "tests/lwob_writer.h"
#include "tests/text_store.h"

extern "C" ModuleDescriptor _mod_descrip;

namespace {

struct Setup {
    EmbeddedHost host;
    LoadedModule module;
    Item *object = nullptr;

    // A 10,000-point tube along +Y (two units long), or a 100 x 100 grid for
    // `grid`, carrying one plug-in with the given settings blocks.
    Setup(const char *server, const std::string &blocks, bool grid = false) {
        std::string error;
        AttachModule(&_mod_descrip, &module, &error);
        host.UseModule(&module);
        host.scene.framesPerSecond = 30;
        Item &guide = host.scene.AddNullObject("Guide");
        guide.SetRest({3, 1.5, 1});
        object = &host.scene.AddObject("Tube", "Tube.lwo");
        for (int i = 0; i < 10000; ++i) {
            double angle = (i % 100) * 0.0628318530718, y = (i / 100) * 0.02;
            object->geometry.points.push_back(grid ? std::array<double, 3>{(i % 100) * 0.04 - 2, 0, (i / 100) * 0.04 - 2}
                                                   : std::array<double, 3>{0.05 * std::cos(angle), y, 0.05 * std::sin(angle)});
        }
        LWInstance instance = host.AddDisplacementPlugin(*object, server, &error);
        if (!instance) {
            std::fprintf(stderr, "%s\n", error.c_str());
            std::abort();
        }
        TextStore text = TextStore::Text(std::string("BEGIN MARVEN_LABS_PLUGIN ") + server + "\nVERSION 1\n" + blocks +
                                         "END MARVEN_LABS_PLUGIN " + server + "\n");
        LWLoadState state = text.LoadState();
        object->displacementPlugins[0].handler->load(instance, &state);
    }
};

void FlexorTenThousandPoints(benchmark::State &state) {
    Setup s("Flexor", " BEGIN ITEM GUIDE\n OBJECT 1 1 5 @Guide\n END ITEM GUIDE\n BEGIN NUM LENGTH\n VALUE 2\n END\n"
                      " BEGIN RADIO AIM\n  SELECTION 1\n END RADIO AIM\n");
    std::string error;
    for (auto _ : state) benchmark::DoNotOptimize(DisplacedPoints(s.host, *s.object, 1.0, &error));
    state.SetItemsProcessed(state.iterations() * 10000);
}
BENCHMARK(FlexorTenThousandPoints)->Unit(benchmark::kMillisecond);

// Default settings (coherence 50%, so one own walk and eight lattice walks a
// point), straight and smooth steps.
void DiffuseTenThousandPoints(benchmark::State &state) {
    bool smooth = state.range(1) != 0;
    Setup s("Diffuse", smooth ? " BEGIN BUTTON SMOOTH\n  CHECKED YES\n  HIGHLIGHTED YES\n END\n" : "");
    std::string error;
    double t = static_cast<double>(state.range(0)) + 0.5 / 30;  // between steps
    for (auto _ : state) benchmark::DoNotOptimize(DisplacedPoints(s.host, *s.object, t, &error));
    state.SetItemsProcessed(state.iterations() * 10000);
}
BENCHMARK(DiffuseTenThousandPoints)->Args({1, 0})->Args({10000, 0})->Args({1, 1})->Args({10000, 1})->Unit(benchmark::kMillisecond);

// The new-time solve and every point; the points lie along +Y here, the
// rope's length (along X) comes from a file: 2 units.
void DangleTenThousandPoints(benchmark::State &state) {
    Setup s("Dangle", " BEGIN ITEM CONTROL\n OBJECT 1 1 5 @Guide\n END ITEM CONTROL\n");
    std::string path = "/tmp/vesk_bench_rope.lwo";
    WriteLwob(path, {{0, 0, 0}, {2, 0, 0}});
    s.object->filename = path;
    s.host.scene.objects[0]->SetRest({1.2, -0.5, 0.4});  // the anchor, closer than the rope is long: a catenary
    std::string error;
    for (auto _ : state) benchmark::DoNotOptimize(DisplacedPoints(s.host, *s.object, 1.0, &error));
    std::remove(path.c_str());
    state.SetItemsProcessed(state.iterations() * 10000);
}
BENCHMARK(DangleTenThousandPoints)->Unit(benchmark::kMillisecond);

// Eight balls rolling across a 10,000-point floor, a second of history (30
// frames) sampled every 0.05 s (Curve Quality 0.5).
void PokeTenThousandPoints(benchmark::State &state) {
    Setup s("Poke", " BEGIN ITEM PREFIX\n PREFIX 1 1 4 @Ball\n END ITEM PREFIX\n BEGIN NUM HISTLENGTH\n VALUE 30\n END\n", true);
    for (int k = 0; k < 8; ++k) {
        Item &ball = s.host.scene.AddNullObject("Ball." + std::to_string(k));
        ball.SetRest({-2.5, 0.2, -1.75 + 0.5 * k}, {0, 0, 0}, {0.4, 0.4, 0.4});
        ball.AddKey(60, {2.5, 0.2, -1.75 + 0.5 * k, 0, 0, 0, 0.4, 0.4, 0.4});
    }
    std::string error;
    for (auto _ : state) benchmark::DoNotOptimize(DisplacedPoints(s.host, *s.object, 1.0, &error));
    state.SetItemsProcessed(state.iterations() * 10000);
}
BENCHMARK(PokeTenThousandPoints)->Unit(benchmark::kMillisecond);

}  // namespace
