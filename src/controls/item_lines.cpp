#include "controls/item_lines.h"

#include <cstdlib>
#include <cstring>

#include "controls/settings.h"
#include "services/host_services.h"

namespace {

constexpr int kMaxMatches = 1020;

const char *Keyword(LWItemType type) {
    switch (type) {
    case LWI_LIGHT: return "LIGHT";
    case LWI_CAMERA: return "CAMERA";
    default: return "OBJECT";
    }
}

// The first item of a kind to walk: bones through their owner.
LWItemID First(int type, LWItemID owner) {
    return hostServices.itemInfo->first(type, type == LWI_BONE ? owner : LWITEM_NULL);
}

// Matches of a name in the host's order, at most kMaxMatches.
int Matches(const char *name, int type, LWItemID owner, LWItemID *out) {
    if (type == LWI_BONE && !owner) return 0;
    int n = 0;
    const LWItemInfo *info = hostServices.itemInfo;
    for (LWItemID id = First(type, owner); id && n < kMaxMatches; id = info->next(id)) {
        const char *itemName = info->name(id);
        if (itemName && NameMatches(itemName, name)) out[n++] = id;
    }
    return n;
}

int Clamp(long v, int high) { return v < 2 ? 1 : (v > high ? high : static_cast<int>(v)); }

// One line for the item among its kind (bones among their owner's bones).
int WriteOneLine(LWItemID item, int type, LWItemID owner, const char *keyword, const LWSaveState *state,
                 const char *indent) {
    // The name is kept without the host's numbering, so that index and count
    // tell same-named items apart in any later scene.
    char name[kItemNameSize];
    {
        const char *shown = hostServices.itemInfo->name(item);
        int length = shown ? NameLengthWithoutNumber(shown) : 0;
        if (length >= kItemNameSize) length = kItemNameSize - 1;
        if (length) std::memcpy(name, shown, length);
        name[length] = 0;
    }
    static LWItemID matches[kMaxMatches];
    int n = Matches(name, type, owner, matches), index = 1;
    for (int i = 0; i < n; ++i)
        if (matches[i] == item) index = i + 1;
    return WriteSettingsLine(state, "%s%s %ld %ld %ld @%s", indent, keyword, static_cast<long>(index),
                             static_cast<long>(n < 1 ? 1 : n), static_cast<long>(std::strlen(name)), name);
}

}  // namespace

int NameLengthWithoutNumber(const char *name) {
    int len = static_cast<int>(std::strlen(name));
    if (len < 3 || name[len - 1] != ')') return len;
    int i = len - 2;
    while (i >= 0 && name[i] >= '0' && name[i] <= '9') --i;
    if (i < 0 || i == len - 2 || name[i] != '(') return len;
    if (i > 0 && name[i - 1] == ' ') --i;
    return i;
}

bool NameMatches(const char *itemName, const char *savedName) {
    size_t length = std::strlen(savedName);
    if (std::strncmp(itemName, savedName, length) != 0) return false;
    char next = itemName[length];
    if (next == 0) return true;
    return (next == ' ' || next == '(') && NameLengthWithoutNumber(itemName) == static_cast<int>(length);
}

int WriteItemLines(LWItemID item, const LWSaveState *state, const char *indent) {
    if (!item) return 0;
    LWItemType type = hostServices.itemInfo->type(item);
    if (type != LWI_BONE) return WriteOneLine(item, type, LWITEM_NULL, Keyword(type), state, indent);
    LWItemID owner = BoneOwnerObject(item);
    if (!owner) return 0;  // a bone no object holds cannot be found again
    int bytes = WriteOneLine(owner, LWI_OBJECT, LWITEM_NULL, "PARENT", state, indent);
    return bytes + WriteOneLine(item, LWI_BONE, owner, "BONE", state, indent);
}

bool ParseItemLine(const char *line, ItemLine *out) {
    char word[256];
    if (SettingsToken(line, word, 1)) return false;
    out->type = LWI_OBJECT;
    if (std::strncmp(word, "PARENT", 6) == 0 || std::strncmp(word, "BONE", 4) == 0)
        out->type = LWI_BONE;
    else if (std::strcmp(word, "LIGHT") == 0)
        out->type = LWI_LIGHT;
    else if (std::strcmp(word, "CAMERA") == 0)
        out->type = LWI_CAMERA;
    out->index = SettingsToken(line, word, 2) ? 1 : Clamp(std::strtol(word, nullptr, 10), 4096);
    out->count = SettingsToken(line, word, 3) ? 1 : Clamp(std::strtol(word, nullptr, 10), 32766);
    long length = SettingsToken(line, word, 4) ? 0 : std::strtol(word, nullptr, 10);
    const char *at = std::strchr(line, '@');
    if (!at) return false;
    size_t present = std::strlen(at + 1);
    size_t take = length < 0 ? 0 : static_cast<size_t>(length);
    if (take > present) take = present;
    if (take > kItemNameSize - 1) take = kItemNameSize - 1;
    std::memcpy(out->name, at + 1, take);
    out->name[take] = 0;
    return true;
}

LWItemID FindItem(const ItemLine &line, LWItemID owner) {
    static LWItemID matches[kMaxMatches];
    int n = Matches(line.name, line.type, owner, matches);
    if (n == 0) return LWITEM_NULL;
    // Same-named items added since saving are taken to stand before the saved ones.
    if (n >= line.count) {
        // An index above its count only comes from a hand-edited file: nothing matches it.
        int pick = n - line.count + line.index;
        return pick >= 1 && pick <= n ? matches[pick - 1] : LWITEM_NULL;
    }
    return line.index >= n ? matches[0] : LWITEM_NULL;
}
