#include "host/embedded_host.h"

#include <cstdio>
#include <cmath>
#include <cstring>
#include <unordered_map>

#include "host/module_loader.h"

namespace {

EmbeddedHost *activeHost = nullptr;

Scene &TheScene() { return EmbeddedHost::Active().scene; }
Item *Find(LWItemID id) { return ItemFromId(TheScene(), id); }
double FrameAt(LWTime t) { return TheScene().FrameAt(t); }

// A value of an item the host knows, or zero for any other id.
template <typename T>
T Of(LWItemID id, T Item::*field) {
    Item *item = Find(id);
    return item ? item->*field : T{};
}

// An animated value of an item at a time.
double At(LWItemID id, Channel Item::*channel, LWTime t) {
    Item *item = Find(id);
    return item ? (item->*channel).ValueAt(FrameAt(t)) : 0;
}

void Show(MessageKind kind, const char *line1, const char *line2) {
    EmbeddedHost::Active().messages.push_back({kind, line1 ? line1 : "", line2 ? line2 : ""});
}

// ---- "Info Messages" ----
void InfoMessage(const char *a, const char *b) { Show(MessageKind::Info, a, b); }
void ErrorMessage(const char *a, const char *b) { Show(MessageKind::Error, a, b); }
void WarningMessage(const char *a, const char *b) { Show(MessageKind::Warning, a, b); }
const MessageFuncs messageFuncs = {InfoMessage, ErrorMessage, WarningMessage};

// ---- "LW Item Info" ----
const std::vector<std::unique_ptr<Item>> *ListOf(LWItemType type, LWItemID boneObject) {
    Scene &s = TheScene();
    switch (type) {
    case LWI_OBJECT: return &s.objects;
    case LWI_LIGHT: return &s.lights;
    case LWI_CAMERA: return &s.cameras;
    case LWI_BONE: {
        Item *object = Find(boneObject);
        return object && object->type == LWI_OBJECT ? &object->bones : nullptr;
    }
    }
    return nullptr;
}

LWItemID ItemFirst(LWItemType type, LWItemID boneObject) {
    auto *list = ListOf(type, boneObject);
    return list && !list->empty() ? list->front().get() : LWITEM_NULL;
}

LWItemID ItemNext(LWItemID id) {
    Item *item = Find(id);
    if (!item) return LWITEM_NULL;
    auto *list = ListOf(item->type, item->owner);
    if (!list) return LWITEM_NULL;
    for (size_t i = 0; i + 1 < list->size(); ++i)
        if ((*list)[i].get() == item) return (*list)[i + 1].get();
    return LWITEM_NULL;
}

// Children of an item in the host's order: objects, lights, cameras, then the
// item's own bones.
std::vector<Item *> ChildrenOf(const Item *parent) {
    std::vector<Item *> children;
    Scene &s = TheScene();
    for (const auto *list : {&s.objects, &s.lights, &s.cameras})
        for (const auto &item : *list)
            if (item->parent == parent) children.push_back(item.get());
    return children;
}

LWItemID ItemFirstChild(LWItemID id) {
    Item *parent = Find(id);
    if (!parent) return LWITEM_NULL;
    auto children = ChildrenOf(parent);
    return children.empty() ? LWITEM_NULL : children.front();
}

LWItemID ItemNextChild(LWItemID parentId, LWItemID prev) {
    Item *parent = Find(parentId);
    if (!parent) return LWITEM_NULL;
    auto children = ChildrenOf(parent);
    for (size_t i = 0; i + 1 < children.size(); ++i)
        if (children[i] == prev) return children[i + 1];
    return LWITEM_NULL;
}

LWItemID ItemParent(LWItemID id) { return Of(id, &Item::parent); }
LWItemID ItemTarget(LWItemID id) { return Of(id, &Item::target); }
LWItemID ItemGoal(LWItemID id) { return Of(id, &Item::goal); }
LWItemType ItemType(LWItemID id) {
    Item *item = Find(id);
    return item ? item->type : -1;  // no kind at all for an id the host does not know
}
const char *ItemNameOf(LWItemID id) {
    Item *item = Find(id);
    if (!item) return nullptr;
    item->shownName = TheScene().ShownName(*item);
    return item->shownName.c_str();
}
void ItemParam(LWItemID id, LWItemParam param, LWTime time, double v[3]) {
    ++EmbeddedHost::Active().paramQueries;
    Item *item = Find(id);
    if (item)
        TheScene().Param(*item, param, time, v);
    else
        v[0] = v[1] = v[2] = 0;
}
unsigned ItemLimits(LWItemID, LWItemParam, double min[3], double max[3]) {
    for (int i = 0; i < 3; ++i) min[i] = max[i] = 0;
    return 0;  // the embedded host keeps no user limits
}
const char *ItemGetTag(LWItemID id, int n) {
    Item *item = Find(id);
    if (!item || n < 1 || n > static_cast<int>(item->tags.size())) return nullptr;
    return item->tags[n - 1].c_str();
}
void ItemSetTag(LWItemID id, int n, const char *text) {
    Item *item = Find(id);
    if (!item) return;
    if (n >= 1 && n <= static_cast<int>(item->tags.size()))
        item->tags[n - 1] = text ? text : "";
    else if (n == 0)
        item->tags.push_back(text ? text : "");
}
const LWItemInfo itemInfo2 = {ItemFirst, ItemNext,  ItemFirstChild,
                              ItemNextChild, ItemParent, ItemTarget, ItemGoal, ItemType, ItemNameOf, ItemParam,
                              ItemLimits, ItemGetTag, ItemSetTag};
// The plain service is a prefix of the same record: what lies past param is
// left empty so that a module calling it is caught.
const LWItemInfo itemInfo1 = {ItemFirst,  ItemNext, ItemFirstChild, ItemNextChild, ItemParent, ItemTarget,
                              ItemGoal,   ItemType, ItemNameOf,     ItemParam,     nullptr,    nullptr,
                              nullptr};

// ---- "LW Object Info" ----
// A path the C runtime can open: where the host found the file when it read it.
const char *ObjectFilename(LWItemID id) {
    Item *item = Find(id);
    if (!item) return nullptr;
    return item->geometryPath.empty() ? item->filename.c_str() : item->geometryPath.c_str();
}
int ObjectPoints(LWItemID id) { return Of(id, &Item::numPoints); }
int ObjectPolygons(LWItemID id) { return Of(id, &Item::numPolygons); }
unsigned ObjectShadows(LWItemID id) { return Of(id, &Item::shadowOptions); }
double ObjectDissolve(LWItemID id, LWTime t) { return At(id, &Item::dissolve, t); }
const LWObjectInfo objectInfo = {ObjectFilename, ObjectPoints, ObjectPolygons, ObjectShadows, ObjectDissolve};

// ---- "LW Bone Info" ----
unsigned BoneFlags(LWItemID id) { return Of(id, &Item::boneFlags); }
void BoneRestParam(LWItemID id, LWItemParam param, double v[3]) {
    Item *item = Find(id);
    v[0] = v[1] = v[2] = 0;
    if (!item) return;
    if (param == LWIP_POSITION)
        for (int i = 0; i < 3; ++i) v[i] = item->restPosition[i];
    else if (param == LWIP_ROTATION)
        for (int i = 0; i < 3; ++i) v[i] = item->restDirection[i] * 0.017453292519943295;
}
double BoneRestLength(LWItemID id) { return Of(id, &Item::restLength); }
void BoneLimits(LWItemID id, double *inner, double *outer) {
    *inner = Of(id, &Item::innerLimit);
    *outer = Of(id, &Item::outerLimit);
}
const LWBoneInfo boneInfo = {BoneFlags, BoneRestParam, BoneRestLength, BoneLimits};

// ---- "LW Light Info" ----
void LightAmbient(LWTime t, double c[3]) {
    Scene &s = TheScene();
    double k = s.ambientIntensity.ValueAt(FrameAt(t));
    for (int i = 0; i < 3; ++i) c[i] = s.ambientColor[i] * k;
}
int LightType(LWItemID id) { return Of(id, &Item::lightType); }
void LightColor(LWItemID id, LWTime t, double c[3]) {
    double k = At(id, &Item::intensity, t);
    auto color = Of(id, &Item::lightColor);
    for (int i = 0; i < 3; ++i) c[i] = color[i] * k;
}
int LightShadowType(LWItemID id) { return Of(id, &Item::shadowType); }
void LightCone(LWItemID id, double *radius, double *edge) {
    *radius = Of(id, &Item::coneRadius);
    *edge = Of(id, &Item::coneEdge);
}
unsigned LightFlags(LWItemID id) { return Of(id, &Item::lightFlags); }
double LightRange(LWItemID id) { return Of(id, &Item::range); }
const LWLightInfo lightInfo2 = {LightAmbient, LightType, LightColor, LightShadowType, LightCone, LightFlags, LightRange};
const LWLightInfo lightInfo1 = {LightAmbient, LightType, LightColor, LightShadowType, LightCone, nullptr, nullptr};

// ---- "LW Camera Info" ----
// Film aperture height behind the focal length: 35 mm motion picture film is
// taken as 15 mm high (the host's exact figure per film size is not published).
constexpr double kApertureHeightMm = 15.0;

double CameraZoom(LWItemID id, LWTime t) { return At(id, &Item::zoom, t); }
double CameraFocalLength(LWItemID id, LWTime t) { return CameraZoom(id, t) * kApertureHeightMm / 2; }
double CameraFocalDistance(LWItemID id, LWTime t) { return At(id, &Item::focalDistance, t); }
double CameraFStop(LWItemID id, LWTime t) { return At(id, &Item::fStop, t); }
double CameraBlurLength(LWItemID id, LWTime t) { return At(id, &Item::blurLength, t); }
// The zoom factor is the cotangent of half the vertical field of view; the
// horizontal one follows from the frame's shape.
void CameraFov(LWItemID id, LWTime t, double *horizontal, double *vertical) {
    Scene &s = TheScene();
    double zoom = CameraZoom(id, t);
    double halfTan = zoom > 0 ? 1 / zoom : 0;
    double aspect = s.frameHeight > 0 ? s.frameWidth * s.pixelAspect / s.frameHeight : 1;
    *vertical = 2 * std::atan(halfTan);
    *horizontal = 2 * std::atan(halfTan * aspect);
}
const LWCameraInfo cameraInfo = {CameraZoom,  CameraFocalLength, CameraFocalDistance,
                                 CameraFStop, CameraBlurLength,  CameraFov};

// ---- "LW Image List" ----
HostImage *FindImage(LWImageID id) {
    for (auto &image : TheScene().images)
        if (image.get() == id) return image.get();
    return nullptr;
}
LWImageID ImageFirst() { return TheScene().images.empty() ? nullptr : TheScene().images.front().get(); }
LWImageID ImageNext(LWImageID id) {
    auto &images = TheScene().images;
    for (size_t i = 0; i + 1 < images.size(); ++i)
        if (images[i].get() == id) return images[i + 1].get();
    return nullptr;
}
LWImageID ImageLoad(const char *) { return nullptr; }  // the embedded host reads no image files here
const char *ImageName(LWImageID id) {
    HostImage *image = FindImage(id);
    return image ? image->name.c_str() : nullptr;
}
const char *ImageFilename(LWImageID id, LWFrame) {
    HostImage *image = FindImage(id);
    return image ? image->filename.c_str() : nullptr;
}
int ImageIsColor(LWImageID id) {
    HostImage *image = FindImage(id);
    return image && image->color;
}
void ImageNeedAA(LWImageID) {}
void ImageSize(LWImageID id, int *w, int *h) {
    HostImage *image = FindImage(id);
    *w = image ? image->width : 0;
    *h = image ? image->height : 0;
}
const unsigned char *Pixel(HostImage *image, int x, int y) {
    if (!image || image->width <= 0 || image->height <= 0) return nullptr;
    x = x < 0 ? 0 : (x >= image->width ? image->width - 1 : x);
    y = y < 0 ? 0 : (y >= image->height ? image->height - 1 : y);
    return &image->rgb[(static_cast<size_t>(y) * image->width + x) * 3];
}
void ImageRGB(LWImageID id, int x, int y, BufferValue rgb[3]) {
    const unsigned char *p = Pixel(FindImage(id), x, y);
    for (int i = 0; i < 3; ++i) rgb[i] = p ? p[i] : 0;
}
BufferValue ImageLuma(LWImageID id, int x, int y) {
    BufferValue rgb[3];
    ImageRGB(id, x, y, rgb);
    return static_cast<BufferValue>(std::lround(0.299 * rgb[0] + 0.587 * rgb[1] + 0.114 * rgb[2]));
}
// Spots are sampled at their centre pixel: the embedded host does no prefiltering.
void ImageRGBSpot(LWImageID id, double x, double y, double, int, double rgb[3]) {
    BufferValue c[3];
    ImageRGB(id, static_cast<int>(std::floor(x)), static_cast<int>(std::floor(y)), c);
    for (int i = 0; i < 3; ++i) rgb[i] = c[i] / 255.0;
}
double ImageLumaSpot(LWImageID id, double x, double y, double, int) {
    return ImageLuma(id, static_cast<int>(std::floor(x)), static_cast<int>(std::floor(y))) / 255.0;
}
void ImageClear(LWImageID id) {
    auto &images = TheScene().images;
    for (auto it = images.begin(); it != images.end(); ++it)
        if (it->get() == id) {
            images.erase(it);
            return;
        }
}
const LWImageList imageList = {ImageFirst, ImageNext,  ImageLoad, ImageName,    ImageFilename,
                               ImageIsColor, ImageNeedAA, ImageSize, ImageLuma, ImageRGB,
                               ImageLumaSpot, ImageRGBSpot, ImageClear};

// ---- "File Request" ----
void CopyOut(char *dst, const std::string &src, int buflen) {
    if (buflen <= 0) return;
    std::strncpy(dst, src.c_str(), buflen - 1);
    dst[buflen - 1] = 0;
}

int RequestFile(const char *hail, char *name, char *path, char *fullName, int buflen) {
    EmbeddedHost &host = EmbeddedHost::Active();
    host.fileRequests.push_back({hail ? hail : "", name ? name : "", path ? path : ""});
    if (host.fileAnswers.empty()) return 0;
    FileAnswer answer = host.fileAnswers.front();
    host.fileAnswers.pop_front();
    if (answer.result <= 0) return answer.result;
    std::string full = answer.fullName;
    size_t slash = full.find_last_of("/\\");
    CopyOut(fullName, full, buflen);
    CopyOut(name, slash == std::string::npos ? full : full.substr(slash + 1), buflen);
    CopyOut(path, slash == std::string::npos ? std::string() : full.substr(0, slash), buflen);
    return answer.result;
}

void *GlobalLookup(const char *service, int useCode) { return EmbeddedHost::Active().Service(service, useCode); }

// ---- item-motion plug-ins ----
//
// How the host runs an item's motion plug-ins is not published; this is our rule.
// An item's motion at a time is its keyed motion passed through its plug-ins in
// their order. Each plug-in's access record reads the motion as it stands before
// that plug-in (at any time) and sets the result for the current time. While one
// of an item's plug-ins is being evaluated, every query about that same item
// (through the access record or the item-info service, for any time) answers with
// the motion as it stands before that plug-in, so nothing recurses. Queries about
// other items get their final motion; when such an item is itself in the middle
// of being evaluated further up (items that read each other), it answers the same
// way, with its motion before the plug-in that is running for it, which cuts the
// cycle.

struct Evaluation {
    const Item *item;
    size_t plugin;         // index of the plug-in being evaluated
    double time;
    double before[9];      // the motion before it, at `time`
    double values[9];      // what it has set so far
};

std::vector<Evaluation *> evaluating;
// The frame being rendered while its blur passes are evaluated; otherwise a
// plug-in is handed the frame nearest its time.
constexpr int kNoPass = -2147483647;
int passFrame = kNoPass;

constexpr double kDegreesPerRadian = 57.29577951308232;

// Plug-ins that simulate from time 0 (Whip, Speedlimit, Wheelie) ask about
// their item's earlier motion at hundreds of times per evaluation, and each
// answer is the plug-in below it running its own simulation: stacked on one
// item, they multiply each other's work. Two Whips at their finest ask about
// four million questions for one frame (a few seconds here), three up to four
// billion (hours). One question from outside the plug-ins may lead to this
// many; past it the user is told, instead of waiting for hours.
constexpr long kMostMotionQuestions = 5000000;

long questionsThisQuestion = 0;
const Item *askedFromOutside = nullptr;  // the question they all came from
double askedAt = 0;
bool overrun = false;
std::string overrunWhat;

// Counts a question about an item's motion; false, with the overrun noted,
// once one outside question has led to more than the limit.
bool Ask(const Item &item, double time) {
    if (overrun) return false;
    if (++questionsThisQuestion <= EmbeddedHost::Active().motionQuestionLimit) return true;
    overrun = true;
    const Scene &scene = TheScene();
    const Item &outside = askedFromOutside ? *askedFromOutside : item;
    char at[64];
    std::snprintf(at, sizeof at, " at %g s (frame %g)", askedFromOutside ? askedAt : time,
                  scene.FrameAt(askedFromOutside ? askedAt : time));
    overrunWhat = scene.ShownName(outside) + at + ": the motion plug-ins asked more than " +
                  std::to_string(EmbeddedHost::Active().motionQuestionLimit) +
                  " questions about motion to work it out; plug-ins that simulate from time 0, stacked on one item, "
                  "multiply each other's work: remove one or lower its quality";
    return false;
}

void EarlierMotion(const Item &item, double time, size_t upTo, double out[9]);

void MotionBefore(const Item &item, double time, size_t upTo, double out[9]) {
    Scene &scene = TheScene();
    scene.KeyedMotion(item, time, out);
    for (size_t i = 0; i < upTo && i < item.motionPlugins.size(); ++i) {
        const MotionPluginUse &use = item.motionPlugins[i];
        if (!use.handler || !use.instance) continue;
        if (overrun) break;  // past the limit: the keys and what was done, quickly
        Evaluation e{&item, i, time, {}, {}};
        std::memcpy(e.before, out, sizeof e.before);
        std::memcpy(e.values, out, sizeof e.values);
        evaluating.push_back(&e);
        auto getParam = [](LWItemParam param, LWTime t, double v[3]) {
            Evaluation &top = *evaluating.back();
            double m[9];
            if (t == top.time)
                std::memcpy(m, top.before, sizeof m);
            else
                EarlierMotion(*top.item, t, top.plugin, m);
            int first = param == LWIP_ROTATION ? kHeading : param == LWIP_SCALING ? kScaleX : kPosX;
            double k = param == LWIP_ROTATION ? 1 / kDegreesPerRadian : 1;
            for (int c = 0; c < 3; ++c) v[c] = m[first + c] * k;
        };
        auto setParam = [](LWItemParam param, const double v[3]) {
            Evaluation &top = *evaluating.back();
            if (param != LWIP_POSITION && param != LWIP_ROTATION && param != LWIP_SCALING) return;
            int first = param == LWIP_ROTATION ? kHeading : param == LWIP_SCALING ? kScaleX : kPosX;
            double k = param == LWIP_ROTATION ? kDegreesPerRadian : 1;
            for (int c = 0; c < 3; ++c) top.values[first + c] = v[c] * k;
        };
        LWFrame frame = passFrame != kNoPass ? passFrame : static_cast<LWFrame>(std::floor(scene.FrameAt(time) + 0.5));
        ItemMotionAccess access{IdOf(&item), frame, time, getParam, setParam};
        use.handler->evaluate(use.instance, &access);
        evaluating.pop_back();
        std::memcpy(out, e.values, sizeof e.values);
    }
}

}  // namespace

