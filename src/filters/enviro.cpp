// Enviro: replaces the render by an environment map of the scene seen from the
// camera or a chosen item: each sample becomes a direction by one of four
// mappings (spherical, cylindrical, a cube's cross, the two hemispheres side
// by side), and the host's ray tracer says what the scene shows that way.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "controls/choice.h"
#include "controls/item.h"
#include "controls/numeric.h"
#include "controls/plugin_access.h"
#include "controls/plugin_instance.h"
#include "filters/filter_frames.h"
#include "helpers/units.h"
#include "services/host_services.h"
#include "module/lifecycle.h"
#include "module/server_table.h"

namespace {

enum { kMapping, kCenter, kAlign, kHeading, kHSpan, kVSpan, kNear, kFill, kHitAlpha, kDisable, kControls };
enum { kSpherical, kCylindrical, kCubical, kOrthogonal };

const char *const kMappingChoices[] = {"Spherical", "Cylindrical", "Cubical", "Orthogonal", nullptr};
// A sample's position is its corner plus half a pixel (unconfirmed).
constexpr double kPixelCentre = 0.5;
constexpr int kWorkingResolution = 65536;

void Reghost(PluginInstance *p);
LWInstance Create(LWError *err);
int NewTimeHook(PluginInstance *p, LWFrame, LWTime time);

void BlackFill(void *c) { auto *k = static_cast<ColorControl *>(c); k->red = k->green = k->blue = 0; }

const ControlSpec kTable[kControls] = {
    {.key = "MAPPING", .kind = ControlSpecKind::Radio, .x = 95, .y = 65, .value = kSpherical, .choices = kMappingChoices,
     .changed = Reghost},
    {.key = "CENTER", .kind = ControlSpecKind::Item, .x = 205, .y = 70, .label = "View From"},
    {.key = "ALIGN", .kind = ControlSpecKind::Toggle, .x = 150, .y = 250, .label = "Align to View Item"},
    {.key = "HEADING", .kind = ControlSpecKind::Numeric, .x = 300, .y = 150, .label = "Heading Offset (degrees)",
     .value = 0, .flags = kDragFree, .digits = 1, .dragStep = 0.5},
    {.key = "HSPAN", .kind = ControlSpecKind::Numeric, .x = 300, .y = 173, .label = "Horizontal Span (degrees)",
     .value = 360, .low = 1, .high = 360, .flags = kClipLow | kClipHigh | kDragRange, .dragLow = 1, .dragHigh = 360,
     .digits = 1, .dragStep = 0.5},
    {.key = "VSPAN", .kind = ControlSpecKind::Numeric, .x = 300, .y = 196, .label = "Vertical Span (degrees)",
     .value = 90, .low = 1, .high = 179, .flags = kClipLow | kClipHigh | kDragRange, .dragLow = 1, .dragHigh = 179,
     .digits = 1, .dragStep = 0.5},
    {.key = "NEAR", .kind = ControlSpecKind::Factor, .x = 300, .y = 219, .label = "Near Clip (m)", .value = 0,
     .dragStep = 0.01},
    {.key = "FILL", .kind = ControlSpecKind::Color, .x = 380, .y = 250, .label = "Fill Color", .setup = BlackFill},
    {.key = "HITALPHA", .kind = ControlSpecKind::Toggle, .x = 150, .y = 275, .label = "Alpha from Hits"},
    {.key = "DISABLE", .kind = ControlSpecKind::Toggle, .x = 150, .y = 300, .label = "Disable All Effects",
     .changed = Reghost},
};

// The cube's cross: each cell's face as seen from inside, looking along
// centre + a * right + b * up for a and b in [-1, 1].
struct CubeFace {
    int row, column;
    double centre[3], right[3], up[3];
};
constexpr CubeFace kCube[6] = {
    {0, 1, {0, 1, 0}, {1, 0, 0}, {0, 0, -1}},   // top
    {1, 0, {-1, 0, 0}, {0, 0, 1}, {0, 1, 0}},   // left
    {1, 1, {0, 0, 1}, {1, 0, 0}, {0, 1, 0}},    // front
    {1, 2, {1, 0, 0}, {0, 0, -1}, {0, 1, 0}},   // right
    {1, 3, {0, 0, -1}, {-1, 0, 0}, {0, 1, 0}},  // back
    {2, 1, {0, -1, 0}, {1, 0, 0}, {0, 0, 1}},   // bottom
};

// What the new-time hook works out for the frame; evaluate only reads it.
struct Frame {
    bool active;
    int mapping;
    double W, H;
    double Pv[3], R[3], U[3], F[3];
    bool aligned;
    double ch, sh, spanH, tanV;
    double s, ox, oy;          // cube cell size and the cross's corner
    double m, cxF, cxB, cy;    // hemisphere disc diameter and centres
    double near;
    BufferValue fill[3];
    double fillColour[3];
    bool hitAlpha;
};

const PanelSpec kPanel = {.title = "Environment Map Renderer", .shortName = "Enviro", .width = 450, .height = 360,
                          .create = [](LWError *err, LWItemID) { return Create(err); }, .destroy = SharedDestroy,
                          .copy = SharedCopy, .afterLoad = Reghost,
                          .pixel = {.workingResolution = kWorkingResolution, .newTimeHook = NewTimeHook},
                          .workBytes = sizeof(Frame)};


LWInstance Create(LWError *err) {
    return BuildInstance(kPanel, kTable, kControls, LWITEM_NULL, err, ClassInfo(PluginClass::PixelFilter).createFailure);
}

// The spans only mean something for the mappings that use them.
void Reghost(PluginInstance *p) {
    bool disabled = On(p, kDisable);
    int mapping = Selection(p, kMapping);
    for (int i = 0; i < kControls; ++i) {
        if (i == kDisable) continue;
        bool ghost = disabled || (i == kHSpan && mapping != kSpherical && mapping != kCylindrical) ||
                     (i == kVSpan && mapping != kCylindrical);
        GhostControl(static_cast<ControlRecord *>(p->controls[i]), ghost);
    }
}

int NewTimeHook(PluginInstance *p, LWFrame, LWTime time) {
    Frame &f = *Work<Frame>(p);
    f.active = false;
    OpenEvaluation(p, time);
    if (On(p, kDisable)) return 0;
    auto *scene = static_cast<const LWSceneInfo *>(hostServices.global(LWSERVICE_SCENE_INFO, GFUSE_TRANSIENT));
    if (!scene || scene->frameWidth < 1 || scene->frameHeight < 1) return 0;
    f.W = scene->frameWidth, f.H = scene->frameHeight;
    const LWItemInfo *items = hostServices.itemInfo;
    const ItemControl *centre = Control<ItemControl>(p, kCenter);
    LWItemID view = centre->count > 0 && centre->items[0] ? centre->items[0]
                    : items                               ? items->first(LWI_CAMERA, LWITEM_NULL)
                                                          : LWITEM_NULL;
    if (!view) return 0;
    ItemAxesAt(view, time, f.Pv, f.R, f.U, f.F);
    double heading = Current(p, kHeading) * kRadiansPerDegree;
    f.ch = std::cos(heading), f.sh = std::sin(heading);
    f.spanH = std::clamp(Current(p, kHSpan), 1.0, 360.0) * kRadiansPerDegree;
    f.tanV = std::tan(std::clamp(Current(p, kVSpan), 1.0, 179.0) * kRadiansPerDegree / 2);
    f.s = std::min(f.W / 4, f.H / 3);
    f.ox = (f.W - 4 * f.s) / 2, f.oy = (f.H - 3 * f.s) / 2;
    f.m = std::min(f.W / 2, f.H);
    f.cxF = f.W / 2 - f.m / 2, f.cxB = f.W / 2 + f.m / 2, f.cy = f.H / 2;
    f.near = std::max(0.0, Current(p, kNear));
    const ColorControl *fill = Control<ColorControl>(p, kFill);
    const int channels[3] = {fill->red, fill->green, fill->blue};
    for (int i = 0; i < 3; ++i) {
        f.fill[i] = static_cast<BufferValue>(std::clamp(channels[i], 0, 255));
        f.fillColour[i] = f.fill[i] * kPerByteLevel;
    }
    f.hitAlpha = On(p, kHitAlpha);
    f.aligned = On(p, kAlign);
    f.mapping = std::clamp(Selection(p, kMapping), 0, 3);
    f.active = true;
    return 0;
}

// The map's direction through a frame position; false outside the map (the
// cross's empty cells, beyond the discs).
bool MapDirection(const Frame &f, double px, double py, double d[3]) {
    switch (f.mapping) {
    case kSpherical:
    case kCylindrical: {
        double phi = (px / f.W - 0.5) * f.spanH;
        if (f.mapping == kCylindrical) {
            d[0] = std::sin(phi), d[1] = (1 - 2 * py / f.H) * f.tanV, d[2] = std::cos(phi);
            return true;
        }
        double lambda = (0.5 - py / f.H) * kPi;
        d[0] = std::cos(lambda) * std::sin(phi), d[1] = std::sin(lambda), d[2] = std::cos(lambda) * std::cos(phi);
        return true;
    }
    case kCubical: {
        double qx = px - f.ox, qy = py - f.oy;
        double column = std::floor(qx / f.s), row = std::floor(qy / f.s);
        for (const CubeFace &face : kCube) {
            if (face.row != row || face.column != column) continue;
            double a = 2 * (qx - column * f.s) / f.s - 1, b = 1 - 2 * (qy - row * f.s) / f.s;
            for (int i = 0; i < 3; ++i) d[i] = face.centre[i] + a * face.right[i] + b * face.up[i];
            return true;
        }
        return false;
    }
    default: {  // the front and back hemispheres, each seen from far away
        bool front = px < f.W / 2;
        double half = f.m / 2, x = (px - (front ? f.cxF : f.cxB)) / half, y = (f.cy - py) / half, r2 = x * x + y * y;
        if (r2 > 1) return false;
        double z = std::sqrt(1 - r2);
        d[0] = front ? x : -x, d[1] = y, d[2] = front ? z : -z;  // turned round, -X lies to the right
        return true;
    }
    }
}

void Evaluate(LWInstance instance, const PixelAccess *access) {
    BufferValue rgba[4];
    ReadSampleRgba(access, rgba);
    PluginInstance *p = static_cast<PluginInstance *>(instance);
    const Frame *frame = p ? Work<Frame>(p) : nullptr;
    if (!frame || !frame->active || (p->pixel.failed & 1) || !access->rayTrace) return access->setRGBA(rgba);
    const Frame &f = *frame;
    double d[3];
    if (!MapDirection(f, access->sx + kPixelCentre, access->sy + kPixelCentre, d)) {
        BufferValue fill[4] = {f.fill[0], f.fill[1], f.fill[2], 0};
        return access->setRGBA(fill);
    }
    double turned[3] = {d[0] * f.ch + d[2] * f.sh, d[1], -d[0] * f.sh + d[2] * f.ch}, w[3];
    for (int i = 0; i < 3; ++i)
        w[i] = f.aligned ? turned[0] * f.R[i] + turned[1] * f.U[i] + turned[2] * f.F[i] : turned[i];
    UnitVector(w);
    // The near clip lets the view point sit inside the object that will
    // carry the map without its rays meeting it.
    double origin[3], colour[3];
    for (int i = 0; i < 3; ++i) origin[i] = f.Pv[i] + f.near * w[i], colour[i] = f.fillColour[i];
    double length = access->rayTrace(origin, w, colour);
    BufferValue out[4];
    for (int i = 0; i < 3; ++i) out[i] = static_cast<BufferValue>(std::floor(255 * std::clamp(colour[i], 0.0, 1.0) + 0.5));
    out[3] = !f.hitAlpha || length >= 0 ? 255 : 0;
    access->setRGBA(out);
}

unsigned Flags(LWInstance instance) { return instance ? LWPFF_RAYTRACE : 0; }

const char *Describe(LWInstance instance) {
    PluginInstance *p = OpenSettings(instance);
    if (!p) return "Error!";
    if (On(p, kDisable)) return "Enviro: Disabled";
    const char *mapping = kMappingChoices[std::clamp(Selection(p, kMapping), 0, 3)];
    const ItemControl *centre = Control<ItemControl>(p, kCenter);
    if (centre->count > 0 && centre->items[0])
        std::snprintf(p->description, sizeof p->description, "Enviro: %s from %s", mapping, ItemName(centre->items[0]));
    else
        std::snprintf(p->description, sizeof p->description, "Enviro: %s", mapping);
    return p->description;
}

const PixelFilterHandler kHandler = PixelFilterHandlerOf(Create, Evaluate, Flags, Describe, SharedItemsUsedUnlessDisabled);

}  // namespace

extern const PluginDef enviroPlugin = {"Enviro", PluginClass::PixelFilter, &kHandler};
