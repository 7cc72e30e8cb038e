#include "host/service_records.h"

#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "helpers/units.h"
#include "host/embedded_host.h"

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
        EmbeddedHost::Active().Param(*item, param, time, v);
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

}  // namespace

void *ServiceRecord(const char *service) {
    auto is = [service](const char *known) { return std::strcmp(service, known) == 0; };
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
    return nullptr;
}
