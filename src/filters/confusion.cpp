// Confusion: depth of field for a finished render. From each pixel's depth and
// a focus distance (typed in, or the depth of a focus item seen from the
// camera) it works out a circle of confusion, and either blurs the pixel by a
// disk that size or writes the value out as a grey map in colour or alpha.
#include <cmath>

#include "controls/choice.h"
#include "controls/item.h"
#include "controls/numeric.h"
#include "controls/plugin_access.h"
#include "controls/plugin_instance.h"
#include "controls/static_controls.h"
#include "filters/filter_frames.h"
#include "services/host_services.h"
#include "module/lifecycle.h"
#include "module/server_table.h"
#include "helpers/transform.h"

namespace {

enum { kFStop, kFocusType, kFocus, kFocalLength, kApplyType, kBlurBackground, kPreview, kControls };
enum { kFocusOnItem, kFocusNumerically };
enum { kMapToRgb, kInverseMapToRgb, kMapToAlpha, kInverseMapToAlpha, kBlur, kDisabled };

const char *const kFocusChoices[] = {"Set Focus with Control Null", "Set Focus Numerically", nullptr};
const char *const kApplyChoices[] = {"Confusion Map to RGB",   "Inverse Confusion Map to RGB",
                                     "Confusion Map to Alpha", "Inverse Confusion Map to Alpha",
                                     "Blur using Confusion Map", "Disable", nullptr};
constexpr int kMaxRadius = 20;
constexpr int kPreviewSize = 170;

LWInstance Create(LWError *err);
void Refresh(PluginInstance *p);
int Setup(PluginInstance *p, const ImageRecord &image, LWFrame, LWTime time);
void Pixel(PluginInstance *p, const ImageRecord &image, int x, int y, BufferValue out[4]);

void NarrowField(void *c) { static_cast<ItemControl *>(c)->width -= 70; }

const ControlSpec kTable[kControls] = {
    {.key = "FSTOP", .kind = ControlSpecKind::Numeric, .x = 116, .y = 65, .label = "Lens F-Stop", .value = 4.0,
     .low = 0.001, .flags = kClipLow, .changed = Refresh, .setup = DragNotBelowLow},
    {.key = "FOCUSTYPE", .kind = ControlSpecKind::Radio, .x = 210, .y = 96, .value = kFocusNumerically,
     .choices = kFocusChoices, .changed = Refresh, .setup = RadioLabelsLeft},
    {.key = "FOCUS", .kind = ControlSpecKind::Item, .x = 90, .y = 140, .label = "Focus Target", .changed = Refresh,
     .setup = NarrowField},
    {.key = "FDIST", .kind = ControlSpecKind::Numeric, .x = 116, .y = 164, .label = "Focal Length (m)", .value = 10.0,
     .low = 0.0001, .flags = kClipLow, .changed = Refresh, .setup = DragNotBelowLow},
    {.key = "APPLYTYPE", .kind = ControlSpecKind::Radio, .x = 210, .y = 197, .value = kBlur, .choices = kApplyChoices,
     .changed = Refresh, .setup = RadioLabelsLeft},
    {.key = "BLURBG", .kind = ControlSpecKind::Toggle, .x = 380, .y = 269, .label = "Blur Background",
     .changed = Refresh},
    {.key = "PREVIEW", .kind = ControlSpecKind::Preview, .x = 258, .y = 67, .setup = PreviewSide<kPreviewSize>},
};

// What the setup works out for one frame.
struct FrameState {
    double focus, scale;  // f and 1 / (f * F-stop)
    double radiusFactor;  // the blur radius per unit of |z - f| * scale
    int mode;
    bool blurBackground;
    RowSums colour[3];  // red, green and blue of the frame being blurred
};

// A render's frame, and the panel's preview apart from it, so that drawing
// the preview never disturbs a frame being rendered.
struct ConfusionWork {
    FrameState render, preview;
};

const PanelSpec kPanel = {.title = "Confusion", .shortName = "Confusion", .width = 440, .height = 350,
                          .create = [](LWError *err, LWItemID) { return Create(err); }, .destroy = SharedDestroy,
                          .copy = SharedCopy, .afterLoad = Refresh, .image = {Setup, Pixel},
                          .workBytes = sizeof(ConfusionWork), .makeWork = MakeWork<ConfusionWork>,
                          .endWork = EndWork<ConfusionWork>};

// Whole square roots of 0 to 400, for the disk's half-width on each row.
struct HalfWidths {
    int of[kMaxRadius * kMaxRadius + 1];
    HalfWidths() {
        for (int q = 0, s = 0; q <= kMaxRadius * kMaxRadius; ++q) {
            while ((s + 1) * (s + 1) <= q) ++s;
            of[q] = s;
        }
    }
} const kHalfWidths;


LWInstance Create(LWError *err) {
    return BuildInstance(kPanel, kTable, kControls, LWITEM_NULL, err, ClassInfo(PluginClass::ImageFilter).createFailure);
}

// The focus distance at a time, or 0 when there is none: no focus item chosen,
// or the item at or behind the camera. The camera is the scene's first, as for
// every camera the collection reads.
double FocusDistance(PluginInstance *p, LWTime time) {
    if (Selection(p, kFocusType) == kFocusNumerically) return Current(p, kFocalLength);
    const ItemControl *item = Control<ItemControl>(p, kFocus);
    if (item->count == 0 || !item->items[0]) return 0;
    LWItemID camera = hostServices.itemInfo ? hostServices.itemInfo->first(LWI_CAMERA, LWITEM_NULL) : LWITEM_NULL;
    Transform target = ItemWorldTransform(item->items[0], time);
    return Apply(Inverse(ItemWorldTransform(camera, time)), target.position)[2];
}

// Works out f and s for a time; false when the filter has nothing to do.
bool ReadFocus(PluginInstance *p, LWTime time, FrameState &frame) {
    OpenSettings(p);
    frame.mode = Selection(p, kApplyType);
    if (frame.mode == kDisabled) return false;
    EvaluatePanelNumerics(p->panel, time);
    double f = FocusDistance(p, time);
    if (!(f >= 1e-7)) return false;
    frame.focus = f;
    frame.scale = 1 / (f * Current(p, kFStop));
    frame.blurBackground = On(p, kBlurBackground);
    return true;
}

int Setup(PluginInstance *p, const ImageRecord &image, LWFrame, LWTime time) {
    FrameState &frame = Work<ConfusionWork>(p)->render;
    if (!ReadFocus(p, time, frame)) return 1;
    if (!image.depth) return 1;  // a host that keeps no depth buffer: nothing to measure against
    double k = image.unscaled ? 1 : image.scale;
    frame.radiusFactor = image.fullWidth * 0.0028 / k;
    if (frame.mode == kBlur) {
        const BufferValue *planes[3] = {image.red, image.green, image.blue};
        for (int c = 0; c < 3; ++c) frame.colour[c].Build(planes[c], image.width, image.height);
    }
    return 0;
}

// The map value: |z - f| * s * 75, held to a byte and truncated. A depth that is
// not a number reads as in focus.
BufferValue ConfusionValue(const FrameState &frame, double z) {
    double c = std::fabs(z - frame.focus) * frame.scale * 75.0;
    if (!(c > 0)) return 0;
    return c >= 255 ? 255 : static_cast<BufferValue>(c);
}

// The disk's radius in working pixels, at most 20.
double BlurRadius(const FrameState &frame, double z) {
    double r = frame.radiusFactor * std::fabs(z - frame.focus) * frame.scale;
    if (!(r > 0)) return 0;
    return r >= kMaxRadius ? kMaxRadius : r;
}

// The mean colour over the disk of radius r round (x, y), inside the image: on
// each row the disk is one run of columns, read from the row sums.
void DiskMean(const FrameState &frame, const ImageRecord &image, int x, int y, double r, BufferValue out[4]) {
    const int R = static_cast<int>(r), Q = static_cast<int>(r * r);
    long sum[3] = {}, count = 0;
    const int top = -R < -y ? -y : -R, bottom = y + R >= image.height ? image.height - 1 - y : R;
    for (int j = top; j <= bottom; ++j) {
        int room = Q - j * j;
        if (room < 0) continue;
        int half = kHalfWidths.of[room] > R ? R : kHalfWidths.of[room];
        int lo = x - half < 0 ? 0 : x - half, hi = x + half >= image.width ? image.width - 1 : x + half;
        count += hi - lo + 1;
        for (int c = 0; c < 3; ++c) sum[c] += frame.colour[c].Run(y + j, lo, hi);
    }
    if (count == 0) return;
    for (int c = 0; c < 3; ++c) out[c] = static_cast<BufferValue>(sum[c] / count);
}

void Pixel(PluginInstance *p, const ImageRecord &image, int x, int y, BufferValue out[4]) {
    const FrameState &frame = Work<ConfusionWork>(p)->render;
    double z = image.depth[static_cast<size_t>(y) * image.width + x];
    BufferValue c = ConfusionValue(frame, z);
    switch (frame.mode) {
    case kMapToRgb: out[0] = out[1] = out[2] = c; break;
    case kInverseMapToRgb: out[0] = out[1] = out[2] = static_cast<BufferValue>(255 - c); break;
    case kMapToAlpha: out[3] = c; break;
    case kInverseMapToAlpha: out[3] = static_cast<BufferValue>(255 - c); break;
    case kBlur:
        if (out[3] == 0 && !frame.blurBackground) return;  // the background stays sharp
        DiskMean(frame, image, x, y, BlurRadius(frame, z), out);
        break;
    default: break;
    }
}

// The preview: depth runs across from the camera to where the blur reaches
// its 20-pixel cap (at least three times the focus distance), with the focus
// marked by a yellow line. The upper part plots the blur's disk radius (orange,
// up to the cap, for the scene's frame width) and the lower strip shows the
// grey the map modes would write, so an animator sees how far behind the focus
// things fall out of it, and how little the blur in front of it can be. Without
// a focus (no item, or the item behind the camera) or when disabled, the
// preview is dimmed. It shows the settings at time 0.
void Refresh(PluginInstance *p) {
    PreviewControl *preview = Control<PreviewControl>(p, kPreview);
    GhostControl(&Control<ItemControl>(p, kFocus)->record, Selection(p, kFocusType) != kFocusOnItem);
    GhostControl(&Number(p, kFocalLength)->record, Selection(p, kFocusType) != kFocusNumerically);
    GhostControl(&Control<ButtonControl>(p, kBlurBackground)->record, Selection(p, kApplyType) != kBlur);
    FrameState &frame = Work<ConfusionWork>(p)->preview;
    bool active = ReadFocus(p, 0, frame);
    auto *scene = hostServices.global
                      ? static_cast<const LWSceneInfo *>(hostServices.global(LWSERVICE_SCENE_INFO, GFUSE_TRANSIENT))
                      : nullptr;
    frame.radiusFactor = (scene && scene->frameWidth > 0 ? scene->frameWidth : 640) * 0.0028;
    const int n = kPreviewSize, plotHeight = n - 34, strip = n - 28;
    const double capDepth = frame.focus + kMaxRadius / (frame.radiusFactor * frame.scale);
    const double farthest = active ? (capDepth > 3 * frame.focus ? capDepth : 3 * frame.focus) : 1;
    auto put = [preview](int x, int y, int r, int g, int b) {
        unsigned char *px = &preview->rgb[(y * kPreviewSize + x) * 3];
        px[0] = static_cast<unsigned char>(r), px[1] = static_cast<unsigned char>(g), px[2] = static_cast<unsigned char>(b);
    };
    for (int y = 0; y < n; ++y)
        for (int x = 0; x < n; ++x) put(x, y, 36, 36, 40);
    int lastTop = -1;
    for (int x = 0; x < n; ++x) {
        double z = (x + 0.5) / n * farthest;
        if (active) {
            BufferValue c = ConfusionValue(frame, z);
            if (frame.mode == kInverseMapToRgb || frame.mode == kInverseMapToAlpha) c = static_cast<BufferValue>(255 - c);
            for (int y = strip; y < n; ++y) put(x, y, c, c, c);
        }
        for (int y = 4; y < plotHeight; y += 4)
            if (x % 34 == 0) put(x, y, 70, 70, 76);  // depth grid: fifths of the range
        put(x, 4, 90, 60, 60);                          // the 20-pixel cap
        if (!active) continue;
        int top = plotHeight - 1 - static_cast<int>(BlurRadius(frame, z) / kMaxRadius * (plotHeight - 5));
        int from = lastTop < 0 ? top : (lastTop < top ? lastTop : top), to = lastTop < 0 ? top : (lastTop > top ? lastTop : top);
        for (int y = from; y <= to; ++y) put(x, y, 255, 150, 40);
        lastTop = top;
    }
    if (active)
        for (int y = 0; y < n; ++y) put(static_cast<int>(frame.focus / farthest * n), y, 250, 220, 0);
    RedrawControl(&preview->record, kDrawAll);
}

unsigned Flags(LWInstance) { return 4096; }  // the depth buffer
const char *Describe(LWInstance) { return "Confusion"; }

const ImageFilterHandler kHandler = ImageFilterHandlerOf(Create, Flags, Describe);

}  // namespace

extern const PluginDef confusionPlugin = {"Confusion", PluginClass::ImageFilter, &kHandler};
