// Loads arbitrary bytes as a settings text into a plug-in-shaped panel with
// every control kind, in either io mode (the first byte chooses), then saves it
// in both modes and loads each save into a second instance. Anything read past a
// buffer, written past a field or left undefined is a finding.
#include <cstdint>
#include <cstring>
#include <string>

#include "host/embedded_host.h"
#include "host/module_loader.h"
#include "module/lifecycle.h"
#include "../sample_panel.h"

extern "C" ModuleDescriptor _mod_descrip;

namespace {

struct Bytes {
    const uint8_t *data;
    size_t size, pos;
};

// Byte stream: raw bytes, fewer than asked at the end.
int ReadBytes(void *d, char *buf, int len) {
    Bytes *b = static_cast<Bytes *>(d);
    int n = 0;
    while (n < len && b->pos < b->size) buf[n++] = static_cast<char>(b->data[b->pos++]);
    return n;
}

// Line mode as the host does it: up to len characters of the current line,
// the rest at the next call, -1 at the end.
int ReadLines(void *d, char *buf, int len) {
    Bytes *b = static_cast<Bytes *>(d);
    if (b->pos >= b->size) return -1;
    int n = 0;
    while (n < len && b->pos < b->size && b->data[b->pos] != '\n') buf[n++] = static_cast<char>(b->data[b->pos++]);
    if (b->pos < b->size && b->data[b->pos] == '\n' && n < len) ++b->pos;
    return n;
}

void Collect(void *d, char *buf, int len) {
    std::string *s = static_cast<std::string *>(d);
    if (len <= 0) return;
    // Line mode hands a zero-terminated line; a byte stream takes the bytes as given.
    s->append(buf, len);
}

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
    std::string text;
    LWSaveState save = {mode, &text, Collect};
    SharedSave(from, &save);
    // Line mode: each write was one zero-terminated line.
    if (mode == LWIO_SCENE)
        for (char &c : text)
            if (c == 0) c = '\n';
    PluginInstance *to = NewSampleInstance();
    Bytes bytes = {reinterpret_cast<const uint8_t *>(text.data()), text.size(), 0};
    LWLoadState load = {mode, &bytes, mode == LWIO_SCENE ? ReadLines : ReadBytes};
    SharedLoad(to, &load);
    SynchronisePanel(to->panel);
    SharedDestroy(to);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    EmbeddedHost &host = Host();
    if (size < 1) return 0;
    int mode = data[0] & 1 ? LWIO_SCENE : LWIO_OBJECT;
    Bytes bytes = {data + 1, size - 1, 0};
    PluginInstance *instance = NewSampleInstance();
    LWLoadState load = {mode, &bytes, mode == LWIO_SCENE ? ReadLines : ReadBytes};
    SharedLoad(instance, &load);
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