EmbeddedHost::EmbeddedHost() : motionQuestionLimit(kMostMotionQuestions), previous_(activeHost) {
    activeHost = this;
    scene.motion = [this](const Item &item, double time, double out[9]) { FinalMotion(item, time, out); };
}

void EmbeddedHost::RemovePlugins(Item &item) {
    for (MotionPluginUse &use : item.motionPlugins)
        if (use.handler && use.instance) use.handler->destroy(use.instance);
    item.motionPlugins.clear();
    for (DisplacementPluginUse &use : item.displacementPlugins)
        if (use.handler && use.instance) use.handler->destroy(use.instance);
    item.displacementPlugins.clear();
}

EmbeddedHost::~EmbeddedHost() {
    auto release = [this](std::vector<std::unique_ptr<Item>> &items) {
        for (auto &item : items) RemovePlugins(*item);
    };
    for (FilterPluginUse &use : scene.filterPlugins)
        if (use.instance) use.pixel ? use.pixel->destroy(use.instance) : use.image->destroy(use.instance);
    scene.filterPlugins.clear();
    release(scene.objects);
    release(scene.lights);
    release(scene.cameras);
    for (auto &object : scene.objects) release(object->bones);
    activeHost = previous_;
}

namespace {

// The pass's store of final motions. An entry is kept only when its
// evaluation did not lean on an item evaluated further out (a cut cycle whose
// other end lay outside it), so that it holds wherever it is asked again; it
// lists every item it read, and is not used while one of those is being
// evaluated, since the cycle rule would then have answered differently.
// Questions cluster round the time being baked or rendered, so the store
// keeps the latest answers only, in a ring, and looks through it in order.
constexpr int kUsesKept = 12;     // items an entry can list
constexpr int kPassEntries = 64;  // answers the ring keeps

struct ItemsRead {
    const Item *items[kUsesKept];
    int count = 0;
    bool overflowed = false;  // read more than it can list
    void Add(const Item *item) {
        for (int i = 0; i < count; ++i)
            if (items[i] == item) return;
        if (count < kUsesKept)
            items[count++] = item;
        else
            overflowed = true;
    }
    void Add(const ItemsRead &more) {
        for (int i = 0; i < more.count; ++i) Add(more.items[i]);
        overflowed = overflowed || more.overflowed;
    }
};

struct PassEntry {
    const Item *item = nullptr;
    double time;
    int frame;
    double motion[9];
    ItemsRead uses;
};
int passDepth = 0;
PassEntry passStore[kPassEntries];
int passNext = 0;

// What the evaluations under way have read: one record per evaluation.
struct Reading {
    size_t stackDepth;           // evaluations on the stack when it began
    bool leanedOutside = false;  // met an item evaluated further out
    ItemsRead uses;
};
std::vector<Reading> readings;

bool OnStack(const Item *item) {
    for (const Evaluation *e : evaluating)
        if (e->item == item) return true;
    return false;
}

// An entry answers here unless an item it read is being evaluated now (or it
// read too many to tell, and something is).
bool Answers(const PassEntry &entry) {
    if (evaluating.empty()) return true;
    if (entry.uses.overflowed) return false;
    for (int i = 0; i < entry.uses.count; ++i)
        if (OnStack(entry.uses.items[i])) return false;
    return true;
}

void Read(const Item &item, const ItemsRead *more) {
    if (readings.empty()) return;
    readings.back().uses.Add(&item);
    if (more) readings.back().uses.Add(*more);
}

// Within a pass, a plug-in's questions about its own item at other times (the
// motion before it, at t) are answered once each, under the same rule as final
// motions: plug-ins that integrate from time 0, stacked on one item, would
// otherwise redo every earlier one's integration at every step.
struct EarlierKey {
    const Item *item;
    size_t upTo;
    double time;
    int frame;
    bool operator==(const EarlierKey &o) const {
        return item == o.item && upTo == o.upTo && time == o.time && frame == o.frame;
    }
};
struct EarlierHash {
    size_t operator()(const EarlierKey &k) const {
        return std::hash<const void *>()(k.item) ^ (std::hash<double>()(k.time) * 31) ^ (k.upTo * 1000003) ^
               static_cast<size_t>(k.frame);
    }
};
struct EarlierEntry {
    double motion[9];
    ItemsRead uses;
};
std::unordered_map<EarlierKey, EarlierEntry, EarlierHash> earlierStore;
// A store that grows past this many answers in one pass is emptied and starts again.
constexpr size_t kEarlierKept = 1 << 16;

void EarlierMotion(const Item &item, double time, size_t upTo, double out[9]) {
    if (!Ask(item, time)) {
        TheScene().KeyedMotion(item, time, out);
        return;
    }
    if (passDepth == 0) {
        MotionBefore(item, time, upTo, out);
        return;
    }
    EarlierKey key{&item, upTo, time, passFrame};
    auto found = earlierStore.find(key);
    if (found != earlierStore.end()) {
        bool answers = !found->second.uses.overflowed;
        for (int i = 0; answers && i < found->second.uses.count; ++i)
            if (OnStack(found->second.uses.items[i]) && found->second.uses.items[i] != &item) answers = false;
        if (answers) {
            std::memcpy(out, found->second.motion, sizeof found->second.motion);
            Read(item, &found->second.uses);
            return;
        }
    }
    readings.push_back({evaluating.size(), false, {}});
    MotionBefore(item, time, upTo, out);
    Reading done = readings.back();
    readings.pop_back();
    if (!done.leanedOutside && !overrun) {
        if (earlierStore.size() >= kEarlierKept) earlierStore.clear();
        EarlierEntry &entry = earlierStore[key];
        std::memcpy(entry.motion, out, sizeof entry.motion);
        entry.uses = done.uses;
    }
    Read(item, &done.uses);
}

}  // namespace

