// The stored artwork: the collection's title image and each panel's title strip
// (by plug-in name, or the toolkit's own dialogs: "Item Select", "Export Motion",
// "Progress"; letters and digits compared without case, anything else passed
// over, so "OBJBlur" finds Objblur's); null for a name without one.
#pragma once

const unsigned char *CollectionTitleImage();
const unsigned char *TitleStripImage(const char *name);
