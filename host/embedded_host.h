// The embedded host: a stand-in for the host program. It owns a scene and
// answers every global service the module looks up with the host's published
// records, from that scene. Services can be withheld to see how the module
// copes; messages the module shows are recorded; the file requester answers
// from a script. One host is active at a time, the one made last (the services'
// functions carry no context of their own, as in the real host).
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "host/scene.h"
#include "hostapi/lwhost.h"

struct LoadedModule;
struct MotionEvaluation;

// What the memory of worked-out motions holds now.
struct MotionMemoryUse {
    size_t answers, bytes;
    long overflows;  // times it was full and let answers go
};

enum class MessageKind { Info, Error, Warning };

struct ShownMessage {
    MessageKind kind;
    std::string line1, line2;
};

struct ServiceLookup {
    std::string service;
    int useCode;
};

// One scripted answer of the file requester.
struct FileAnswer {
    int result = 1;         // > 0 chosen, 0 cancelled, < 0 error
    std::string fullName;   // the chosen file with its directory
};

struct FileRequest {
    std::string hail, name, path;
    // Since 5.0 a name beginning with '>' asks for a dialog for saving, with
    // '<' for loading; the mark is not part of the name.
    enum Dialog { kEither, kSave, kLoad } dialog = kEither;
};

class EmbeddedHost {
public:
    EmbeddedHost();
    ~EmbeddedHost();
    EmbeddedHost(const EmbeddedHost &) = delete;
    EmbeddedHost &operator=(const EmbeddedHost &) = delete;

    Scene scene;

    std::vector<ShownMessage> messages;     // every message the module showed, in order
    std::vector<ServiceLookup> lookups;     // every lookup, found or not, in order (the first kLookupsKept)
    static constexpr size_t kLookupsKept = 4096;
    std::deque<FileAnswer> fileAnswers;     // the requester's script; empty means cancel
    std::vector<FileRequest> fileRequests;  // what the module asked the requester
    HostDisplayInfo display{};              // the host's window, where there is one
    long paramQueries = 0;                  // item parameters the module has asked for
    // Said once per object for the host's life: a plug-in asked for the points
    // of an object whose file could not be read, which then counts as an
    // object without points. Kept in `warnings` unless `warn` is set.
    std::vector<std::string> warnings;
    std::function<void(const std::string &)> warn;
    // An image filter's progress through its frame, as its monitor reports it
    // (steps done of the total it announced): false asks it to stop, which a
    // filter that checks its monitor honours. Unset: it runs to its end.
    std::function<bool(unsigned done, unsigned total)> filterProgress;
    void WarnOnce(const Item &object, const std::string &text);
    // The displacement plug-in the host is running, for what it says.
    const std::string *runningDisplacement = nullptr;
    // The motion plug-in being evaluated now, or null.
    const std::string *RunningMotionPlugin() const;

    // A withheld service is answered with null, as by a host that lacks it.
    void Withhold(const std::string &service) { withheld_.insert(service); }
    void Offer(const std::string &service) { withheld_.erase(service); }

    // The host's global lookup, handed to every activation.
    static GlobalFunc *Lookup();
    static EmbeddedHost &Active() { return *active_; }

    void *Service(const char *name, int useCode);

