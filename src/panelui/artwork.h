// The stored artwork: the collection's title image and each panel's title strip
// (by plug-in name, or the toolkit's own dialogs: "Item Select", "Export Motion",
// "Progress"); null for a name without one.
#pragma once

const unsigned char *CollectionTitleImage();
const unsigned char *TitleStripImage(const char *name);
