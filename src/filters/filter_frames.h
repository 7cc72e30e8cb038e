// The frames the pixel and image filters run in. A pixel filter supplies a
// per-pixel routine on doubles; the frame reads the host's pixel (colour on the
// 0-255 scale, alpha 0 to 1, depth) and writes the result back. An image filter
// supplies a per-frame setup and a per-pixel routine; the frame hands both an
// image record of the whole frame.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "controls/plugin_instance.h"
#include "controls/static_controls.h"
#include "module/lifecycle.h"

struct ImageRecord {
    const BufferValue *red, *green, *blue, *alpha;  // planes of width * height, rows top down
    const float *depth;                             // the same layout, or null
    int width, height;                              // the working area
    int fullWidth, fullHeight;                      // the whole frame
    int offsetX, offsetY;                           // the working area within the frame
    double scale;                                   // frame pixels per working pixel
    int unscaled;                                   // scale counts as 1
    int fields;                                     // the scene renders fields
    const BufferValue *Row(const BufferValue *plane, int y) const { return plane + static_cast<long>(y) * width; }
};

// A pixel filter's init, new-time and evaluate slots, around the plug-in's
// own hooks.
LWError PixelFilterInit(LWInstance instance);
LWError PixelFilterNewTime(LWInstance instance, LWFrame frame, LWTime time);
void PixelFilterEvaluate(LWInstance instance, const PixelAccess *access);

// An image filter's process slot.
void ImageFilterProcess(LWInstance instance, const FilterAccess *access);

// A filter's handler record: the plug-in's own slots around the shared ones
// and the wrappers above.
constexpr PixelFilterHandler PixelFilterHandlerOf(decltype(PixelFilterHandler::create) create,
                                                  decltype(PixelFilterHandler::evaluate) evaluate,
                                                  decltype(PixelFilterHandler::flags) flags,
                                                  decltype(PixelFilterHandler::descln) describe,
                                                  decltype(PixelFilterHandler::useItems) useItems) {
    return {create, SharedDestroy, SharedCopyNoItem, SharedLoad, SharedSave, PixelFilterInit, SharedCleanup,
            PixelFilterNewTime, evaluate, flags, describe, useItems, SharedChangeID};
}
constexpr ImageFilterHandler ImageFilterHandlerOf(decltype(ImageFilterHandler::create) create,
                                                  decltype(ImageFilterHandler::flags) flags,
                                                  decltype(ImageFilterHandler::descln) describe) {
    return {create, SharedDestroy, SharedCopyNoItem, SharedLoad, SharedSave,
            ImageFilterProcess, flags, describe, SharedItemsUsed, SharedChangeID};
}

// The sample's red, green, blue and alpha: one read of the four consecutive
// buffers from red, as the host allows.
void ReadSampleRgba(const PixelAccess *access, BufferValue rgba[4]);

// The half-tangents of the horizontal and vertical fields of view from the
// camera's zoom: 1 / zoom vertically, widened by the frame's shape (pixel
// aspect included) across. How the host relates zoom to the field of view is
// unconfirmed; its "fovAngles" answer is preferred where it gives one.
void CameraHalfTangents(double zoom, double width, double height, double pixelAspect, double *tx, double *ty);

// A vector divided by its length + 1e-16 (a zero vector stays zero).
void UnitVector(double v[3]);
// An item's world position and unit right, up and forward axes at a time.
void ItemAxesAt(LWItemID item, LWTime time, double position[3], double right[3], double up[3], double forward[3]);

// A byte from a value on the 0-255 scale: held to the scale, then rounded.
BufferValue ToByte(double v);

// Running sums along each row of a plane, so that the sum over any run of
// columns costs one subtraction: row y's entries are (width + 1) long and
// entry x holds columns [0, x). Kept by the caller and reused frame to frame.
struct RowSums {
    std::vector<int32_t> sums;
    int width = 0;
    void Build(const BufferValue *plane, int planeWidth, int height);
    // Row y's running sums, width + 1 of them.
    const int32_t *RowStart(int y) const { return &sums[static_cast<size_t>(y) * (width + 1)]; }
    // Columns lo..hi of row y, both inside the row.
    int32_t Run(int y, int lo, int hi) const {
        const int32_t *row = &sums[static_cast<size_t>(y) * (width + 1)];
        return row[hi + 1] - row[lo];
    }
};

// An image filter's preview: its square test card of n x n pixels (four
// planes) as a whole-frame record, each pixel put through filter(x, y, out)
// while the filter is active, and show(x, y, card's own pixel, filtered pixel,
// rgb) drawing it into the panel's preview, which is then redrawn.
ImageRecord PreviewCard(BufferValue *const planes[4], int n);
void DrawPreview(PreviewControl *preview, const ImageRecord &card, bool active,
                 const std::function<void(int x, int y, BufferValue out[4])> &filter,
                 const std::function<void(int x, int y, const BufferValue in[4], const BufferValue out[4],
                                          unsigned char rgb[3])> &show);
