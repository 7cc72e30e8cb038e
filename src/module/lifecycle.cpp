#include "module/lifecycle.h"

#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <new>

#include "controls/choice.h"
#include "controls/plugin_access.h"
#include "controls/settings.h"
#include "module/host_services.h"
#include "panelui/panel_window.h"

namespace {

// The 1,024 entries the collector fills, and room behind them for the owner's
// ancestry, which the collector's limit does not bound.
constexpr int kUsedItems = 1024, kAncestryRoom = 256;
LWItemID usedItems[kUsedItems + kAncestryRoom];

constexpr int kSettingsBuffer = 100000;
constexpr int kSettingsMemory = 1024;
char settingsPath[1024];

struct {
    char text[kSettingsMemory];
    int length;
    char shortName[64];
} settingsMemory;

PluginInstance *InstanceOf(LWInstance instance) { return static_cast<PluginInstance *>(instance); }

ControlRecord *NextCopied(ControlRecord *r) {
    while (r && !r->copyFlag) r = r->next;
    return r;
}

// ---- the file buttons' text buffer as the host's load and save states ----

struct TextBuffer {
    char *data;
    int length, capacity, position;
};

// Each line's terminating zero becomes a carriage return, and a line feed follows.
void WriteToBuffer(void *data, char *line, int length) {
    TextBuffer *b = static_cast<TextBuffer *>(data);
    for (int i = 0; i < length - 1 && b->length < b->capacity; ++i) b->data[b->length++] = line[i];
    for (char c : {'\r', '\n'})
        if (b->length < b->capacity) b->data[b->length++] = c;
}

// One line per read, ending after a zero, carriage return or line feed. A
// carriage return and the line feed after it end one line, not two: the save
// button writes CR LF, and readers that take blank lines as they come (RADIO)
// must read back what it wrote.
int ReadFromBuffer(void *data, char *out, int room) {
    TextBuffer *b = static_cast<TextBuffer *>(data);
    if (b->position >= b->length || b->data[b->position] == 0) return -1;
    int n = 0;
    while (b->position < b->length) {
        char c = b->data[b->position++];
        if (c == '\r' && b->position < b->length && b->data[b->position] == '\n') ++b->position;
        if (c == 0 || c == '\r' || c == '\n') break;
        if (n < room) out[n++] = c;
    }
    return n;
}

bool AskForFile(Panel *panel, const char *hail, char *fullName) {
    if (!hostServices.fileRequest) return false;
    char name[1024] = "*.*";
    EnablePanelWindow(panel, false);
    int chosen = hostServices.fileRequest(hail, name, settingsPath, fullName, static_cast<int>(sizeof settingsPath));
    EnablePanelWindow(panel, true);
    return chosen > 0;
}

void LoadFromText(Panel *panel, TextBuffer *text) {
    LWLoadState state = {LWIO_SCENE, text, ReadFromBuffer};
    LWError err = LoadSettings(panel->instance, &state, false);
    if (err) ShowLoadError(err);
    panel->pendingUpdate = 1;
    SynchronisePanel(panel);
    if (panel->afterLoad) panel->afterLoad(panel->instance);
    for (ControlRecord *r = &panel->record; r; r = r->next)
        if (r->copyFlag) RedrawControl(r, kDrawAll);
}

bool SaveToText(Panel *panel, TextBuffer *text) {
    LWSaveState state = {LWIO_SCENE, text, WriteToBuffer};
    LWError err = SaveSettings(panel->instance, &state);
    if (err) hostServices.messages->error(err, "");
    return !err;
}

bool MemoryHolds(const Panel *panel) {
    return settingsMemory.length > 0 && std::strcmp(settingsMemory.shortName, panel->shortName) == 0;
}

void SetMemoryIndicator(Panel *panel, bool on) {
    panel->memoryIndicator = on;
    RedrawControl(&panel->record, kDrawAll);
}

}  // namespace

void SharedDestroy(LWInstance instance) {
    if (!instance) return;
    PluginInstance *p = InstanceOf(instance);
    DestroyPanel(p->panel);
    if (p->endWork && p->work) p->endWork(p->work);
    delete[] static_cast<unsigned char *>(p->work);
    delete p;
}

LWError SharedCopy(LWInstance from, LWInstance to, LWItemID item) {
    ControlRecord *a = NextCopied(&InstanceOf(from)->panel->record);
    ControlRecord *b = NextCopied(&InstanceOf(to)->panel->record);
    while (a && b) {
        if (a->copy) a->copy(a, b);
        if (a->kind == kKindPanel) reinterpret_cast<Panel *>(b)->ownerItem = item;
        a = NextCopied(a->next);
        b = NextCopied(b->next);
    }
    return a || b ? "Copy Failed" : nullptr;
}