void EmbeddedHost::BeginPass() { ++passDepth; }

bool EmbeddedHost::MotionOverrun(std::string *error) {
    if (!overrun) return false;
    *error = overrunWhat;
    overrun = false;
    return true;
}
void EmbeddedHost::EndPass() {
    if (passDepth > 0 && --passDepth == 0) {
        for (PassEntry &e : passStore) e.item = nullptr;
        earlierStore.clear();
    }
}

void EmbeddedHost::FinalMotion(const Item &item, double time, double out[9]) {
    if (evaluating.empty()) {  // a new question from outside the plug-ins
        questionsThisQuestion = 0;
        askedFromOutside = &item;
        askedAt = time;
    }
    if (!Ask(item, time)) {
        scene.KeyedMotion(item, time, out);
        return;
    }
    for (size_t k = evaluating.size(); k-- > 0;) {
        if (evaluating[k]->item == &item) {
            // The cycle rule: the motion before the plug-in running for it.
            for (Reading &r : readings)
                if (k < r.stackDepth) r.leanedOutside = true;
            Read(item, nullptr);
            EarlierMotion(item, time, evaluating[k]->plugin, out);
            return;
        }
    }
    if (passDepth > 0) {
        for (int n = 1; n <= kPassEntries; ++n) {  // newest first: the likeliest answer
            const PassEntry &e = passStore[(passNext - n + kPassEntries) % kPassEntries];
            if (!e.item) break;
            if (e.item != &item || e.time != time || e.frame != passFrame || !Answers(e)) continue;
            std::memcpy(out, e.motion, sizeof e.motion);
            Read(item, &e.uses);
            return;
        }
    }
    ++motionEvaluations;
    if (passDepth == 0) {
        MotionBefore(item, time, item.motionPlugins.size(), out);
        return;
    }
    readings.push_back({evaluating.size(), false, {}});
    MotionBefore(item, time, item.motionPlugins.size(), out);
    Reading done = readings.back();
    readings.pop_back();
    if (!done.leanedOutside && !overrun) {
        PassEntry &entry = passStore[passNext];
        passNext = (passNext + 1) % kPassEntries;
        entry.item = &item;
        entry.time = time;
        entry.frame = passFrame;
        std::memcpy(entry.motion, out, sizeof entry.motion);
        entry.uses = done.uses;
    }
    Read(item, &done.uses);
}

