// The item reference control: scene items a plug-in refers to (a target, a
// parent, objects to affect). Beside each host id it keeps, from loading, what
// finds the same item again in a later run of the host. In name-prefix mode its
// items are instead every item whose name begins with a typed prefix.
#pragma once

#include "controls/control.h"
#include "controls/item_lines.h"

constexpr int kItemSlots = 4096;
constexpr int kItemNameStore = 4096;
constexpr int kPrefixMatches = 512;

enum ItemFilter { kFilterObjects, kFilterLights, kFilterCameras, kFilterBones, kItemFilters };

struct SavedItemRef {
    short nameOffset;  // into the name store
    short index, count;
    short type;
};

struct ItemControl {
    ControlRecord record;
    int count;
    LWItemID *items;  // kItemSlots; a null slot is skipped when saving
    char display[128];
    int filters[kItemFilters];
    int width, height;
    // From loading: references to find again.
    char nameStore[kItemNameStore];
    int nameStoreUsed;
    int savedCount;  // references, a bone taking two
    SavedItemRef *saved;  // kItemSlots
    const char *noneText;  // shown when no item is chosen; "(none)" when null
    // Name-prefix mode.
    int prefixMode;
    int maxMatches;
    char prefix[kItemNameSize];
};

ItemControl *NewItemControl(const char *key, int x, int y, Panel *panel);
// The same control in name-prefix mode, keeping at most maxMatches items.
ItemControl *NewPrefixItemControl(const char *key, int x, int y, Panel *panel, int maxMatches = kPrefixMatches);

// Sets the items (from the selection dialog, or a plug-in).
void SetItems(ItemControl *control, const LWItemID *items, int count);
// Finds the items whose names begin with the prefix again, in the host's order.
void RefreshPrefixMatches(ItemControl *control);
// The text the control shows: "(none)", a name, or a count by kind.
void FormatItemDisplay(ItemControl *control);
