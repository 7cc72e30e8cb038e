// Arbitrary bytes as a LightWave scene, loaded by the embedded host with the
// module's plug-ins, then every item evaluated at two times and the scene
// written back: a refusal must say why, and nothing may crash, hang or read
// out of bounds on the way.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "controls/choice.h"
#include "host/embedded_host.h"
#include "host/module_loader.h"
#include "host/scene_file.h"

extern "C" ModuleDescriptor _mod_descrip;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static LoadedModule module = [] {
        LoadedModule m;
        std::string error;
        AttachModule(&_mod_descrip, &m, &error);
        return m;
    }();
    // The COLOR reader stalls 40 s on a line it does not know, as the format
    // always has; the fuzzer finds such lines at once and must not wait.
    colorReaderPause = [](unsigned) {};
    EmbeddedHost host;
    host.UseModule(&module);
    std::string error;
    if (!LoadSceneText(host, std::string(reinterpret_cast<const char *>(data), size), "fuzz.lws", &error)) {
        if (error.empty()) std::abort();
        return 0;
    }
    // Every item at two times, inside an evaluation pass as the commands ask
    // (outside one the embedded host, like the host, works every question
    // out afresh, and a dozen stacked plug-ins that read their own item at
    // neighbouring times cost exponentially there, as they would in the host).
    {
        // A lower question limit than the commands': mutated scenes stack
        // simulating plug-ins often, and an input must run in a few seconds
        // under the sanitizers; the refusal path is what is fuzzed.
        host.motionQuestionLimit = 200000;
        EvaluationPass pass(host);
        for (double t : {0.0, 1.5})
            for (auto *list : {&host.scene.objects, &host.scene.lights, &host.scene.cameras})
                for (auto &item : *list) {
                    double world[3];
                    host.scene.Param(*item, LWIP_W_POSITION, t, world);
                }
        host.MotionOverrun(&error);  // stacked simulations stopped at the limit: refused, not a finding
    }
    SceneText(host);
    return 0;
}
