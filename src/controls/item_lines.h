// Item lines: the text that names a scene item so that a later run of the host
// can find it again by kind, name and place among same-named items:
//   OBJECT 2 3 9 @Left Ball      (index 2 of 3 items named "Left Ball", 9 characters)
// A bone takes two lines: PARENT for its owning object, then BONE.
#pragma once

#include "hostapi/lwhost.h"

constexpr int kItemNameSize = 256;  // up to 255 characters

struct ItemLine {
    char name[kItemNameSize];
    int index;  // 1-based among the matches, held to 1..4096
    int count;  // matches when saved, held to 1..32766
    int type;   // LWI_OBJECT, LWI_LIGHT, LWI_CAMERA, or LWI_BONE for PARENT and BONE lines
};

// Writes the item's line(s) with the indentation; returns the bytes written.
int WriteItemLines(LWItemID item, const LWSaveState *state, const char *indent);

// False when the line has no first word or no "@".
bool ParseItemLine(const char *line, ItemLine *out);

// The item named by a line again: among the host's items of the line's type
// (for a bone, among the bones of `owner`); null when it cannot be told.
LWItemID FindItem(const ItemLine &line, LWItemID owner);

// How the host's numbering shows on a name: the length of the name once a
// trailing " (n)" is taken off.
int NameLengthWithoutNumber(const char *name);

// Whether a host item name stands for the saved name.
bool NameMatches(const char *itemName, const char *savedName);
