// Parent: gives an item a schedule of parents over time. It rides with parent
// 1 for a number of frames, is handed to parent 2, and so on through up to
// nine slices, after which a final parent takes it (or the schedule repeats).
// At every hand-over the item keeps its world pose; "(World)" holds it still
// in world space. Divorced channels keep the item's own keyed values.
#include <cmath>
#include <cstdio>
#include <initializer_list>

#include "controls/choice.h"
#include "controls/item.h"
#include "controls/numeric.h"
#include "controls/plugin_access.h"
#include "controls/plugin_instance.h"
#include "controls/static_controls.h"
#include "services/host_services.h"
#include "module/lifecycle.h"
#include "module/server_table.h"
#include "helpers/transform.h"

namespace {

constexpr int kSlices = 9;
constexpr int kCap = 9999;  // frames: the schedule never runs longer

// Table positions, which are also the creation (and save) order.
enum {
    kHeadDuration, kHeadRange, kHeadParent,
    kDuration1, kRange1 = kDuration1 + kSlices, kParent1 = kRange1 + kSlices,
    kRangeF = kParent1 + kSlices, kParentF,
    kDivorceTitle, kPositionCaption, kRotationCaption, kScalingCaption,
    kDX, kDY, kDZ, kDH, kDP, kDB, kDSX, kDSY, kDSZ,
    kRepeat, kInteractive, kDisable, kExportMotion, kControls
};

void Refresh(PluginInstance *p);
LWInstance Create(LWError *err, LWItemID item);
void World(void *control) { static_cast<ItemControl *>(control)->noneText = "(World)"; }

constexpr int Row(int k) { return 90 + 25 * k; }
constexpr ControlSpec Duration(const char *key, int k) {
    return {.key = key, .kind = ControlSpecKind::Integer, .x = 25, .y = Row(k), .label = "", .value = 0, .low = 0,
            .high = 10000, .flags = kClipLow | kClipHigh | kDragRange, .dragLow = 0, .dragHigh = 10000,
            .changed = Refresh};
}
constexpr ControlSpec Range(const char *key, int y) {
    return {.key = key, .kind = ControlSpecKind::Text, .x = 150, .y = y, .label = ""};
}
constexpr ControlSpec ParentItem(const char *key, int y) {
    return {.key = key, .kind = ControlSpecKind::Item, .x = 205, .y = y, .label = "", .changed = Refresh,
            .setup = World};
}
// The divorce switches carry a letter on their face instead of a label.
template <char Letter>
void Face(void *button) {
    ButtonControl *b = static_cast<ButtonControl *>(button);
    b->text[0] = Letter;
    b->text[1] = 0;
}
template <char Letter>
constexpr ControlSpec Divorce(const char *key, int x, int y) {
    return {.key = key, .kind = ControlSpecKind::Toggle, .x = x, .y = y, .label = "", .value = 0, .setup = Face<Letter>};
}
constexpr ControlSpec Caption(const char *key, int x, int y, const char *text) {
    return {.key = key, .kind = ControlSpecKind::Text, .x = x, .y = y, .label = text};
}

const ControlSpec kTable[kControls] = {
    Caption("TDURATION", 56, 65, "Duration"), Caption("TRANGE", 151, 65, "Frame Range"),
    Caption("TPARENT", 320, 65, "Parent"),
    Duration("DURATION1", 0), Duration("DURATION2", 1), Duration("DURATION3", 2), Duration("DURATION4", 3),
    Duration("DURATION5", 4), Duration("DURATION6", 5), Duration("DURATION7", 6), Duration("DURATION8", 7),
    Duration("DURATION9", 8),
    Range("RANGE1", Row(0)), Range("RANGE2", Row(1)), Range("RANGE3", Row(2)), Range("RANGE4", Row(3)),
    Range("RANGE5", Row(4)), Range("RANGE6", Row(5)), Range("RANGE7", Row(6)), Range("RANGE8", Row(7)),
    Range("RANGE9", Row(8)),
    ParentItem("PARENT1", Row(0)), ParentItem("PARENT2", Row(1)), ParentItem("PARENT3", Row(2)),
    ParentItem("PARENT4", Row(3)), ParentItem("PARENT5", Row(4)), ParentItem("PARENT6", Row(5)),
    ParentItem("PARENT7", Row(6)), ParentItem("PARENT8", Row(7)), ParentItem("PARENT9", Row(8)),
    Range("RANGEF", 315), ParentItem("PARENTF", 315),
    Caption("Lifto", 111, 365, "Divorce Channels"), Caption("TPOSITION", 40, 386, "Position"),
    Caption("TROTATION", 40, 407, "Rotation"), Caption("TSCALING", 40, 428, "Scaling"),
    Divorce<'X'>("DX", 105, 385), Divorce<'Y'>("DY", 125, 385), Divorce<'Z'>("DZ", 145, 385),
    Divorce<'H'>("DH", 105, 406), Divorce<'P'>("DP", 125, 406), Divorce<'B'>("DB", 145, 406),
    Divorce<'X'>("DSX", 105, 427), Divorce<'Y'>("DSY", 125, 427), Divorce<'Z'>("DSZ", 145, 427),
    // The final parent's greying follows REPEAT as well, so it refreshes too.
    {.key = "REPEAT", .kind = ControlSpecKind::Toggle, .x = 360, .y = 370, .label = "Repeat parenting cycle",
     .value = 0, .changed = Refresh},
    {.key = "INTERACTIVE", .kind = ControlSpecKind::Toggle, .x = 360, .y = 392, .label = "Interactive Update",
     .value = 1},
    {.key = "DISABLE", .kind = ControlSpecKind::Toggle, .x = 360, .y = 414, .label = "Disable All Effects", .value = 0,
     .changed = Refresh},
    {.key = "MB", .kind = ControlSpecKind::ExportMotion, .x = 270, .y = 440},
};

const PanelSpec kPanel = {.title = "Parent", .shortName = "Parent", .width = 450, .height = 495, .create = Create,
                          .destroy = SharedDestroy, .copy = SharedCopy, .afterLoad = Refresh};

ControlRecord *Record(PluginInstance *p, int i) { return static_cast<ControlRecord *>(p->controls[i]); }
// Whole frames, held to the cap.
long Frames(PluginInstance *p, int slice) {
    double d = std::floor(Number(p, kDuration1 + slice)->value + 0.5);
    return d < 0 ? 0 : (d > kCap ? kCap : static_cast<long>(d));
}
long Capped(long total) { return total < 0 ? 0 : (total > kCap ? kCap : total); }
// A parent control's item; none (or a missing one) is World.
LWItemID ParentOf(PluginInstance *p, int control) {
    ItemControl *c = Control<ItemControl>(p, control);
    return c->count > 0 ? c->items[0] : LWITEM_NULL;
}

LWInstance Create(LWError *err, LWItemID item) {
    return BuildInstance(kPanel, kTable, kControls, item, err, ClassInfo(PluginClass::ItemMotion).createFailure);
}

void Refresh(PluginInstance *p) {
    long total = 0;
    char text[64];
    for (int k = 0; k < kSlices; ++k) {
        long start = total;
        total = Capped(total + Frames(p, k));
        if (k == 0 || total > start)
            std::snprintf(text, sizeof text, "%ld-%ld", start, total);
        else
            std::snprintf(text, sizeof text, "-");
        SetText(Control<TextControl>(p, kRange1 + k), text);
    }
    if (total >= kCap)
        std::snprintf(text, sizeof text, "-");
    else
        std::snprintf(text, sizeof text, "%ld-9999", total);
    SetText(Control<TextControl>(p, kRangeF), text);
    bool disabled = On(p, kDisable), finalOff = total >= kCap || On(p, kRepeat);
    for (int i = 0; i < kControls; ++i)
        if (i != kDisable) GhostControl(Record(p, i), disabled || ((i == kRangeF || i == kParentF) && finalOff));
}

// The item's new local motion: its own keyed motion carried by the chain of
// parents, each hand-over re-expressing its pose in the next parent's frame.
void Evaluate(LWInstance instance, const ItemMotionAccess *access) {
    PluginInstance *p = OpenEvaluation(instance, access->time, access->item);
    if (!p) return;
    const double t = access->time;
    if (On(p, kDisable)) return;
    auto *scene = static_cast<const LWSceneInfo *>(hostServices.global(LWSERVICE_SCENE_INFO, GFUSE_TRANSIENT));
    if (!scene || scene->framesPerSecond <= 0) return;
    const double fps = scene->framesPerSecond;

    Transform chain = ItemWorldTransform(ParentOf(p, kParent1), 0);
    double previous = 0, end = 0;
    long total = 0;
    bool within = false;
    for (;;) {
        double passStart = previous;
        for (int k = 0; k < kSlices && !within; ++k) {
            total = Capped(total + Frames(p, k));
            double sliceEnd = total / fps;
            if (sliceEnd <= previous) continue;  // a slice of no length
            LWItemID parent = ParentOf(p, kParent1 + k);
            chain = Product(chain, Inverse(ItemWorldTransform(parent, previous)));
            if (t <= sliceEnd) {
                chain = Product(chain, ItemWorldTransform(parent, t));
                end = sliceEnd;
                within = true;
            } else {
                chain = Product(chain, ItemWorldTransform(parent, sliceEnd));
                previous = end = sliceEnd;
            }
        }
        // Repeat while there is more to repeat; a pass that gets no further
        // (the cap reached) ends it.
        if (within || !On(p, kRepeat) || end <= 0 || end >= t || previous <= passStart) break;
    }
    if (!within && end < t) {
        LWItemID last = ParentOf(p, kParentF);
        chain = Product(chain, Product(Inverse(ItemWorldTransform(last, previous)), ItemWorldTransform(last, t)));
    }

    Vec3 own[3];
    access->getParam(LWIP_POSITION, t, own[0].data());
    access->getParam(LWIP_ROTATION, t, own[1].data());
    access->getParam(LWIP_SCALING, t, own[2].data());
    Decomposition m = Decompose(Product(ComposeLocal(own[0], own[1], own[2]), chain));
    Vec3 result[3] = {m.position, m.hpb[0], m.scale};
    for (int channel = 0; channel < 9; ++channel)
        if (On(p, kDX + channel)) result[channel / 3][channel % 3] = own[channel / 3][channel % 3];
    access->setParam(LWIP_POSITION, result[0].data());
    access->setParam(LWIP_ROTATION, result[1].data());
    access->setParam(LWIP_SCALING, result[2].data());
}

// Parents counted in schedule order; the name of the last one counted. A
// parent that is World is named so.
const char *Describe(LWInstance instance) {
    PluginInstance *p = OpenSettings(instance);
    if (!p) return "Error!";
    if (On(p, kDisable)) return "Parent: Disabled";
    long total = 0, counted = 0;
    LWItemID named = LWITEM_NULL;
    for (int k = 0; k < kSlices; ++k) {
        if (Number(p, kDuration1 + k)->value > 0 && total < kCap) {
            ++counted;
            named = ParentOf(p, kParent1 + k);
        }
        total = Capped(total + Frames(p, k));
    }
    if (!On(p, kRepeat) && total < kCap) ++counted, named = ParentOf(p, kParentF);
    if (counted == 0) return "Parent  (no parents)";
    if (counted == 1)
        std::snprintf(p->description, sizeof p->description, "Parent  (%s)", named ? ItemName(named) : "(World)");
    else if (On(p, kRepeat))
        std::snprintf(p->description, sizeof p->description, "Parent  (%ld parents repeat in %ld frames)", counted, total);
    else
        std::snprintf(p->description, sizeof p->description, "Parent  (%ld parents)", counted);
    return p->description;
}


const ItemMotionHandler kHandler = MotionHandlerOf(Create, Evaluate, Describe);

}  // namespace

extern const PluginDef parentPlugin = {"Parent", PluginClass::ItemMotion, &kHandler};
