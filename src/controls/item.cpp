#include "controls/item.h"

#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <new>

#include "controls/settings.h"
#include "services/host_services.h"

namespace {

ItemControl *Of(ControlRecord *r) { return reinterpret_cast<ItemControl *>(r); }

const char *SavedName(const ItemControl *c, const SavedItemRef &ref) { return c->nameStore + ref.nameOffset; }

// Keeps a parsed line as a saved reference; false when the stores are full.
bool KeepReference(ItemControl *c, const ItemLine &line) {
    int length = static_cast<int>(std::strlen(line.name)) + 1;
    if (c->savedCount >= kItemSlots || c->nameStoreUsed + length > kItemNameStore) return false;
    SavedItemRef &ref = c->saved[c->savedCount++];
    ref.nameOffset = static_cast<short>(c->nameStoreUsed);
    ref.index = static_cast<short>(line.index);
    ref.count = static_cast<short>(line.count);
    ref.type = static_cast<short>(line.type);
    std::memcpy(c->nameStore + c->nameStoreUsed, line.name, length);
    c->nameStoreUsed += length;
    return true;
}

ItemLine LineOf(const ItemControl *c, const SavedItemRef &ref, int type) {
    ItemLine line{};
    CopyText(line.name, sizeof line.name, SavedName(c, ref));
    line.index = ref.index;
    line.count = ref.count;
    line.type = type;
    return line;
}

// In prefix mode the block carries the prefix as one item line,
// "PREFIX 1 1 <length> @<prefix>", instead of the matches: they are found again
// from it.
int ItemSave(ControlRecord *r, const LWSaveState *s, int level) {
    ItemControl *c = Of(r);
    BlockIndent indent(level);
    const char *in = indent.text;
    int bytes = WriteSettingsLine(s, "%sBEGIN ITEM %s", in, r->key);
    if (c->prefixMode) {
        bytes += WriteSettingsLine(s, "%sPREFIX 1 1 %ld @%s", in, static_cast<long>(std::strlen(c->prefix)),
                                   c->prefix);
    } else {
        for (int i = 0; i < c->count; ++i)
            if (c->items[i]) bytes += WriteItemLines(c->items[i], s, in);
    }
    return bytes + WriteSettingsLine(s, "%sEND ITEM %s", in, r->key);
}

LWError ItemLoad(ControlRecord *r, const LWLoadState *s) {
    ItemControl *c = Of(r);
    c->count = 0;
    c->savedCount = 0;
    c->nameStoreUsed = 0;
    char word[256];
    for (;;) {
        const char *line = ReadSettingsLine(s);
        if (!line) return kEndOfFile;
        if (SettingsToken(line, word, 1)) return kBadToken;
        ItemLine item;
        if (std::strcmp(word, "END") == 0) {
            if (SettingsToken(line, word, 3)) return kBadToken;
            return std::strcmp(word, r->key) == 0 ? nullptr : kWrongEnd;
        } else if (std::strcmp(word, "OBJECT") == 0 || std::strcmp(word, "LIGHT") == 0 ||
                   std::strcmp(word, "CAMERA") == 0) {
            if (ParseItemLine(line, &item) && KeepReference(c, item)) ++c->count;
        } else if (std::strcmp(word, "PARENT") == 0) {
            ItemLine bone;
            bool owner = ParseItemLine(line, &item);
            const char *boneLine = ReadSettingsLine(s);
            if (!boneLine) return kEndOfFile;
            if (owner && ParseItemLine(boneLine, &bone) && c->savedCount + 2 <= kItemSlots) {
                item.type = bone.type = LWI_BONE;
                int before = c->savedCount, used = c->nameStoreUsed;
                if (KeepReference(c, item) && KeepReference(c, bone)) {
                    ++c->count;
                } else {
                    c->savedCount = before;
                    c->nameStoreUsed = used;
                }
            }
        } else if (c->prefixMode && std::strcmp(word, "PREFIX") == 0) {
            if (ParseItemLine(line, &item)) CopyText(c->prefix, sizeof c->prefix, item.name);
        } else {
            return "Unknown line in Load";
        }
    }
}

// Turns the saved references into host ids; references not found leave empty slots.
void ItemResolve(ControlRecord *r) {
    ItemControl *c = Of(r);
    if (c->prefixMode) {
        RefreshPrefixMatches(c);
        return;
    }
    int slot = 0;
    for (int i = 0; i < c->savedCount && slot < kItemSlots; ++slot) {
        const SavedItemRef &ref = c->saved[i];
        if (ref.type == LWI_BONE && i + 1 < c->savedCount) {
            LWItemID owner = FindItem(LineOf(c, ref, LWI_OBJECT), LWITEM_NULL);
            c->items[slot] = owner ? FindItem(LineOf(c, c->saved[i + 1], LWI_BONE), owner) : LWITEM_NULL;
            i += 2;
        } else {
            c->items[slot] = FindItem(LineOf(c, ref, ref.type == LWI_BONE ? static_cast<int>(LWI_OBJECT) : ref.type), LWITEM_NULL);
            i += 1;
        }
    }
    c->count = slot;
}

int ItemCollect(ControlRecord *r, LWItemID *out, int room) {
    ItemControl *c = Of(r);
    int n = 0;
    for (int i = 0; i < c->count && n < room; ++i)
        if (c->items[i]) out[n++] = c->items[i];
    return n;
}

void ItemChangeIds(ControlRecord *r, const LWItemID *pairs) {
    ItemControl *c = Of(r);
    for (int i = 0; i < c->count; ++i) {
        for (const LWItemID *p = pairs; p[0]; p += 2) {
            if (c->items[i] == p[0]) {
                c->items[i] = p[1];
                break;
            }
        }
    }
}

void ItemCopy(ControlRecord *from, ControlRecord *to) {
    ItemControl *a = Of(from), *b = Of(to);
    SetItems(b, a->items, a->count);
    std::memcpy(b->filters, a->filters, sizeof b->filters);
    std::memcpy(b->nameStore, a->nameStore, sizeof b->nameStore);
    std::memcpy(b->saved, a->saved, sizeof(SavedItemRef) * kItemSlots);
    b->nameStoreUsed = a->nameStoreUsed;
    b->savedCount = a->savedCount;
    std::memcpy(b->prefix, a->prefix, sizeof b->prefix);
}

void ItemDestroy(ControlRecord *r) {
    ItemControl *c = Of(r);
    delete[] c->items;
    delete[] c->saved;
    delete c;
}

bool Allowed(const ItemControl *c, LWItemType type) {
    switch (type) {
    case LWI_OBJECT: return c->filters[kFilterObjects];
    case LWI_LIGHT: return c->filters[kFilterLights];
    case LWI_CAMERA: return c->filters[kFilterCameras];
    case LWI_BONE: return c->filters[kFilterBones];
    }
    return false;
}

}  // namespace