// How the 5.x host spreads its motion-blur passes is not published (taken as
// given here, unconfirmed): as many passes as the antialiasing level renders
// (low 5, medium 9, high 17; motion blur without antialiasing as low), evenly
// from f - B to f frames, B the camera's blur length at the frame.
std::vector<double> EmbeddedHost::BlurPassTimes(int frame) {
    double fps = scene.framesPerSecond, at = frame / fps;
    const Item *camera = scene.cameras.empty() ? nullptr : scene.cameras.front().get();
    if (!(scene.renderOptions & LWROPT_MOTIONBLUR) || !camera) return {at};
    double blur = camera->blurLength.ValueAt(frame);
    if (blur <= 0) return {at};
    const int passes[] = {5, 5, 9, 17};
    int count = passes[scene.antialiasing < 0 ? 0 : (scene.antialiasing > 3 ? 3 : scene.antialiasing)];
    std::vector<double> times;
    for (int k = 0; k < count; ++k) times.push_back((frame - blur + blur * k / (count - 1)) / fps);
    return times;
}

void EmbeddedHost::MotionInPass(const Item &item, int frame, double time, double out[9]) {
    int outer = passFrame;
    passFrame = frame;
    FinalMotion(item, time, out);
    passFrame = outer;
}

const void *EmbeddedHost::Handler(const char *className, const std::string &server, std::string *error) {
    std::string key = std::string(className) + "/" + server;
    auto found = handlers_.find(key);
    if (found != handlers_.end()) return found->second.data();
    if (!module_) {
        *error = "no module is loaded";
        return nullptr;
    }
    const ServerRecord *row = FindServer(*module_, className, server.c_str());
    if (!row) {
        *error = "the module has no " + std::string(className) + " named " + server;
        return nullptr;
    }
    std::vector<void *> record;
    long version = 0;
    int code = NegotiateHandler(*module_, *row, 3, Lookup(), &record, &version);
    if (code != AFUNC_OK) {
        *error = server + " refused activation with code " + std::to_string(code);
        return nullptr;
    }
    return handlers_.emplace(key, std::move(record)).first->second.data();
}

