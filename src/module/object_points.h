// An object's points as modelled, read directly from the object file the host
// names (its first point chunk, LWOB or LWO2); their extent, the bounding box;
// and a per-instance cache of the extent that reads the file again only when
// the object, its file name or its point count changes.
#pragma once

#include "hostapi/lwhost.h"

enum { kXMin, kXMax, kYMin, kYMax, kZMin, kZMax };

// Hands every point of the file to `visit`, in file order; false when it
// cannot be opened, is no LWOB or LWO2 form, has no or an empty first point
// chunk, or ends early.
bool ReadObjectPoints(const char *path, void (*visit)(void *data, const double point[3]), void *data);
bool ReadObjectExtents(const char *path, double extents[6]);

struct ObjectExtentsCache {
    int filled;  // a read has been made and recorded
    LWItemID object;
    char filename[256];
    int pointCount;
    int ok;  // that read succeeded
    double extents[6];
};

// The object's extents through the cache; false when the (cached) read failed,
// so that a file that cannot be read is not opened again at every frame.
bool CachedObjectExtents(ObjectExtentsCache *cache, LWItemID object, double extents[6]);