LWError SharedCopyNoItem(LWInstance from, LWInstance to) { return SharedCopy(from, to, LWITEM_NULL); }

void ShowLoadError(LWError error) {
    char where[160];
    std::snprintf(where, sizeof where, "Line %d: %.100s", SettingsLineNumber(), SettingsLastLine());
    hostServices.messages->error(error, where);
}

LWError SharedLoad(LWInstance instance, const LWLoadState *state) {
    PluginInstance *p = InstanceOf(instance);
    if (LWError err = LoadSettings(p, state, true)) ShowLoadError(err);
    if (p) p->panel->pendingUpdate = 1;
    return nullptr;
}

LWError SharedSave(LWInstance instance, const LWSaveState *state) { return SaveSettings(InstanceOf(instance), state); }

void SharedChangeID(LWInstance instance, const LWItemID *pairs) {
    if (!instance || !pairs || !pairs[0]) return;
    Panel *panel = InstanceOf(instance)->panel;
    for (ControlRecord *r = &panel->record; r; r = r->next)
        if (r->changeIds) r->changeIds(r, pairs);
    for (const LWItemID *p = pairs; p[0]; p += 2) {
        if (panel->ownerItem == p[0]) {
            panel->ownerItem = p[1];
            break;
        }
    }
}

int CollectUsedItems(PluginInstance *instance) {
    Panel *panel = instance->panel;
    SynchronisePanel(panel);
    int n = 0;
    for (ControlRecord *r = &panel->record; r && n < kUsedItems - 1; r = r->next)
        if (r->collectItems) n += r->collectItems(r, usedItems + n, kUsedItems - 1 - n);
    usedItems[n] = LWITEM_NULL;
    return n;
}

const LWItemID *AppendOwnerAncestry(PluginInstance *instance, int count) {
    constexpr int kEnd = kUsedItems + kAncestryRoom - 1;
    count += AppendWithAncestors(instance->panel->ownerItem, usedItems + count, kEnd - count);
    usedItems[count] = LWITEM_NULL;
    return usedItems;
}

const LWItemID *UsedItemsBuffer() { return usedItems; }

const LWItemID *SharedItemsUsed(LWInstance instance) {
    if (!instance) return nullptr;
    CollectUsedItems(InstanceOf(instance));
    return usedItems;
}

namespace {

// The state of a plug-in's on/off button by key; `otherwise` when it has none.
bool Switch(PluginInstance *p, const char *key, bool otherwise) {
    ControlRecord *r = FindControl(p->panel, key);
    return r && r->kind == kKindButton ? ToggleIsOn(reinterpret_cast<ButtonControl *>(r)) : otherwise;
}

// An instance applied to an item leans on the items it names only while it
// is on and (where it can be) interactive.
bool UsesItems(PluginInstance *p) { return !Switch(p, "DISABLE", false) && Switch(p, "INTERACTIVE", true); }

}  // namespace

const LWItemID *SharedItemsUsedUnlessDisabled(LWInstance instance) {
    if (!instance) return nullptr;
    PluginInstance *p = InstanceOf(instance);
    SynchronisePanel(p->panel);
    if (Switch(p, "DISABLE", false)) return nullptr;
    return SharedItemsUsed(instance);
}

void SharedCleanup(LWInstance) {}

unsigned SharedWorldDisplacementFlags(LWInstance instance) {
    OpenSettings(instance);
    return LWDMF_WORLD;
}

unsigned SharedObjectDisplacementFlags(LWInstance instance) {
    OpenSettings(instance);
    return 0;
}

LWError SharedShaderInit(LWInstance instance) { return OpenSettings(instance) ? nullptr : "Eeeek, no instance at init!"; }

const LWItemID *SharedControlItemsUsed(LWInstance instance) {
    PluginInstance *p = InstanceOf(instance);
    if (!p || !UsesItems(p)) return nullptr;
    CollectUsedItems(p);
    return UsedItemsBuffer();
}

const LWItemID *SharedOwnerItemsUsed(LWInstance instance) {
    if (!instance) return nullptr;
    PluginInstance *p = InstanceOf(instance);
    if (!UsesItems(p)) return nullptr;
    return AppendOwnerAncestry(p, CollectUsedItems(p));
}

const char *SharedDescription(LWInstance instance, const char *line, const char *disabledLine) {
    if (!instance) return "Error!";
    PluginInstance *p = InstanceOf(instance);
    SynchronisePanel(p->panel);
    return Switch(p, "DISABLE", false) ? disabledLine : line;
}