// Activates the class's handler once and creates the instance for the item.
template <typename Handler, typename Use>
LWInstance AddPlugin(EmbeddedHost &host, const char *className, Item &item, std::vector<Use> &uses,
                     const std::string &server, std::string *error) {
    auto *handler = static_cast<const Handler *>(host.Handler(className, server, error));
    if (!handler) return nullptr;
    LWError failure = nullptr;
    LWInstance instance = handler->create(&failure, IdOf(&item));
    if (!instance) {
        *error = failure ? failure : server + " could not be created";
        return nullptr;
    }
    uses.push_back({server, handler, instance});
    return instance;
}

LWInstance EmbeddedHost::AddDisplacementPlugin(Item &object, const std::string &server, std::string *error) {
    return AddPlugin<DisplacementHandler>(*this, "DisplacementHandler", object, object.displacementPlugins, server, error);
}

LWInstance EmbeddedHost::AddMotionPlugin(Item &item, const std::string &server, std::string *error) {
    return AddPlugin<ItemMotionHandler>(*this, "ItemMotionHandler", item, item.motionPlugins, server, error);
}

LWInstance EmbeddedHost::AddFilterPlugin(const std::string &className, const std::string &server, std::string *error) {
    FilterPluginUse use{className, server};
    const void *handler = className == "PixelFilterHandler" || className == "ImageFilterHandler"
                              ? Handler(className.c_str(), server, error)
                              : (*error = className + " is not a filter class", nullptr);
    if (!handler) return nullptr;
    if (className == "PixelFilterHandler")
        use.pixel = static_cast<const PixelFilterHandler *>(handler);
    else
        use.image = static_cast<const ImageFilterHandler *>(handler);
    LWError failure = nullptr;
    use.instance = use.pixel ? use.pixel->create(&failure) : use.image->create(&failure);
    if (!use.instance) {
        *error = failure ? failure : server + " could not be created";
        return nullptr;
    }
    scene.filterPlugins.push_back(use);
    return use.instance;
}