ItemControl *NewItemControl(const char *key, int x, int y, Panel *panel) {
    ItemControl *c = AllocateControl<ItemControl>(kKindItem, key, x, y, panel);
    if (!c) return nullptr;
    ControlRecord *r = &c->record;
    r->destroy = ItemDestroy;
    c->items = new (std::nothrow) LWItemID[kItemSlots]();
    c->saved = new (std::nothrow) SavedItemRef[kItemSlots]();
    // Left linked when its stores fail: the panel's destruction frees it.
    if (!c->items || !c->saved) return nullptr;
    CopyText(c->display, sizeof c->display, "(none)");
    for (int &f : c->filters) f = 1;
    c->width = 230;
    c->height = 21;
    c->maxMatches = kPrefixMatches;
    r->save = ItemSave;
    r->load = ItemLoad;
    r->copy = ItemCopy;
    r->resolve = ItemResolve;
    r->update = ItemResolve;
    r->collectItems = ItemCollect;
    r->changeIds = ItemChangeIds;
    return c;
}

ItemControl *NewPrefixItemControl(const char *key, int x, int y, Panel *panel, int maxMatches) {
    ItemControl *c = NewItemControl(key, x, y, panel);
    if (!c) return nullptr;
    c->prefixMode = 1;
    c->maxMatches = maxMatches < 0 ? 0 : (maxMatches > kPrefixMatches ? kPrefixMatches : maxMatches);
    return c;
}

void SetItems(ItemControl *c, const LWItemID *items, int count) {
    count = count < 0 ? 0 : (count > kItemSlots ? kItemSlots : count);
    if (count) std::memmove(c->items, items, sizeof(LWItemID) * count);
    c->count = count;
}

// Matches are walked in the host's order: objects, lights, cameras, then each
// object's bones, as far as the kind filters allow. No prefix, no matches.
void RefreshPrefixMatches(ItemControl *c) {
    c->count = 0;
    size_t length = std::strlen(c->prefix);
    if (!length) return;
    const LWItemInfo *info = hostServices.itemInfo;
    auto consider = [&](LWItemID id) {
        const char *name = info->name(id);
        if (c->count < c->maxMatches && name && std::strncmp(name, c->prefix, length) == 0) c->items[c->count++] = id;
    };
    for (LWItemType type : {LWI_OBJECT, LWI_LIGHT, LWI_CAMERA})
        if (Allowed(c, type))
            for (LWItemID id = info->first(type, LWITEM_NULL); id; id = info->next(id)) consider(id);
    if (Allowed(c, LWI_BONE))
        for (LWItemID object = info->first(LWI_OBJECT, LWITEM_NULL); object; object = info->next(object))
            for (LWItemID bone = info->first(LWI_BONE, object); bone; bone = info->next(bone)) consider(bone);
}

// A null object is told by its object file: it has none.
void FormatItemDisplay(ItemControl *c) {
    int n = 0;
    LWItemID only = LWITEM_NULL;
    int kinds[4] = {}, nulls = 0;
    for (int i = 0; i < c->count; ++i) {
        LWItemID id = c->items[i];
        if (!id) continue;
        ++n;
        only = id;
        LWItemType type = hostServices.itemInfo->type(id);
        if (type >= 0 && type <= 3) ++kinds[type];
        if (type == LWI_OBJECT) {
            const char *file = hostServices.objectInfo->filename(id);
            if (!file || !file[0]) ++nulls;
        }
    }
    if (n == 0) {
        CopyText(c->display, sizeof c->display, c->noneText ? c->noneText : "(none)");
    } else if (n == 1) {
        CopyText(c->display, sizeof c->display, ItemName(only));
    } else {
        const char *what = nulls == n              ? "null objects"
                           : kinds[LWI_OBJECT] == n ? "objects"
                           : kinds[LWI_LIGHT] == n  ? "lights"
                           : kinds[LWI_BONE] == n   ? "bones"
                           : kinds[LWI_CAMERA] == n ? "cameras"
                                                    : "items";
        std::snprintf(c->display, sizeof c->display, "%ld %s", static_cast<long>(n), what);
    }
}
