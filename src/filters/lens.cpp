// Lens: bends the finished image as a lens or a projector would (pincushion or
// barrel, keystone, shear, scaling, rotation, offset) and can roll it round.
// Each output pixel is filled from a source position found by the forward warp
// or by its exact inverse, so that one Lens can undo another.
#include <cmath>
#include <vector>

#include "controls/choice.h"
#include "controls/numeric.h"
#include "controls/plugin_instance.h"
#include "controls/static_controls.h"
#include "filters/filter_frames.h"
#include "helpers/units.h"
#include "module/lifecycle.h"
#include "module/server_table.h"
#include "controls/plugin_access.h"

namespace {

enum {
    kXPin, kYPin, kXKeystone, kYKeystone, kXShear, kYShear, kXScale, kYScale, kRotation,
    kXOffset, kYOffset, kXRoll, kYRoll, kColor, kInterpolate, kApply, kPreview, kControls
};
enum { kForward, kInverse, kDisabled };

const char *const kApplyChoices[] = {"Apply Effect", "Apply Inverse Effect", "Disable", nullptr};
constexpr int kPreviewSize = 172;

LWInstance Create(LWError *err);
void Refresh(PluginInstance *p);
int Setup(PluginInstance *p, const ImageRecord &image, LWFrame, LWTime time);
void Pixel(PluginInstance *p, const ImageRecord &image, int x, int y, BufferValue out[4]);

constexpr ControlSpec Ranged(const char *key, int y, const char *label, double value, double range) {
    return {.key = key, .kind = ControlSpecKind::Numeric, .x = 120, .y = y, .label = label, .value = value,
            .flags = kDragRange, .dragLow = -range, .dragHigh = range, .changed = Refresh};
}
constexpr ControlSpec Free(const char *key, int y, const char *label) {
    return {.key = key, .kind = ControlSpecKind::Numeric, .x = 120, .y = y, .label = label, .changed = Refresh};
}
void White(void *c) {
    ColorControl *color = static_cast<ColorControl *>(c);
    color->red = color->green = color->blue = 255;
}

const ControlSpec kTable[kControls] = {
    Ranged("XPIN", 60, "X Pincushion", 0, 1),
    Ranged("YPIN", 82, "Y Pincushion", 0, 1),
    Ranged("XKEYSTONE", 107, "X Keystone", 0, 1),
    Ranged("YKEYSTONE", 129, "Y Keystone", 0, 1),
    Ranged("XSHEAR", 155, "X Shear", 0, 1),
    Ranged("YSHEAR", 177, "Y Shear", 0, 1),
    Ranged("XSCALE", 202, "X Scaling", 1, 2),
    Ranged("YSCALE", 224, "Y Scaling", 1, 2),
    Free("ROTATION", 249, "Rotation"),
    Ranged("XOFFSET", 274, "X Offset", 0, 1),
    Ranged("YOFFSET", 296, "Y Offset", 0, 1),
    Free("XROLL", 319, "X Roll"),
    Free("YROLL", 341, "Y Roll"),
    {.key = "COLOR", .kind = ControlSpecKind::Color, .x = 400, .y = 245, .label = "Offscreen Color",
     .changed = Refresh, .setup = White},
    {.key = "INTERPOLATE", .kind = ControlSpecKind::Toggle, .x = 400, .y = 272, .label = "Filtering",
     .changed = Refresh},
    {.key = "APPLY", .kind = ControlSpecKind::Radio, .x = 400, .y = 304, .value = kForward, .choices = kApplyChoices,
     .changed = Refresh},
    {.key = "PREVIEW", .kind = ControlSpecKind::Preview, .x = 300, .y = 60, .setup = PreviewSide<kPreviewSize>},
};

// The warp's settings at one time, and the normalised coordinate of every
// column and row of its frame (the forward warp's rolled pixel centres, or
// the inverse warp's corners), worked out once a frame so that a pixel
// starts from two lookups.
struct Warp {
    double pin[2], keystone[2], shear[2], scale[2], offset[2], roll[2];
    double cosine, sine;
    BufferValue offscreen[4];
    bool filtering;
    int mode;
    std::vector<double> column, row;
};

// Per instance: a render's warp, and the preview's own with its test card,
// so that drawing the preview never disturbs a frame being rendered.
struct LensWork {
    Warp render, preview;
    BufferValue card[4][kPreviewSize * kPreviewSize];
};

const PanelSpec kPanel = {.title = "Lens", .shortName = "Lens", .width = 520, .height = 400,
                          .create = [](LWError *err, LWItemID) { return Create(err); }, .destroy = SharedDestroy,
                          .copy = SharedCopy, .afterLoad = Refresh, .image = {Setup, Pixel},
                          .workBytes = sizeof(LensWork), .makeWork = MakeWork<LensWork>,
                          .endWork = EndWork<LensWork>};

LWInstance Create(LWError *err) {
    return BuildInstance(kPanel, kTable, kControls, LWITEM_NULL, err, ClassInfo(PluginClass::ImageFilter).createFailure);
}

void ReadWarp(PluginInstance *p, LWTime time, Warp *w) {
    OpenEvaluation(p, time);
    auto current = [p](int i) { return Current(p, i); };
    for (int axis = 0; axis < 2; ++axis) {
        w->pin[axis] = current(kXPin + axis);
        w->keystone[axis] = current(kXKeystone + axis);
        w->shear[axis] = current(kXShear + axis);
        w->scale[axis] = current(kXScale + axis);
        w->offset[axis] = current(kXOffset + axis);
        w->roll[axis] = current(kXRoll + axis);
    }
    double theta = current(kRotation) * kRadiansPerDegree;
    w->cosine = std::cos(theta);
    w->sine = std::sin(theta);
    const ColorControl *colour = Control<ColorControl>(p, kColor);
    w->offscreen[0] = static_cast<BufferValue>(colour->red);
    w->offscreen[1] = static_cast<BufferValue>(colour->green);
    w->offscreen[2] = static_cast<BufferValue>(colour->blue);
    w->offscreen[3] = 0;
    w->filtering = On(p, kInterpolate);
    w->mode = Selection(p, kApply);
}

// A divisor kept off zero: too small a one becomes +1e-6 whatever its sign.
double Guarded(double d) { return std::fabs(d) < 1e-6 ? 1e-6 : d; }
double Wrapped(double v, double size) { return v - size * std::floor(v / size); }

// A quotient that skips dividing by exactly 1, the common case (no scaling,
// no keystone, a full-size frame); the result is the same to the last bit.
double Over(double a, double b) { return b == 1 ? a : a / b; }

void PrepareAxes(Warp &w, const ImageRecord &image) {
    double k = image.unscaled ? 1 : image.scale;
    double spanX = image.fullWidth - 1.0, spanY = image.fullHeight - 1.0;
    w.column.resize(image.width);
    w.row.resize(image.height);
    for (int x = 0; x < image.width; ++x) {
        if (w.mode == kForward) {
            double px = Wrapped(x + 0.5 - image.width * w.roll[0], image.width);
            w.column[x] = (image.offsetX + px * k) / spanX - 0.5 + w.offset[0];
        } else {
            w.column[x] = (image.offsetX + x * k) / spanX - 0.5;
        }
    }
    for (int y = 0; y < image.height; ++y) {
        if (w.mode == kForward) {
            double py = Wrapped(y + 0.5 - image.height * w.roll[1], image.height);
            w.row[y] = (image.offsetY + py * k) / spanY - 0.5 + w.offset[1];
        } else {
            w.row[y] = (image.offsetY + y * k) / spanY;
        }
    }
}

// The source position of output pixel (x, y), in working pixels.
void SourceOf(const Warp &w, const ImageRecord &image, int x, int y, double *sx, double *sy) {
    double k = image.unscaled ? 1 : image.scale;
    double spanX = image.fullWidth - 1.0, spanY = image.fullHeight - 1.0;
    if (w.mode == kForward) {
        // The destination rolled, at the pixel's centre.
        double a = w.column[x], b = w.row[y];
        double y1 = Over(w.cosine * b - w.sine * a, w.scale[1]);
        double x1 = Over(w.cosine * a + w.sine * b, w.scale[0]);
        double x2 = x1 + w.shear[0] * y1;
        double y2 = y1 + w.shear[1] * x2;
        double x3 = Over(x2, Guarded(1 + w.keystone[0] * y2));
        double y3 = Over(y2, Guarded(1 + w.keystone[1] * x3));
        double x4 = (1 + 3 * w.pin[0] * y3 * y3) * x3;
        double y4 = (1 + 3 * w.pin[1] * x4 * x4) * y3;
        *sx = Over(spanX * (x4 + 0.5) - image.offsetX, k);
        *sy = Over(spanY * (y4 + 0.5) - image.offsetY, k);
        return;
    }
    // The forward steps undone in reverse order, at the pixel's corner.
    double a = w.column[x], v = w.row[y];
    double y3 = Over(v - 0.5, Guarded(1 + 3 * w.pin[1] * a * a));
    double x3 = Over(a, Guarded(1 + 3 * w.pin[0] * y3 * y3));
    double y2 = (w.keystone[1] * x3 + 1) * y3;
    double x2 = (w.keystone[0] * y2 + 1) * x3;
    double y1 = y2 - w.shear[1] * x2;
    double x1 = x2 - w.shear[0] * y1;
    double X = x1 * w.scale[0], Y = y1 * w.scale[1];
    double u = (w.cosine * X - w.sine * Y) - w.offset[0] + 0.5;
    double vv = (w.cosine * Y + w.sine * X) - w.offset[1] + 0.5;
    *sx = Over(spanX * u - image.offsetX, k);
    *sy = Over(spanY * vv - image.offsetY, k);
    if (u >= 0 && u <= 1 && vv >= 0 && vv <= 1) {
        *sx = Wrapped(*sx + image.width * w.roll[0], image.width);
        *sy = Wrapped(*sy + image.height * w.roll[1], image.height);
    }
}

// Positions are truncated towards zero, so -1 < s < 0 still reads column 0.
// A position that is not a number or lies beyond any image (a zero scaling
// divides by zero) counts as offscreen.
bool Inside(double s, int size) { return s > -1 && s < size; }

void Sample(const Warp &w, const ImageRecord &image, double sx, double sy, BufferValue out[4]) {
    const BufferValue *planes[4] = {image.red, image.green, image.blue, image.alpha};
    if (!Inside(sx, image.width) || !Inside(sy, image.height)) {
        for (int c = 0; c < 4; ++c) out[c] = w.offscreen[c];
        return;
    }
    if (!w.filtering) {
        long at = static_cast<long>(static_cast<int>(sy)) * image.width + static_cast<int>(sx);
        for (int c = 0; c < 4; ++c) out[c] = planes[c][at];
        return;
    }
    double fx = std::floor(sx), fy = std::floor(sy), dx = sx - fx, dy = sy - fy;
    int x0 = static_cast<int>(fx), y0 = static_cast<int>(fy);
    const double weight[4] = {(1 - dx) * (1 - dy), dx * (1 - dy), (1 - dx) * dy, dx * dy};
    double sum[4] = {};
    for (int n = 0; n < 4; ++n) {
        int nx = x0 + (n & 1), ny = y0 + (n >> 1);
        bool in = nx >= 0 && nx < image.width && ny >= 0 && ny < image.height;
        long at = static_cast<long>(ny) * image.width + nx;
        for (int c = 0; c < 4; ++c) sum[c] += weight[n] * (in ? planes[c][at] : w.offscreen[c]);
    }
    for (int c = 0; c < 4; ++c) out[c] = static_cast<BufferValue>(sum[c] < 0 ? 0 : (sum[c] > 255 ? 255 : sum[c]));
}

int Setup(PluginInstance *p, const ImageRecord &image, LWFrame, LWTime time) {
    Warp &w = Work<LensWork>(p)->render;
    ReadWarp(p, time, &w);
    if (w.mode == kDisabled) return 1;  // the frame copies every pixel
    PrepareAxes(w, image);
    return 0;
}

void Warped(const Warp &w, const ImageRecord &image, int x, int y, BufferValue out[4]) {
    double sx, sy;
    SourceOf(w, image, x, y, &sx, &sy);
    Sample(w, image, sx, sy, out);
}

void Pixel(PluginInstance *p, const ImageRecord &image, int x, int y, BufferValue out[4]) {
    Warped(Work<LensWork>(p)->render, image, x, y, out);
}

// The preview: a test card (grey checks, a red cross through the centre and a
// blue frame, so that mirroring, rotation and roll all read) put through the
// warp as set, at time 0, forward or inverse; where the warp looks off the
// card the offscreen colour shows. The card stands for a square frame.
void FillTestCard(LensWork *work) {
    const int n = kPreviewSize, cell = n / 8;
    for (int y = 0; y < n; ++y)
        for (int x = 0; x < n; ++x) {
            int at = y * n + x;
            BufferValue rgb[3];
            bool light = ((x / cell) + (y / cell)) % 2 == 0;
            rgb[0] = rgb[1] = rgb[2] = light ? 200 : 110;
            if (std::abs(2 * x + 1 - n) <= 6 || std::abs(2 * y + 1 - n) <= 6) rgb[0] = 220, rgb[1] = 40, rgb[2] = 30;
            if (x < 6 || y < 6 || x >= n - 6 || y >= n - 6) rgb[0] = 40, rgb[1] = 80, rgb[2] = 220;
            if (x < 6 && y < 6) rgb[0] = 250, rgb[1] = 210, rgb[2] = 0;  // the top left corner, for orientation
            for (int c = 0; c < 3; ++c) work->card[c][at] = rgb[c];
            work->card[3][at] = 255;
        }
}

void Refresh(PluginInstance *p) {
    LensWork *work = Work<LensWork>(p);
    FillTestCard(work);
    Warp &w = work->preview;
    ReadWarp(p, 0, &w);
    BufferValue *const planes[4] = {work->card[0], work->card[1], work->card[2], work->card[3]};
    const ImageRecord card = PreviewCard(planes, kPreviewSize);
    if (w.mode != kDisabled) PrepareAxes(w, card);
    DrawPreview(
        Control<PreviewControl>(p, kPreview), card, w.mode != kDisabled,
        [&w, &card](int x, int y, BufferValue out[4]) { Warped(w, card, x, y, out); },
        [](int, int, const BufferValue *, const BufferValue out[4], unsigned char rgb[3]) {
            for (int c = 0; c < 3; ++c) rgb[c] = out[c];
        });
}

unsigned Flags(LWInstance) { return 0; }  // only the final colour and alpha
const char *Describe(LWInstance) { return "Lens"; }

const ImageFilterHandler kHandler = ImageFilterHandlerOf(Create, Flags, Describe);

}  // namespace

extern const PluginDef lensPlugin = {"Lens", PluginClass::ImageFilter, &kHandler};
