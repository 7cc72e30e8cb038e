#include "host/embedded_host.h"
#include "host/scene_file.h"

#include <cstdio>
#include <cmath>
#include <cstring>

#include "host/module_loader.h"
#include "host/motion_evaluation.h"
#include "host/service_records.h"

namespace {

void *GlobalLookup(const char *service, int useCode) { return EmbeddedHost::Active().Service(service, useCode); }

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

LWInstance EmbeddedHost::ApplyPluginBlock(const PluginBlock &block, std::string *error) {
    bool filter = !block.item, motion = block.className == "ItemMotionHandler";
    LWInstance instance = filter   ? AddFilterPlugin(block.className, block.server, error)
                          : motion ? AddMotionPlugin(*block.item, block.server, error)
                                   : AddDisplacementPlugin(*block.item, block.server, error);
    if (!instance) return nullptr;
    const FilterPluginUse *use = filter ? &scene.filterPlugins.back() : nullptr;
    auto load = filter   ? (use->pixel ? use->pixel->load : use->image->load)
                : motion ? block.item->motionPlugins.back().handler->load
                         : block.item->displacementPlugins.back().handler->load;
    LoadInstanceLines(load, instance, block.lines);
    return instance;
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
        // With fields, the even-fields flag says the image's top line belongs
        // to the field that comes first in time.
        info.renderOpts = scene.renderOptions;
        if ((scene.renderOptions & LWROPT_FIELDS) && !scene.reverseFields) info.renderOpts |= LWROPT_EVENFIELDS;
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
    if (void *record = ServiceRecord(service)) return record;
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
