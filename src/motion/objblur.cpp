// Objblur: reshapes how the host's motion blur smears an item. Each blur
// sample time of a frame is mapped onto a time range of the plug-in's own,
// and the item takes its keyed motion at the mapped time: a blur that reaches
// back or forward several frames, the same stretch of animation on every
// frame, or a plain blur of chosen length, with the samples skewed.
#include <cmath>
#include <initializer_list>

#include "controls/choice.h"
#include "controls/numeric.h"
#include "controls/plugin_access.h"
#include "controls/plugin_instance.h"
#include "helpers/curves.h"
#include "services/host_services.h"
#include "module/lifecycle.h"
#include "module/server_table.h"

namespace {

// Table positions, which are also the creation (and save) order.
enum { kMode, kBack, kForward, kStart, kEnd, kBlur, kSkew, kControls };
enum { kExtended, kFrozen, kNormal, kDisabled };

const char *const kModeChoices[] = {"Extended Blur", "Frozen In Time", "Normal Blur", "Disabled", nullptr};

void Refresh(PluginInstance *p);
LWInstance Create(LWError *err, LWItemID item);
// The fields beside the choices need the room right of them.

constexpr ControlSpec Frames(const char *key, int y, const char *label, double value) {
    return {.key = key, .kind = ControlSpecKind::Integer, .x = 280, .y = y, .label = label, .value = value, .low = 0,
            .high = 10000, .flags = kClipLow | kClipHigh | kDragRange, .dragLow = 0, .dragHigh = 10000};
}

const ControlSpec kTable[kControls] = {
    {.key = "MODE", .kind = ControlSpecKind::Radio, .x = 100, .y = 65, .value = kExtended, .choices = kModeChoices,
     .changed = Refresh, .setup = RadioLabelsLeft},
    Frames("BACK", 65, "Backward Frames", 10),
    Frames("FORWARD", 87, "Forward Frames", 0),
    Frames("START", 114, "Starting Frame", 0),
    Frames("END", 136, "Ending Frame", 10),
    {.key = "BLUR", .kind = ControlSpecKind::Percent, .x = 280, .y = 161, .label = "Blur Length", .value = 0.5},
    {.key = "SKEW", .kind = ControlSpecKind::Percent, .x = 75, .y = 165, .label = "Time Skew", .value = 0.5, .low = 0,
     .high = 1, .flags = kClipLow | kClipHigh},
};

const PanelSpec kPanel = {.title = "OBJBlur", .shortName = "OBJBlur", .width = 400, .height = 220, .create = Create,
                          .destroy = SharedDestroy, .copy = SharedCopy, .afterLoad = Refresh};

int Mode(PluginInstance *p) { return Selection(p, kMode); }

LWInstance Create(LWError *err, LWItemID item) {
    return BuildInstance(kPanel, kTable, kControls, item, err, ClassInfo(PluginClass::ItemMotion).createFailure);
}

// Greys what the mode does not use; the skew is always there.
void Refresh(PluginInstance *p) {
    int mode = Mode(p);
    const int used[] = {kExtended, kExtended, kFrozen, kFrozen, kNormal};
    for (int i = kBack; i <= kBlur; ++i) GhostControl(static_cast<ControlRecord *>(p->controls[i]), mode != used[i - kBack]);
}

void Evaluate(LWInstance instance, const ItemMotionAccess *access) {
    PluginInstance *p = OpenEvaluation(instance, access->time, access->item);
    if (!p) return;
    const double t = access->time, f = access->frame;
    auto *scene = static_cast<const LWSceneInfo *>(hostServices.global(LWSERVICE_SCENE_INFO, GFUSE_TRANSIENT));
    LWItemID camera = hostServices.itemInfo->first(LWI_CAMERA, LWITEM_NULL);
    if (!scene || !camera) return;
    double fps = scene->framesPerSecond;
    double blur = hostServices.cameraInfo->blurLength(camera, t), stop = hostServices.cameraInfo->fStop(camera, t);
    // A blur length equal to the f-stop is no usable length: half a frame.
    if (std::fabs(blur - stop) <= 0.0001)
        blur = 0.5;
    else if (blur <= 1e-8)
        return;  // no motion blur
    int mode = Mode(p);
    if (mode == kDisabled) return;

    // Where the sample lies in the blur interval from f - B (0) to f (1).
    double u = (t * fps - f) / blur + 1;
    u = u < 0 ? 0 : (u > 1 ? 1 : u);
    double start = (f - 1) / fps, end = f / fps;
    if (mode == kExtended) start = (f - Current(p, kBack)) / fps, end = (f + Current(p, kForward)) / fps;
    if (mode == kFrozen) start = Current(p, kStart) / fps, end = Current(p, kEnd) / fps;
    if (mode == kNormal) start = (f - Current(p, kBlur)) / fps, end = f / fps;
    double skew = Current(p, kSkew);
    skew = skew < 0.01 ? 0.01 : (skew > 0.99 ? 0.99 : skew);
    double at = start + (end - start) * Bias(u, skew);

    double v[3];
    for (int code : {LWIP_POSITION, LWIP_SCALING, LWIP_ROTATION}) {
        access->getParam(code, at, v);
        access->setParam(code, v);
    }
}

const char *Describe(LWInstance instance) {
    PluginInstance *p = OpenSettings(instance);
    if (!p) return "Error!";
    const char *lines[] = {"Object Blur: Extended Blur", "Object Blur: Frozen In Time", "Object Blur: Normal Blur",
                           "Object Blur: Disabled"};
    int mode = Mode(p);
    return lines[mode < 0 || mode > 3 ? 3 : mode];
}

const LWItemID *ItemsUsed(LWInstance instance) {
    PluginInstance *p = static_cast<PluginInstance *>(instance);
    if (!p || Mode(p) == kDisabled) return nullptr;
    return AppendOwnerAncestry(p, CollectUsedItems(p));
}

const ItemMotionHandler kHandler = MotionHandlerOf(Create, Evaluate, Describe, ItemsUsed);

}  // namespace

extern const PluginDef objblurPlugin = {"Objblur", PluginClass::ItemMotion, &kHandler};
