// The stored artwork: the collection's title image and each panel's title strip
// (by plug-in name, or the toolkit's own dialogs: "Item Select", "Export Motion",
// "Progress"; letters and digits compared without case, anything else passed
// over, so "OBJBlur" finds Objblur's); no data for a name without one.
#pragma once

#include <cstddef>

struct StoredImage {
    const unsigned char *data;
    size_t size;
};

StoredImage CollectionTitleImage();
StoredImage TitleStripImage(const char *name);