EmbeddedHost &EmbeddedHost::Active() { return *activeHost; }
GlobalFunc *EmbeddedHost::Lookup() { return GlobalLookup; }

void *EmbeddedHost::Service(const char *name, int useCode) {
    std::string service = name ? name : "";
    lookups.push_back({service, useCode});
    if (withheld_.count(service)) return nullptr;

    if (service == LWSERVICE_MESSAGES) return const_cast<MessageFuncs *>(&messageFuncs);
    if (service == LWSERVICE_ITEM_INFO_2) return const_cast<LWItemInfo *>(&itemInfo2);
    if (service == LWSERVICE_ITEM_INFO) return const_cast<LWItemInfo *>(&itemInfo1);
    if (service == LWSERVICE_OBJECT_INFO) return const_cast<LWObjectInfo *>(&objectInfo);
    if (service == LWSERVICE_BONE_INFO) return const_cast<LWBoneInfo *>(&boneInfo);
    if (service == LWSERVICE_LIGHT_INFO_2) return const_cast<LWLightInfo *>(&lightInfo2);
    if (service == LWSERVICE_LIGHT_INFO) return const_cast<LWLightInfo *>(&lightInfo1);
    if (service == LWSERVICE_CAMERA_INFO) return const_cast<LWCameraInfo *>(&cameraInfo);
    if (service == LWSERVICE_IMAGE_LIST) return const_cast<LWImageList *>(&imageList);
    if (service == LWSERVICE_FILE_REQUEST) return reinterpret_cast<void *>(&RequestFile);
    if (service == LWSERVICE_HOST_DISPLAY) return &display;
    if (service == LWSERVICE_SCENE_INFO) {
        // A snapshot of the scene as it is now; a later lookup sees later values.
        LWSceneInfo &info = sceneInfo_;
        info = LWSceneInfo{};
        info.name = scene.name.c_str();
        info.filename = scene.filename.c_str();
        for (const auto &object : scene.objects) {
            info.numPoints += object->numPoints;
            info.numPolygons += object->numPolygons;
        }
        info.renderType = scene.renderType;
        info.renderOpts = scene.renderOptions;
        info.frameStart = scene.firstFrame;
        info.frameEnd = scene.lastFrame;
        info.frameStep = scene.frameStep;
        info.framesPerSecond = scene.framesPerSecond;
        info.frameWidth = scene.frameWidth;
        info.frameHeight = scene.frameHeight;
        info.pixelAspect = scene.pixelAspect;
        info.minSamplesPerPixel = scene.minSamplesPerPixel;
        info.maxSamplesPerPixel = scene.maxSamplesPerPixel;
        for (int i = 0; i < 4; ++i) info.limitedRegion[i] = scene.limitedRegion[i];
        info.recursionDepth = scene.recursionDepth;
        return &info;
    }
    return nullptr;
}

const char *MessageKindName(MessageKind kind) {
    switch (kind) {
    case MessageKind::Info: return "info";
    case MessageKind::Error: return "error";
    case MessageKind::Warning: return "warning";
    }
    return "";
}
