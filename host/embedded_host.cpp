#include "host/embedded_host.h"

#include <cstdio>
#include <cmath>
#include <cstring>

#include "helpers/units.h"
#include "host/module_loader.h"
#include "host/motion_evaluation.h"

namespace {


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
// The plain service is the same record without the tags (the host maker's
// manual: it "lacks getTag and setTag"); their slots are left empty so that a
// module calling them is caught.
const LWItemInfo itemInfo1 = {ItemFirst,  ItemNext, ItemFirstChild, ItemNextChild, ItemParent, ItemTarget,
                              ItemGoal,   ItemType, ItemNameOf,     ItemParam,     ItemLimits, nullptr,
                              nullptr};

// ---- "LW Object Info" ----
// A path the C runtime can open: where the host found the file when it read it.
const char *ObjectFilename(LWItemID id) {
    Item *item = Find(id);
    if (!item) return nullptr;
    // Plug-ins ask for the file to read the object's points (Wheelie's radius,
    // Dangle's and Flexor's extent); an unreadable one would quietly count as
    // an object without points.
    if (!item->geometryProblem.empty()) {
        EmbeddedHost &host = EmbeddedHost::Active();
        const std::string *plugin = host.RunningMotionPlugin();
        if (!plugin) plugin = host.runningDisplacement;
        host.WarnOnce(*item, (plugin ? *plugin : std::string("a plug-in")) + " needs the points of " +
                                 TheScene().ShownName(*item) + ", but " + item->geometryProblem +
                                 ": it counts as an object without points");
    }
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
        for (int i = 0; i < 3; ++i) v[i] = item->restDirection[i] * kRadiansPerDegree;
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
    FileRequest asked{hail ? hail : "", name ? name : "", path ? path : ""};
    if (!asked.name.empty() && (asked.name[0] == '>' || asked.name[0] == '<')) {
        asked.dialog = asked.name[0] == '>' ? FileRequest::kSave : FileRequest::kLoad;
        asked.name.erase(0, 1);
    }
    host.fileRequests.push_back(asked);
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
}  // namespace

// Plug-ins that simulate from time 0 (Whip, Speedlimit, Wheelie) ask about
// their item's earlier motion at hundreds of times per evaluation, and each
// answer is the plug-in below it running its own simulation: stacked on one
// item, they multiply each other's work. Two Whips at their finest ask about
// four million questions for one frame (a few seconds here), three up to four
// billion (hours). One question from outside the plug-ins may lead to this
// many; past it the user is told, instead of waiting for hours.
constexpr long kMostMotionQuestions = 5000000;

EmbeddedHost::EmbeddedHost()
    : motionQuestionLimit(kMostMotionQuestions), motion_(std::make_unique<MotionEvaluation>(*this)), previous_(active_) {
    active_ = this;
    scene.motion = [this](const Item &item, double time, double out[9]) { FinalMotion(item, time, out); };
    scene.placement = [this](const Item &item, double time, double out[Scene::kPlacementValues]) {
        Placement(item, time, out);
    };
}

void EmbeddedHost::RemovePlugins(Item &item) {
    Forget();
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
    active_ = previous_;
}

const void *EmbeddedHost::Handler(const char *className, const std::string &server, std::string *error,
                                  long *version) {
    std::string key = std::string(className) + "/" + server;
    if (key.find("Interface/") != std::string::npos) Forget();  // a panel may change any setting
    auto found = handlers_.find(key);
    if (found != handlers_.end()) {
        if (version) *version = found->second.version;
        return found->second.record.data();
    }
    if (!module_) {
        *error = "no module is loaded";
        return nullptr;
    }
    const ServerRecord *row = FindServer(*module_, className, server.c_str());
    if (!row) {
        *error = "the module has no " + std::string(className) + " named " + server;
        return nullptr;
    }
    ActivatedHandler activated;
    int code = NegotiateHandler(*module_, *row, 3, Lookup(), &activated.record, &activated.version);
    if (code != AFUNC_OK) {
        *error = code == AFUNC_BADVERSION ? server + " refused every version this host offers (3, 2 and 1)"
                                          : server + " refused activation with code " + std::to_string(code);
        return nullptr;
    }
    if (version) *version = activated.version;
    return handlers_.emplace(key, std::move(activated)).first->second.record.data();
}

long EmbeddedHost::HandlerVersion(const void *record) const {
    for (const auto &[key, activated] : handlers_)
        if (activated.record.data() == record) return activated.version;
    return 3;
}

// Activates the class's handler once and creates the instance for the item.
template <typename Handler, typename Use>
LWInstance AddPlugin(EmbeddedHost &host, const char *className, Item &item, std::vector<Use> &uses,
                     const std::string &server, std::string *error) {
    long version = 3;
    auto *handler = static_cast<const Handler *>(host.Handler(className, server, error, &version));
    if (!handler) return nullptr;
    LWError failure = nullptr;
    LWInstance instance = handler->create(&failure, IdOf(&item));
    if (!instance) {
        *error = failure ? failure : server + " could not be created";
        return nullptr;
    }
    uses.push_back({server, handler, instance, version});
    host.Forget();  // the item moves or is shaped differently now
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
                              ? Handler(className.c_str(), server, error, &use.version)
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

GlobalFunc *EmbeddedHost::Lookup() { return GlobalLookup; }

void *EmbeddedHost::Service(const char *name, int useCode) {
    const char *service = name ? name : "";
    // Plug-ins look up the scene's info at every evaluation; a long shot would
    // record millions, so only the first lookups are kept.
    if (lookups.size() < kLookupsKept) lookups.push_back({service, useCode});
    if (!withheld_.empty() && withheld_.count(service)) return nullptr;
    auto is = [service](const char *known) { return std::strcmp(service, known) == 0; };

    // The scene info first: plug-ins ask for it at every evaluation.
    // "LW Scene Info 2" (5.0) adds the ray recursion depth at its end; the
    // plain one's record simply stops before it.
    if (is(LWSERVICE_SCENE_INFO) || is(LWSERVICE_SCENE_INFO_2)) {
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
    if (is(LWSERVICE_MESSAGES)) return const_cast<MessageFuncs *>(&messageFuncs);
    if (is(LWSERVICE_ITEM_INFO_2)) return const_cast<LWItemInfo *>(&itemInfo2);
    if (is(LWSERVICE_ITEM_INFO)) return const_cast<LWItemInfo *>(&itemInfo1);
    if (is(LWSERVICE_OBJECT_INFO)) return const_cast<LWObjectInfo *>(&objectInfo);
    if (is(LWSERVICE_BONE_INFO)) return const_cast<LWBoneInfo *>(&boneInfo);
    if (is(LWSERVICE_LIGHT_INFO_2)) return const_cast<LWLightInfo *>(&lightInfo2);
    if (is(LWSERVICE_LIGHT_INFO)) return const_cast<LWLightInfo *>(&lightInfo1);
    if (is(LWSERVICE_CAMERA_INFO)) return const_cast<LWCameraInfo *>(&cameraInfo);
    if (is(LWSERVICE_IMAGE_LIST)) return const_cast<LWImageList *>(&imageList);
    if (is(LWSERVICE_FILE_REQUEST)) return reinterpret_cast<void *>(&RequestFile);
    if (is(LWSERVICE_HOST_DISPLAY)) return &display;
    return nullptr;
}

void EmbeddedHost::WarnOnce(const Item &object, const std::string &text) {
    if (!warnedObjects_.insert(&object).second) return;
    if (warn)
        warn(text);
    else
        warnings.push_back(text);
}

const char *MessageKindName(MessageKind kind) {
    switch (kind) {
    case MessageKind::Info: return "info";
    case MessageKind::Error: return "error";
    case MessageKind::Warning: return "warning";
    }
    return "";
}
