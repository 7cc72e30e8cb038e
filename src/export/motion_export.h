// Baking an item's final motion into a host motion file ("LWMO", version 1,
// nine channels, CR LF lines): which frames become keys, how each key is
// sampled (world or parent coordinates, with world rotations kept continuous
// from key to key), and the file itself.
#pragma once

#include <cstdio>

#include "hostapi/lwhost.h"
#include "helpers/transform.h"

// N = floor((E + 1) * density + 0.5), at least 1 and at most E + 1.
int ExportKeyCount(int endFrame, double density);
// The frame of key i of n: i * E / (n - 1) in whole numbers; 0 for a single key.
int ExportKeyFrame(int i, int keyCount, int endFrame);

// Of the two heading-pitch-bank triples of an orientation, each angle moved by
// whole turns to within half a turn of the previous key's, the one nearer to
// the previous key's triple.
Vec3 ContinuousHpb(const Vec3 candidates[2], const Vec3 &previous);

// The nine values of a key (position, rotation in radians, scale) of the item at
// a time. `previous` carries the last key's rotation between calls (start at 0).
void SampleExportKey(LWItemID item, double time, bool parentCoordinates, Vec3 *previous, double values[9]);

void WriteMotionHeader(std::FILE *file, int keyCount);
// One key: the values with rotations in degrees, then its frame and four zeros.
void WriteMotionKey(std::FILE *file, const double values[9], int frame);

struct ExportRequest {
    LWItemID item;
    int endFrame;
    double density;
    bool parentCoordinates;
    double framesPerSecond;
    // Called before each key with (i + 1, n); false stops writing.
    bool (*progress)(void *data, int done, int total);
    void *progressData;
};

// Writes the whole file; false when it cannot be opened. Stopping early leaves
// the announced key count in the header, as the host's own exports do.
bool ExportMotionFile(const ExportRequest &request, const char *path);
