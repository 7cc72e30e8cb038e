// DropShadow: a soft shadow of the rendered foreground (its alpha), shifted by
// an offset, averaged over an elliptical neighbourhood and laid in the shadow
// colour under everything that is not fully opaque.
#include <cmath>
#include <cstdint>
#include <vector>

#include "controls/choice.h"
#include "controls/numeric.h"
#include "controls/plugin_access.h"
#include "controls/plugin_instance.h"
#include "controls/static_controls.h"
#include "filters/filter_frames.h"
#include "helpers/units.h"
#include "module/lifecycle.h"
#include "module/server_table.h"

namespace {

enum { kXOff, kYOff, kBlur, kColor, kStrength, kAlpha, kDisable, kPreview, kControls };
constexpr int kMaxRadius = 20;
constexpr int kPreviewSize = 128;

LWInstance Create(LWError *err);
int Setup(PluginInstance *p, const ImageRecord &image, LWFrame, LWTime time);
void Pixel(PluginInstance *p, const ImageRecord &image, int x, int y, BufferValue out[4]);
void Refresh(PluginInstance *p);

// A fraction held within its limits, dragged within its own.
constexpr unsigned kHeld = kClipLow | kClipHigh | kDragRange;
void Black(void *c) {
    ColorControl *color = static_cast<ColorControl *>(c);
    color->red = color->green = color->blue = 0;
}

const ControlSpec kTable[kControls] = {
    {.key = "XOFF", .kind = ControlSpecKind::Numeric, .x = 120, .y = 60, .label = "Shadow X Offset", .value = 0.1,
     .low = -1, .high = 1, .flags = kHeld, .dragLow = -1, .dragHigh = 1, .changed = Refresh},
    {.key = "YOFF", .kind = ControlSpecKind::Numeric, .x = 120, .y = 83, .label = "Shadow Y Offset", .value = 0.07,
     .low = -1, .high = 1, .flags = kHeld, .dragLow = -1, .dragHigh = 1, .changed = Refresh},
    {.key = "BLUR", .kind = ControlSpecKind::Numeric, .x = 120, .y = 106, .label = "Shadow Softness", .value = 0.4,
     .low = 0, .high = 2, .flags = kHeld, .dragLow = 0, .dragHigh = 1, .changed = Refresh},
    {.key = "COLOR", .kind = ControlSpecKind::Color, .x = 118, .y = 131, .label = "Shadow Color", .changed = Refresh,
     .setup = Black},
    {.key = "STRENGTH", .kind = ControlSpecKind::Numeric, .x = 120, .y = 158, .label = "Shadow Opacity",
     .value = 0.65, .low = 0, .high = 1, .flags = kHeld, .dragLow = 0, .dragHigh = 1, .changed = Refresh},
    {.key = "ALPHA", .kind = ControlSpecKind::Toggle, .x = 120, .y = 186, .label = "Add to Alpha", .changed = Refresh},
    {.key = "DISABLE", .kind = ControlSpecKind::Toggle, .x = 120, .y = 211, .label = "Disable All Effects",
     .changed = Refresh},
    {.key = "PREVIEW", .kind = ControlSpecKind::Preview, .x = 322, .y = 60, .setup = PreviewSide<kPreviewSize>},
};

// What the setup works out for one frame.
struct FrameState {
    int radiusY, offsetX, offsetY, rowStep;
    int rows;                              // ellipse rows sampled
    int halfWidth[2 * kMaxRadius + 2];     // per sampled row: |i| <= halfWidth is inside, -1: none
    int width, height;
    RowSums alpha;
    std::vector<int32_t> gathered;  // per pixel: the alpha summed over its ellipse
    long count;                     // samples an ellipse counts, inside the image or not
    double opacity, colour[3];
    bool addToAlpha, disabled;
};

// A render's frame, and the panel's preview with its own frame and card, so
// that drawing the preview never disturbs a frame being rendered.
struct ShadowWork {
    FrameState render, preview;
    BufferValue card[4 * kPreviewSize * kPreviewSize];
};

const PanelSpec kPanel = {.title = "DropShadow", .shortName = "DropShadow", .width = 465, .height = 270,
                          .create = [](LWError *err, LWItemID) { return Create(err); }, .destroy = SharedDestroy,
                          .copy = SharedCopy, .afterLoad = Refresh, .image = {Setup, Pixel},
                          .workBytes = sizeof(ShadowWork), .makeWork = MakeWork<ShadowWork>,
                          .endWork = EndWork<ShadowWork>};

LWInstance Create(LWError *err) {
    return BuildInstance(kPanel, kTable, kControls, LWITEM_NULL, err, ClassInfo(PluginClass::ImageFilter).createFailure);
}

// The shadow's gather for every pixel, a row of the frame at a time: each
// sampled ellipse row adds one run of columns per pixel, read from the row
// sums, so the rows are walked in order rather than 41 apart per pixel.
// Samples outside the image count but add nothing: the shadow fades at the
// border.
void Gather(FrameState &frame) {
    const int w = frame.width, h = frame.height;
    frame.gathered.assign(static_cast<size_t>(w) * h, 0);
    frame.count = 0;
    for (int r = 0; r < frame.rows; ++r)
        if (frame.halfWidth[r] >= 0) frame.count += 2 * frame.halfWidth[r] + 1;
    for (int y = 0; y < h; ++y) {
        int32_t *sums = &frame.gathered[static_cast<size_t>(y) * w];
        for (int r = 0; r < frame.rows; ++r) {
            int half = frame.halfWidth[r];
            int row = y + frame.offsetY - frame.radiusY + r * frame.rowStep;
            if (half < 0 || row < 0 || row >= h) continue;
            // Where the run lies wholly inside the row, one subtraction of
            // running sums; near the ends, the run cut to the row.
            const int32_t *running = frame.alpha.RowStart(row);
            int inFrom = half - frame.offsetX, inTo = w - 1 - half - frame.offsetX;
            inFrom = inFrom < 0 ? 0 : inFrom;
            inTo = inTo > w - 1 ? w - 1 : inTo;
            for (int x = 0; x < w; ++x) {
                if (x == inFrom && inFrom <= inTo) {
                    const int32_t *__restrict high = running + inFrom + frame.offsetX + half + 1;
                    const int32_t *__restrict low = running + inFrom + frame.offsetX - half;
                    int32_t *__restrict into = sums + inFrom;
                    for (int i = 0; i <= inTo - inFrom; ++i) into[i] += high[i] - low[i];
                    x = inTo;
                    continue;
                }
                int column = x + frame.offsetX;
                int lo = column - half < 0 ? 0 : column - half;
                int hi = column + half >= w ? w - 1 : column + half;
                if (lo <= hi) sums[x] += running[hi + 1] - running[lo];
            }
        }
    }
}

int SetupFrame(PluginInstance *p, const ImageRecord &image, LWTime time, FrameState &frame) {
    OpenEvaluation(p, time);
    frame.opacity = Current(p, kStrength);
    if (frame.opacity <= 0) return 1;
    double k = image.unscaled ? 1 : image.scale, softness = Current(p, kBlur);
    int rx = static_cast<int>(std::fabs(image.fullWidth * 0.06 / k * softness));
    int ry = static_cast<int>(std::fabs(image.fullHeight * 0.06 / k * softness));
    rx = rx >= kMaxRadius ? kMaxRadius : rx;
    ry = ry >= kMaxRadius ? kMaxRadius : ry;
    double ax = 1.0 / ((rx + 1.0) * (rx + 1.0)), ay = 1.0 / ((ry + 1.0) * (ry + 1.0));
    frame.offsetX = static_cast<int>(-(image.fullWidth * Current(p, kXOff) / k));
    frame.offsetY = static_cast<int>(-(image.fullHeight * Current(p, kYOff) / k));
    frame.rowStep = 1;
    if (image.fields) {
        // Samples stay on rows of the same field.
        frame.rowStep = 2;
        if (ry % 2) ++ry;
        if (((frame.offsetY % 2) + 2) % 2) ++frame.offsetY;
    }
    frame.radiusY = ry;
    // Each sampled row of the ellipse is a run of columns, found with the very
    // test the per-sample gather would make.
    frame.rows = 0;
    for (int j = -ry; j <= ry; j += frame.rowStep) {
        int half = -1;
        for (int i = 0; i <= rx && i * i * ax + j * j * ay <= 1; ++i) half = i;
        frame.halfWidth[frame.rows++] = half;
    }
    // Row sums of alpha, so that a run of columns costs one subtraction.
    frame.width = image.width;
    frame.height = image.height;
    frame.alpha.Build(image.alpha, image.width, image.height);
    Gather(frame);
    const ColorControl *colour = Control<ColorControl>(p, kColor);
    frame.colour[0] = colour->red, frame.colour[1] = colour->green, frame.colour[2] = colour->blue;
    frame.addToAlpha = On(p, kAlpha);
    frame.disabled = On(p, kDisable);
    return 0;
}

int Setup(PluginInstance *p, const ImageRecord &image, LWFrame, LWTime time) {
    return SetupFrame(p, image, time, Work<ShadowWork>(p)->render);
}

// Truncation to a level, with a hair's allowance: a shadow of vanishing weight
// leaves a level a rounding below where it was, which the x87 keeps and SSE
// rounds away; within 1e-7 of the next level, it is that level on both.
BufferValue Truncated(double v) {
    v += 1e-7;
    return static_cast<BufferValue>(v < 0 ? 0 : (v > 255 ? 255 : v));
}

void Shadow(const FrameState &frame, int x, int y, BufferValue out[4]) {
    int a = out[3];
    double t = 1 - a * kPerByteLevel;
    if (frame.disabled || t <= 0) return;
    long sum = frame.gathered[static_cast<size_t>(y) * frame.width + x], count = frame.count;
    double cover = sum * kPerByteLevel / count;
    double w = cover * frame.opacity * t;
    for (int c = 0; c < 3; ++c) out[c] = Truncated(frame.colour[c] * w + out[c] * (1 - w));
    if (frame.addToAlpha) out[3] = Truncated(255 - (255 - a) * (1 - cover * frame.opacity * t));
}

void Pixel(PluginInstance *p, const ImageRecord &, int x, int y, BufferValue out[4]) {
    Shadow(Work<ShadowWork>(p)->render, x, y, out);
}

// The preview: a small frame of its own (a disc and a bar, opaque, over a
// light checked backdrop that is background, alpha 0) put through the shadow
// as set, at time 0. Offsets and softness are fractions of the frame, so they
// show in proportion; Add to Alpha shows as the backdrop darkening where the
// shadow would be kept in the alpha.
void Refresh(PluginInstance *p) {
    const int n = kPreviewSize;
    ShadowWork &work = *Work<ShadowWork>(p);
    BufferValue *card = work.card;
    BufferValue *planes[4] = {card, card + n * n, card + 2 * n * n, card + 3 * n * n};
    for (int y = 0; y < n; ++y)
        for (int x = 0; x < n; ++x) {
            int at = y * n + x, dx = x - 48, dy = y - 50;
            bool shape = dx * dx + dy * dy <= 26 * 26 || (x >= 70 && x < 108 && y >= 66 && y < 82);
            BufferValue grey = ((x / 16 + y / 16) % 2) ? 215 : 190;
            planes[0][at] = shape ? 230 : grey;
            planes[1][at] = shape ? 120 : grey;
            planes[2][at] = shape ? 40 : grey;
            planes[3][at] = shape ? 255 : 0;
        }
    const ImageRecord image = PreviewCard(planes, n);
    const bool active = SetupFrame(p, image, 0, work.preview) == 0, alphaShown = On(p, kAlpha);
    DrawPreview(
        Control<PreviewControl>(p, kPreview), image, active,
        [&work](int x, int y, BufferValue out[4]) { Shadow(work.preview, x, y, out); },
        [alphaShown](int, int, const BufferValue in[4], const BufferValue out[4], unsigned char rgb[3]) {
            for (int c = 0; c < 3; ++c) {
                int v = out[c];
                if (alphaShown && in[3] == 0) v = v * (255 - out[3] / 2) / 255;
                rgb[c] = static_cast<unsigned char>(v);
            }
        });
}

unsigned Flags(LWInstance) { return 0; }  // only the final colour and alpha

const char *Describe(LWInstance instance) {
    PluginInstance *p = OpenSettings(instance);
    if (!p) return "Error!";
    return On(p, kDisable) ? "Drop Shadow: Disabled" : "Drop Shadow";
}

const ImageFilterHandler kHandler = ImageFilterHandlerOf(Create, Flags, Describe);

}  // namespace

extern const PluginDef dropShadowPlugin = {"DropShadow", PluginClass::ImageFilter, &kHandler};