LWError PixelFilterInit(LWInstance instance) {
    if (!instance) return "Instance was NULL in pixel filter init";
    PluginInstance *p = InstanceOf(instance);
    PixelFilterFrame &f = p->pixel;
    SynchronisePanel(p->panel);
    f.failed = 0;
    auto *scene = static_cast<const LWSceneInfo *>(hostServices.global(LWSERVICE_SCENE_INFO, GFUSE_TRANSIENT));
    // The rendered area: the limited region when one is rendered, else the frame.
    int x0 = 0, y0 = 0, x1 = scene ? scene->frameWidth - 1 : 0, y1 = scene ? scene->frameHeight - 1 : 0;
    if (scene && (scene->renderOpts & LWROPT_LIMITEDREGION)) {
        x0 = scene->limitedRegion[0];
        y0 = scene->limitedRegion[1];
        x1 = scene->limitedRegion[2];
        y1 = scene->limitedRegion[3];
    }
    f.renderWidth = x1 - x0 + 1;
    f.renderHeight = y1 - y0 + 1;
    if (f.initHook && f.initHook(p)) {
        f.failed = 1;
        return "Error in init CB";
    }
    int larger = f.renderWidth > f.renderHeight ? f.renderWidth : f.renderHeight;
    f.scale = f.workingResolution > 0 ? static_cast<double>(larger) / f.workingResolution : 1.0;
    if (f.scale < 1) f.scale = 1;
    f.reducedWidth = static_cast<int>(f.renderWidth / f.scale);
    f.reducedHeight = static_cast<int>(f.renderHeight / f.scale);
    if (f.reducedWidth < 1) f.reducedWidth = 1;
    if (f.reducedHeight < 1) f.reducedHeight = 1;
    if (f.clearWork) f.clearWork(p);
    return nullptr;
}

LWError PixelFilterNewTime(LWInstance instance, LWFrame frame, LWTime time) {
    if (!instance) return "Instance was NULL in pixel filter Newtime";
    PluginInstance *p = InstanceOf(instance);
    hostServices.global(LWSERVICE_SCENE_INFO, GFUSE_TRANSIENT);
    p->pixel.failed &= 1;
    if (p->pixel.newTimeHook && p->pixel.newTimeHook(p, frame, time)) return "Error in newtime CB";
    return nullptr;
}

void PanelSaveButton(Panel *panel, bool modifier) {
    if (modifier && MemoryHolds(panel)) {
        settingsMemory.length = 0;
        settingsMemory.shortName[0] = 0;
        SetMemoryIndicator(panel, false);
        return;
    }
    char *data = new (std::nothrow) char[kSettingsBuffer];
    if (!data) {
        hostServices.messages->error("Not enough RAM to save settings", "");
        return;
    }
    TextBuffer text = {data, 0, kSettingsBuffer, 0};
    char fullName[1024] = "";
    if (modifier) {
        if (SaveToText(panel, &text)) {
            int n = text.length < kSettingsMemory ? text.length : kSettingsMemory;
            std::memcpy(settingsMemory.text, data, n);
            settingsMemory.length = n;
            CopyText(settingsMemory.shortName, sizeof settingsMemory.shortName, panel->shortName);
            SetMemoryIndicator(panel, true);
        }
    } else if (AskForFile(panel, "Write plugin data to file", fullName) && SaveToText(panel, &text)) {
        if (std::FILE *file = std::fopen(fullName, "wb")) {
            for (int i = 0; i < text.length; ++i) std::fputc(data[i], file);
            std::fclose(file);
        }
    }
    delete[] data;
}

void PanelLoadButton(Panel *panel, bool modifier) {
    if (modifier && MemoryHolds(panel)) {
        TextBuffer text = {settingsMemory.text, settingsMemory.length, kSettingsMemory, 0};
        LoadFromText(panel, &text);
        return;
    }
    char *data = new (std::nothrow) char[kSettingsBuffer];
    if (!data) {
        hostServices.messages->error("Not enough RAM to load settings", "");
        return;
    }
    char fullName[1024] = "";
    if (AskForFile(panel, "Load plugin data from file", fullName)) {
        int n = 0;
        if (std::FILE *file = std::fopen(fullName, "rb")) {
            for (int c; n < kSettingsBuffer - 1 && (c = std::fgetc(file)) != EOF;) data[n++] = static_cast<char>(c);
            std::fclose(file);
        }
        data[n] = 0;
        TextBuffer text = {data, n, kSettingsBuffer, 0};
        LoadFromText(panel, &text);
    }
    delete[] data;
}

void ForgetSettingsMemory() {
    settingsMemory.length = 0;
    settingsMemory.shortName[0] = 0;
}
