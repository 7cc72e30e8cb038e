#include "filters/filter_frames.h"

#include <cmath>
#include <cstring>
#include <vector>

#include "services/host_services.h"

namespace {

// The frame's planes, kept between frames so that nothing is allocated per pixel.
std::vector<BufferValue> planes;
std::vector<float> depthPlane;

}  // namespace

BufferValue ToByte(double v) {
    if (!(v > 0)) return 0;
    if (v >= 255) return 255;
    return static_cast<BufferValue>(v + 0.5);  // positive: truncation is the floor
}

void ReadSampleRgba(const PixelAccess *access, BufferValue rgba[4]) { access->bufVal(LWBUF_RED, 4, rgba); }

void UnitVector(double v[3]) {
    double n = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]) + 1e-16;
    for (int i = 0; i < 3; ++i) v[i] /= n;
}

void ItemAxesAt(LWItemID item, LWTime time, double position[3], double right[3], double up[3], double forward[3]) {
    const LWItemInfo *items = hostServices.itemInfo;
    items->param(item, LWIP_W_POSITION, time, position);
    items->param(item, LWIP_RIGHT, time, right);
    items->param(item, LWIP_UP, time, up);
    items->param(item, LWIP_FORWARD, time, forward);
    UnitVector(right), UnitVector(up), UnitVector(forward);
}

void CameraHalfTangents(double zoom, double width, double height, double pixelAspect, double *tx, double *ty) {
    *ty = 1 / zoom;
    *tx = *ty * width * pixelAspect / height;
}

// The host hands the pixel as bytes; the routine gets them as doubles on the
// same 0-255 scale and its results are rounded back to the nearest byte.
void PixelFilterEvaluate(LWInstance instance, const PixelAccess *access) {
    PluginInstance *p = static_cast<PluginInstance *>(instance);
    BufferValue rgba[4] = {};
    access->bufVal(LWBUF_RED, 4, rgba);
    if (p && p->pixel.pixelHook && !(p->pixel.failed & 1)) {
        float depth = 0;
        access->fltVal(LWBUF_DEPTH, 1, &depth);
        double rgb[3] = {static_cast<double>(rgba[0]), static_cast<double>(rgba[1]), static_cast<double>(rgba[2])};
        p->pixel.alpha = rgba[3] / 255.0;
        p->pixel.pixelHook(p, depth, rgb);
        for (int i = 0; i < 3; ++i) rgba[i] = ToByte(rgb[i]);
        rgba[3] = ToByte(p->pixel.alpha * 255);
    }
    access->setRGBA(rgba);  // every sample is answered, changed or not
}

// The image record from the host's render information: the working area is the
// access's width and height; a limited region places it in the frame at its
// corner at full scale; otherwise a smaller working area is the whole frame at a
// coarser scale.
void ImageFilterProcess(LWInstance instance, const FilterAccess *access) {
    PluginInstance *p = static_cast<PluginInstance *>(instance);
    int w = access->width, h = access->height;
    if (w <= 0 || h <= 0) return;
    auto *scene = static_cast<const LWSceneInfo *>(hostServices.global(LWSERVICE_SCENE_INFO, GFUSE_TRANSIENT));
    size_t n = static_cast<size_t>(w) * h;
    planes.resize(4 * n);
    for (int y = 0; y < h; ++y)
        for (int c = 0; c < 4; ++c) {
            const BufferValue *line = access->bufLine(LWBUF_RED + c, y);
            BufferValue *to = planes.data() + c * n + static_cast<size_t>(y) * w;
            if (line)
                std::memcpy(to, line, w);
            else
                std::memset(to, c == 3 ? 255 : 0, w);
        }
    bool withDepth = access->fltLine && access->fltLine(LWBUF_DEPTH, 0);
    if (withDepth) {
        depthPlane.resize(n);
        for (int y = 0; y < h; ++y) std::memcpy(depthPlane.data() + static_cast<size_t>(y) * w, access->fltLine(LWBUF_DEPTH, y), sizeof(float) * w);
    }

    ImageRecord image{planes.data(), planes.data() + n, planes.data() + 2 * n, planes.data() + 3 * n,
                      withDepth ? depthPlane.data() : nullptr, w, h, w, h, 0, 0, 1.0, 1, 0};
    if (scene) {
        image.fullWidth = scene->frameWidth;
        image.fullHeight = scene->frameHeight;
        image.fields = (scene->renderOpts & LWROPT_FIELDS) != 0;
        if (scene->renderOpts & LWROPT_LIMITEDREGION) {
            image.offsetX = scene->limitedRegion[0];
            image.offsetY = scene->limitedRegion[1];
        } else if (w != scene->frameWidth) {
            image.scale = static_cast<double>(scene->frameWidth) / w;
            image.unscaled = 0;
        }
    }
    bool active = p && p->image.setup && p->image.pixel && p->image.setup(p, image, access->frame, access->start) == 0;
    Monitor *monitor = access->monitor;
    if (monitor) monitor->init(monitor->data, static_cast<unsigned>(h));
    bool aborted = false;
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            size_t at = static_cast<size_t>(y) * w + x;
            BufferValue out[4] = {image.red[at], image.green[at], image.blue[at], image.alpha[at]};
            if (active && !aborted) p->image.pixel(p, image, x, y, out);
            access->setRGB(x, y, out);
            access->setAlpha(x, y, out[3]);
        }
        // After an abort the rest of the frame passes unchanged: every pixel is written.
        if (monitor && !aborted && monitor->step(monitor->data, 1)) aborted = true;
    }
    if (monitor) monitor->done(monitor->data);
}

