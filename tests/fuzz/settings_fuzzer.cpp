// Loads arbitrary bytes as a settings text into a plug-in-shaped panel with
// every control kind, in either io mode (the first byte chooses), then saves it
// in both modes and loads each save into a second instance. Anything read past a
// buffer, written past a field or left undefined is a finding.
#include <cstdint>
#include <string>

#include "host/embedded_host.h"
#include "host/module_loader.h"
#include "host/scene_file.h"
#include "module/lifecycle.h"
#include "../sample_panel.h"
#include "../text_store.h"

extern "C" ModuleDescriptor _mod_descrip;

namespace {

EmbeddedHost &Host() {
    static EmbeddedHost *host = [] {
        auto *h = new EmbeddedHost;
        Scene &s = h->scene;
        s.AddNullObject("Ball");
        s.AddNullObject("Ball");
        Item &arm = s.AddObject("Arm", "Objects/Arm.lwo");
        s.AddBone(arm, "Elbow");
        s.AddBone(arm, "Bone01");
        s.AddLight("Light");
        s.AddCamera("Camera");
        static LoadedModule module;
        std::string error;
        AttachModule(&_mod_descrip, &module, &error);
        std::vector<void *> record(HandlerSlotCount("ItemMotionHandler", 3));
        ActivateServer(module, *FindServer(module, "ItemMotionHandler", "Track"), 3, EmbeddedHost::Lookup(),
                       record.data());
        colorReaderPause = [](unsigned) {};
        return h;
    }();
    return *host;
}

void SaveAndReload(PluginInstance *from, int mode) {
    TextStore saved;
    saved.mode = mode;
    LWSaveState save = saved.SaveState();
    SharedSave(from, &save);
    PluginInstance *to = NewSampleInstance();
    LWLoadState load = saved.LoadState();
    SharedLoad(to, &load);
    SynchronisePanel(to->panel);
    SharedDestroy(to);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    EmbeddedHost &host = Host();
    if (size < 1) return 0;
    // Through the host's own readers: a line at a time (the rest of a long
    // line at the next read), or the bytes as they come.
    PluginInstance *instance = NewSampleInstance();
    if (data[0] & 1) {
        std::vector<std::string> lines(1);
        for (size_t i = 1; i < size; ++i)
            data[i] == '\n' ? lines.emplace_back() : lines.back() += static_cast<char>(data[i]);
        LoadInstanceLines(SharedLoad, instance, lines);
    } else {
        LoadInstanceBytes(SharedLoad, instance, {data + 1, data + size});
    }
    SynchronisePanel(instance->panel);
    EvaluatePanelNumerics(instance->panel, 0.5);
    // Show and commit each loaded number as the panel window would.
    for (int i : {kDelay, kStrength, kRadius, kDuration}) {
        NumericControl *n = Sample<NumericControl>(instance, static_cast<SampleControl>(i));
        char text[31];
        FormatNumeric(n, n->value, text);
        CommitNumericText(n, text, false);
    }
    FormatItemDisplay(Sample<ItemControl>(instance, kTarget));
    CollectUsedItems(instance);
    SaveAndReload(instance, LWIO_SCENE);
    SaveAndReload(instance, LWIO_OBJECT);
    SharedDestroy(instance);
    host.messages.clear();
    host.lookups.clear();
    return 0;
}