    // The module whose plug-ins the scene applies.
    void UseModule(const LoadedModule *module) { module_ = module; }
    // The handler record of a server, activated once (version 3, then lower;
    // the version it accepted through *version); null, with the reason, when
    // the module has no such server or refuses it.
    const void *Handler(const char *className, const std::string &server, std::string *error,
                        long *version = nullptr);
    // The version a handler record was accepted at (3 for a record the host
    // did not activate itself).
    long HandlerVersion(const void *record) const;
    // Applies an item-motion plug-in to the item after the ones it has.
    LWInstance AddMotionPlugin(Item &item, const std::string &server, std::string *error);
    // Applies a displacement plug-in to an object after the ones it has.
    LWInstance AddDisplacementPlugin(Item &object, const std::string &server, std::string *error);
    // Destroys the item's motion and displacement plug-ins: it moves by its keys
    // and keeps its modelled shape.
    void RemovePlugins(Item &item);
    // Adds a pixel or image filter to the scene's effects, after the ones it has.
    LWInstance AddFilterPlugin(const std::string &className, const std::string &server, std::string *error);
    // Creates a scene file's plug-in and hands it the block's lines through its
    // load slot: after its item's plug-ins, or the scene's filters.
    LWInstance ApplyPluginBlock(const PluginBlock &block, std::string *error);
    // The item's motion with its plug-ins applied, at a time in seconds.
    void FinalMotion(const Item &item, double time, double out[9]);
    // The item's placement in the world (Scene::Placement), remembered as its
    // final motion is.
    void Placement(const Item &item, double time, double out[Scene::kPlacementValues]);
    // An item-info parameter (Scene::Param) as a plug-in asks it: the ones
    // made from the placement are remembered, for the plug-ins being
    // evaluated when asked, while a pass is open.
    void Param(const Item &item, int param, double time, double out[3]);
    // The times (seconds) at which a render of the frame samples motion: the
    // motion-blur passes, or the frame's own time without motion blur.
    std::vector<double> BlurPassTimes(int frame);
    // The item's final motion in a pass of the frame being rendered: the
    // plug-ins are handed that frame's number with the pass's time.
    void MotionInPass(const Item &item, int frame, double time, double out[9]);
    // The frame a plug-in is handed with a time: the frame being rendered
    // while its motion-blur passes run (SetPassFrame), else the nearest one.
    LWFrame PluginFrame(double time) const;
    // Marks `frame` as the frame being rendered (kNoPassFrame: none); returns
    // the mark it replaces.
    static constexpr int kNoPassFrame = -2147483647;
    int SetPassFrame(int frame);

    // An evaluation pass: while one is open, each item's final motion (and
    // its motion before each of its plug-ins) at a time, in the frame a
    // plug-in is handed, is worked out once and every further query is
    // answered from the host's memory. The commands open one for their whole
    // run, since nothing in them changes the scene or a plug-in's settings
    // once they are loaded. The host forgets what it worked out when a scene
    // is read, a plug-in is added or removed, a plug-in's settings are loaded
    // or an interface (a panel) is activated, and when the outermost pass
    // closes. Passes nest.
    void BeginPass();
    void EndPass();
    void Forget();
    MotionMemoryUse MemoryUse() const;
    long motionEvaluations = 0;  // final motions worked out, not answered from memory
    MotionEvaluation &motionState() { return *motion_; }

    // The most questions about items' motion that one question from outside
    // the plug-ins may lead to (see kMostMotionQuestions). Past it, every
    // further answer is the keys (quickly, and wrong) and the overrun is kept
    // until MotionOverrun reports it: whatever was worked out then is refused.
    long motionQuestionLimit;
    // True once a question went past the limit, with the reason in the user's
    // words (the item, the time, the limit); clears it.
    bool MotionOverrun(std::string *error);

private:
    static inline EmbeddedHost *active_ = nullptr;
    std::unique_ptr<MotionEvaluation> motion_;
    const LoadedModule *module_ = nullptr;
    struct ActivatedHandler {
        std::vector<void *> record;
        long version;
    };
    std::map<std::string, ActivatedHandler> handlers_;  // by class and server
    std::set<std::string> withheld_;
    std::set<const Item *> warnedObjects_;
    LWSceneInfo sceneInfo_{};  // snapshot refreshed at each lookup
    EmbeddedHost *previous_;
};

// A pass for the life of a scope.
class EvaluationPass {
public:
    explicit EvaluationPass(EmbeddedHost &host) : host_(host) { host_.BeginPass(); }
    ~EvaluationPass() { host_.EndPass(); }
    EvaluationPass(const EvaluationPass &) = delete;
    EvaluationPass &operator=(const EvaluationPass &) = delete;

private:
    EmbeddedHost &host_;
};

const char *MessageKindName(MessageKind kind);