void RowSums::Build(const BufferValue *plane, int planeWidth, int height) {
    width = planeWidth;
    sums.resize(static_cast<size_t>(width + 1) * height);
    for (int y = 0; y < height; ++y) {
        int32_t *row = &sums[static_cast<size_t>(y) * (width + 1)];
        const BufferValue *values = plane + static_cast<size_t>(y) * width;
        row[0] = 0;
        for (int x = 0; x < width; ++x) row[x + 1] = row[x] + values[x];
    }
}

LWError PixelFilterInit(LWInstance instance) {
    if (!instance) return "Instance was NULL in pixel filter init";
    PluginInstance *p = static_cast<PluginInstance *>(instance);
    PixelFilterFrame &f = p->pixel;
    SynchronisePanel(p->panel);
    f.failed = 0;
    auto *scene = static_cast<const LWSceneInfo *>(hostServices.global(LWSERVICE_SCENE_INFO, GFUSE_TRANSIENT));
    // The rendered area: the limited region when one is rendered, else the frame.
    int x0 = 0, y0 = 0, x1 = scene ? scene->frameWidth - 1 : 0, y1 = scene ? scene->frameHeight - 1 : 0;
    if (scene && (scene->renderOpts & LWROPT_LIMITEDREGION)) {
        x0 = scene->limitedRegion[0];
        y0 = scene->limitedRegion[1];
        x1 = scene->limitedRegion[2];
        y1 = scene->limitedRegion[3];
    }
    f.renderWidth = x1 - x0 + 1;
    f.renderHeight = y1 - y0 + 1;
    if (f.initHook && f.initHook(p)) {
        f.failed = 1;
        return "Error in init CB";
    }
    int larger = f.renderWidth > f.renderHeight ? f.renderWidth : f.renderHeight;
    f.scale = f.workingResolution > 0 ? static_cast<double>(larger) / f.workingResolution : 1.0;
    if (f.scale < 1) f.scale = 1;
    f.reducedWidth = static_cast<int>(f.renderWidth / f.scale);
    f.reducedHeight = static_cast<int>(f.renderHeight / f.scale);
    if (f.reducedWidth < 1) f.reducedWidth = 1;
    if (f.reducedHeight < 1) f.reducedHeight = 1;
    if (f.clearWork) f.clearWork(p);
    return nullptr;
}

LWError PixelFilterNewTime(LWInstance instance, LWFrame frame, LWTime time) {
    if (!instance) return "Instance was NULL in pixel filter Newtime";
    PluginInstance *p = static_cast<PluginInstance *>(instance);
    hostServices.global(LWSERVICE_SCENE_INFO, GFUSE_TRANSIENT);
    p->pixel.failed &= 1;
    if (p->pixel.newTimeHook && p->pixel.newTimeHook(p, frame, time)) return "Error in newtime CB";
    return nullptr;
}

ImageRecord PreviewCard(BufferValue *const planes[4], int n) {
    return {planes[0], planes[1], planes[2], planes[3], nullptr, n, n, n, n, 0, 0, 1.0, 1, 0};
}

void DrawPreview(PreviewControl *preview, const ImageRecord &card, bool active,
                 const std::function<void(int x, int y, BufferValue out[4])> &filter,
                 const std::function<void(int x, int y, const BufferValue in[4], const BufferValue out[4],
                                          unsigned char rgb[3])> &show) {
    const int n = card.width;
    for (int y = 0; y < n; ++y)
        for (int x = 0; x < n; ++x) {
            const int at = y * n + x;
            const BufferValue in[4] = {card.red[at], card.green[at], card.blue[at], card.alpha[at]};
            BufferValue out[4] = {in[0], in[1], in[2], in[3]};
            if (active) filter(x, y, out);
            show(x, y, in, out, &preview->rgb[at * 3]);
        }
    RedrawControl(&preview->record, kDrawAll);
}
