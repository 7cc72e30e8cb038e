#include "module/lifecycle.h"

#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <new>

#include "controls/choice.h"
#include "controls/plugin_access.h"
#include "controls/settings.h"
#include "services/host_services.h"
#include "panelui/panel_window.h"

namespace {

// The 1,024 entries the collector fills, and room behind them for the owner's
// ancestry, which the collector's limit does not bound.
constexpr int kUsedItems = 1024, kAncestryRoom = 256;
LWItemID usedItems[kUsedItems + kAncestryRoom];

PluginInstance *InstanceOf(LWInstance instance) { return static_cast<PluginInstance *>(instance); }

ControlRecord *NextCopied(ControlRecord *r) {
    while (r && !r->copyFlag) r = r->next;
    return r;
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

// An instance applied to an item leans on the items it names only while it
// is on and (where it can be) interactive.
bool UsesItems(PluginInstance *p) { return !SwitchByKey(p, "DISABLE", false) && SwitchByKey(p, "INTERACTIVE", true); }

}  // namespace

const LWItemID *SharedItemsUsedUnlessDisabled(LWInstance instance) {
    PluginInstance *p = OpenSettings(instance);
    if (!p || SwitchByKey(p, "DISABLE", false)) return nullptr;
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
    PluginInstance *p = OpenSettings(instance);
    if (!p) return "Error!";
    return SwitchByKey(p, "DISABLE", false) ? disabledLine : line;
}
