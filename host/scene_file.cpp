#include "host/scene_file.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

#include "helpers/units.h"
#include "host/embedded_host.h"

namespace {

// Frame sizes of the Resolution levels (-1 super low to 3 print); the host's
// own figures are not published.
int ResolutionWidth(int level) {
    switch (level) {
    case -1: return 160;
    case 0: return 320;
    case 2: return 1280;
    case 3: return 2560;
    default: return 640;
    }
}

constexpr long kMostKeys = 1000000;

// Pixel widths over heights of the PixelAspectRatio presets (0 D2 NTSC, 1 D1
// NTSC, 2 square, 3 D2 PAL, 4 D1 PAL; -1 custom, given by CustomPixelRatio);
// the host's own figures are not published: these are the formats' usual ones.
double PixelAspect(int preset, double custom) {
    switch (preset) {
    case 0: return 0.86;
    case 1: return 0.9;
    case 3: return 1.03;
    case 4: return 1.0667;
    case -1: return custom;
    default: return 1;
    }
}

// The fog lines of the effects section; only FogType is seen in real files,
// the distance and colour keywords are the likely ones, unconfirmed.
struct FogKeys {
    const char *type, *nearest, *farthest, *color;
};
constexpr FogKeys kFogKeys = {"FogType", "FogMinDist", "FogMaxDist", "FogColor"};

// When a scene does not say, the host's usual NTSC rate.
constexpr double kDefaultFramesPerSecond = 30;

// A folder or a device is refused before it is read (a device may never end).
bool ReadTextFile(const std::string &path, std::string *text, std::string *error) {
    std::error_code why;
    if (std::filesystem::exists(path, why) && !std::filesystem::is_regular_file(path, why))
        return *error = path + ": not a file", false;
    std::ifstream in(path, std::ios::binary);
    if (!in) return *error = path + ": cannot be read", false;
    std::stringstream all;
    all << in.rdbuf();
    *text = all.str();
    return true;
}

std::vector<std::string> Words(const std::string &line) {
    std::vector<std::string> words;
    std::istringstream in(line);
    for (std::string w; in >> w;) words.push_back(w);
    return words;
}

// The text after the keyword: names may hold blanks.
std::string Rest(const std::string &line, const std::string &keyword) {
    size_t at = line.find(keyword) + keyword.size();
    while (at < line.size() && (line[at] == ' ' || line[at] == '\t')) ++at;
    size_t end = line.size();
    while (end > at && (line[end - 1] == ' ' || line[end - 1] == '\t' || line[end - 1] == '\r')) --end;
    return line.substr(at, end - at);
}

// The object's name as the host shows it: its file name without the folders.
std::string BaseName(const std::string &path) {
    size_t cut = path.find_last_of("/\\:");
    return cut == std::string::npos ? path : path.substr(cut + 1);
}

class Reader {
public:
    Reader(EmbeddedHost &host, const std::string &text, const std::string &name, SceneLayout *layout = nullptr)
        : host_(host), name_(name), layout_(layout) {
        std::string line;
        std::istringstream in(text);
        while (std::getline(in, line)) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            lines_.push_back(line);
        }
        // A last line without its line end is where a copy or a download
        // stopped: "LastFrame 12" may be what is left of "LastFrame 120".
        cutShort_ = !text.empty() && text.back() != '\n' && text.back() != '\r';
    }

    // The scene, then its plug-ins: each is created once the whole scene is
    // read, so it finds every item the file names, and a refused scene makes none.
    bool Read(std::string *error) {
        host_.Forget();  // a scene read anew: nothing worked out before holds
        if (!Finish(Run(), error)) return false;
        for (const PluginBlock &block : blocks_) {
            std::string why;
            if (!host_.ApplyPluginBlock(block, &why)) {
                *error = name_ + ":" + std::to_string(block.line) + ": " + why;
                return false;
            }
        }
        return true;
    }

    // A motion file: "LWMO", its version, then one keyed block of nine
    // channels, and nothing after the last key.
    bool ReadMotion(std::vector<Channel> *nine, std::string *error) {
        what_ = "motion file";
        std::vector<Channel *> channels;
        for (Channel &c : *nine) channels.push_back(&c);
        auto run = [&] {
            std::string line;
            if (!Next(&line) || Words(line) != std::vector<std::string>{"LWMO"})
                return Fail("not a LightWave motion file (no LWMO)");
            if (!Next(&line)) return Fail("no format version");
            if (Words(line)[0] != "1")
                return Fail("motion format version " + Words(line)[0] + " is not LightWave 5's version 1");
            if (!Curve(channels)) return false;
            if (Next(&line)) return Fail("more lines after the last key");
            return true;
        };
        return Finish(run(), error);
    }

private:
    bool Finish(bool ran, std::string *error) {
        if (cutShort_) {
            *error = name_ + ":" + std::to_string(lines_.size()) + ": the " + what_ + " ends in the middle of a line";
            return false;
        }
        if (!ran) {
            *error = name_ + ":" + std::to_string(at_) + ": " + problem_;
            return false;
        }
        return true;
    }

    EmbeddedHost &host_;
    std::string name_;
    std::vector<std::string> lines_;
    size_t next_ = 0;
    bool cutShort_ = false;
    int at_ = 0;  // line number of the last line taken
    std::string problem_;
    const char *what_ = "scene";
    std::vector<PluginBlock> blocks_;
    SceneLayout *layout_;
    Item *item_ = nullptr;    // the item whose lines these are
    Item *object_ = nullptr;  // the object that bones belong to
    std::vector<Channel *> lastCurve_;
    struct PendingLink {
        Item *item;
        int kind;  // 0 parent, 1 target, 2 goal, 3 parent bone
        int index;
        int line;
    };
    std::vector<PendingLink> links_;

    bool Fail(const std::string &why) {
        problem_ = why;
        return false;
    }

    // The next line that is not empty; false at the end.
    bool Next(std::string *line) {
        while (next_ < lines_.size()) {
            *line = lines_[next_++];
            at_ = static_cast<int>(next_);
            if (line->find_first_not_of(" \t\r\n\v\f") != std::string::npos) return true;
        }
        return false;
    }

    bool Numbers(size_t want, std::vector<double> *out) {
        std::string line;
        if (!Next(&line)) return Fail(std::string("the ") + what_ + " ends inside a motion");
        out->clear();
        for (const std::string &w : Words(line)) {
            char *end = nullptr;
            double v = std::strtod(w.c_str(), &end);
            if (end == w.c_str() || *end || !std::isfinite(v)) return Fail("'" + w + "' is not a number");
            out->push_back(v);
        }
        if (out->size() < want) return Fail("expected " + std::to_string(want) + " numbers, found " +
                                            std::to_string(out->size()));
        return true;
    }

    // A keyed block: channel count, key count, then per key a values line and a
    // control line (frame, linear, tension, continuity, bias).
    bool Curve(std::vector<Channel *> channels) {
        std::vector<double> v;
        if (!Numbers(1, &v)) return false;
        if (v[0] != static_cast<double>(channels.size()))
            return Fail("expected " + std::to_string(channels.size()) + " channels, found " + Words(lines_[next_ - 1])[0]);
        if (!Numbers(1, &v)) return false;
        // A million keys is some nine hours of film at 30 frames a second, far
        // beyond a hand-keyed motion; a larger count is a damaged file.
        if (!(v[0] >= 1 && v[0] <= kMostKeys) || v[0] != std::floor(v[0]))
            return Fail("a motion's key count is a whole number from 1 to " + std::to_string(kMostKeys) + ", not " +
                        Words(lines_[next_ - 1])[0]);
        long keys = static_cast<long>(v[0]);
        for (Channel *c : channels) c->keys.clear();
        for (long k = 0; k < keys; ++k) {
            std::vector<double> values, control;
            if (!Numbers(channels.size(), &values) || !Numbers(5, &control)) return false;
            for (size_t i = 0; i < channels.size(); ++i) {
                ChannelKey key;
                key.frame = control[0];
                key.value = values[i];
                key.linear = control[1] != 0;
                key.tension = control[2];
                key.continuity = control[3];
                key.bias = control[4];
                channels[i]->keys.push_back(key);
            }
        }
        lastCurve_ = channels;
        return true;
    }

    bool Motion() {
        if (!item_) return Fail("a motion with no item before it");
        std::vector<Channel *> channels;
        for (Channel &c : item_->motion) channels.push_back(&c);
        const int first = at_ + 1;
        if (!Curve(channels)) return false;
        if (layout_) layout_->motions.push_back({item_, first, at_});
        return true;
    }

    // "Keyword value" or "Keyword (envelope)" and its block.
    bool Envelope(const std::vector<std::string> &words, Channel *channel) {
        if (words.size() < 2) return Fail(words[0] + " needs a value");
        if (words[1] == "(envelope)") return Curve({channel});
        char *end = nullptr;
        double v = std::strtod(words[1].c_str(), &end);
        if (*end || !std::isfinite(v)) return Fail("'" + words[1] + "' is not a number");
        *channel = ConstantChannel(v);
        lastCurve_ = {channel};
        return true;
    }

    Item &Camera() {
        Scene &s = host_.scene;
        if (s.cameras.empty()) s.AddCamera("Camera");
        return *s.cameras.front();
    }

    bool Plugin(const std::vector<std::string> &words) {
        if (words.size() < 4) return Fail("a Plugin line names its class, slot and server");
        int begin = at_;
        std::vector<std::string> body;
        std::string line;
        for (;;) {
            if (next_ >= lines_.size()) {
                at_ = begin;
                return Fail("Plugin " + words[3] + " has no EndPlugin");
            }
            line = lines_[next_++];
            at_ = static_cast<int>(next_);
            if (Words(line) == std::vector<std::string>{"EndPlugin"}) break;
            body.push_back(line);
        }
        // Item motion and displacement belong to the item they follow; pixel
        // and image filters to the scene's effects, wherever they stand. Other
        // classes are left to the commands that run them.
        bool motion = words[1] == "ItemMotionHandler", displacement = words[1] == "DisplacementHandler";
        bool filter = words[1] == "PixelFilterHandler" || words[1] == "ImageFilterHandler";
        if (!motion && !displacement && !filter) return true;
        if (!filter && !item_) return Fail("a " + words[1] + " outside an item");
        if (displacement && item_->type != LWI_OBJECT) return Fail("a displacement plug-in outside an object");
        if (layout_ && motion) layout_->motionPlugins.push_back({item_, begin, at_});
        blocks_.push_back({words[1], words[3], std::move(body), begin, filter ? nullptr : item_});
        return true;
    }

    // The object file as the scene names it, else beside the scene by its file
    // name. An object whose file cannot be read has no points; that is no error
    // here (scenes travel without their objects).
    void ReadGeometry(Item *object, const std::string &path) {
        std::string folder = name_.substr(0, name_.find_last_of("/\\") + 1), why;
        for (const std::string &candidate : {path, folder + BaseName(path)}) {
            ObjectGeometry geometry;
            std::string problem;
            if (!ReadObjectFile(candidate, &geometry, &problem)) {
                // The first place's reason, unless it was simply not there.
                if (why.empty() || why.find(": no such file") != std::string::npos) why = problem;
                object->geometryProblem = why;
                continue;
            }
            object->geometry = std::move(geometry);
            object->geometryPath = candidate;
            object->numPoints = static_cast<int>(object->geometry.points.size());
            object->numPolygons = static_cast<int>(object->geometry.polygons.size());
            object->geometryProblem.clear();
            return;
        }
    }

    bool AddLink(int kind, const std::vector<std::string> &words) {
        if (words.size() < 2 || !item_) return Fail(words[0] + " needs an item and a number");
        char *end = nullptr;
        long index = std::strtol(words[1].c_str(), &end, 10);
        if (*end || index < 1 || index > 1000000) return Fail(words[0] + " needs an item number, not '" + words[1] + "'");
        links_.push_back({item_, kind, static_cast<int>(index), at_});
        return true;
    }

    bool Run() {
        std::string line;
        if (!Next(&line) || Words(line) != std::vector<std::string>{"LWSC"}) return Fail("not a LightWave scene (no LWSC)");
        if (!Next(&line)) return Fail("no format version");
        if (Words(line)[0] != "1")
            return Fail("scene format version " + Words(line)[0] + " is not LightWave 5's version 1");
        Scene &s = host_.scene;
        s.framesPerSecond = kDefaultFramesPerSecond;
        while (Next(&line)) {
            std::vector<std::string> w = Words(line);
            const std::string &k = w[0];
            // A number after the keyword; one that is not a finite number of a
            // sensible size (scene values are frames, sizes, angles, colours)
            // stops the reading below, rather than reaching an integer cast.
            std::string unusable;
            auto number = [&](size_t i) {
                if (i >= w.size()) return 0.0;
                char *end = nullptr;
                double v = std::strtod(w[i].c_str(), &end);
                if (*end || !std::isfinite(v) || std::fabs(v) > 1e9) {
                    if (unusable.empty()) unusable = w[i];
                    return 0.0;
                }
                return v;
            };
            // A bit field: a whole number from 0 up.
            auto bits = [&](size_t i) {
                double v = number(i);
                if (v < 0 || v != std::floor(v)) {
                    if (unusable.empty()) unusable = w[i];
                    return 0u;
                }
                return static_cast<unsigned>(v);
            };
            if (k == "FirstFrame") s.firstFrame = static_cast<int>(number(1));
            else if (k == "LastFrame") s.lastFrame = static_cast<int>(number(1));
            else if (k == "FrameStep") s.frameStep = static_cast<int>(number(1));
            else if (k == "FramesPerSecond") s.framesPerSecond = number(1) > 0 ? number(1) : kDefaultFramesPerSecond;
            else if (k == "LoadObject") {
                std::string path = Rest(line, k);
                if (path.empty()) return Fail("LoadObject names no object file");
                item_ = object_ = &s.AddObject(BaseName(path), path);
                ReadGeometry(item_, path);
            } else if (k == "AddNullObject") {
                item_ = object_ = &s.AddNullObject(Rest(line, k));
            } else if (k == "AddBone") {
                if (!object_) return Fail("a bone outside an object");
                item_ = &s.AddBone(*object_);
            } else if (k == "BoneName" && item_ && item_->type == LWI_BONE) item_->name = Rest(line, k);
            else if (k == "BoneRestPosition" && item_) item_->restPosition = {number(1), number(2), number(3)};
            else if (k == "BoneRestDirection" && item_) item_->restDirection = {number(1), number(2), number(3)};
            else if (k == "BoneRestLength" && item_) item_->restLength = number(1);
            else if (k == "AddLight") item_ = &s.AddLight("Light");
            else if (k == "LightName" && item_) item_->name = Rest(line, k);
            else if (k == "LightColor" && item_) item_->lightColor = {number(1) / 255, number(2) / 255, number(3) / 255};
            else if (k == "LgtIntensity" && item_) { if (!Envelope(w, &item_->intensity)) return false; }
            else if (k == "LightType" && item_) item_->lightType = static_cast<int>(number(1));
            else if (k == "ShadowType" && item_) item_->shadowType = static_cast<int>(number(1));
            else if (k == "ConeAngle" && item_) item_->coneRadius = number(1) * kRadiansPerDegree;
            else if (k == "EdgeAngle" && item_) item_->coneEdge = number(1) * kRadiansPerDegree;
            else if (k == "AmbientColor") s.ambientColor = {number(1) / 255, number(2) / 255, number(3) / 255};
            else if (k == "AmbIntensity") { if (!Envelope(w, &s.ambientIntensity)) return false; }
            else if (k == "ShowCamera") item_ = &Camera();
            else if (k == "CameraMotion") { item_ = &Camera(); if (!Motion()) return false; }
            else if (k == "ObjectMotion" || k == "LightMotion" || k == "BoneMotion") { if (!Motion()) return false; }
            else if (k == "EndBehavior") {
                int n = static_cast<int>(number(1));
                for (Channel *c : lastCurve_) c->end = n == 0 ? EndBehavior::Reset : n == 2 ? EndBehavior::Repeat : EndBehavior::Stop;
            } else if (k == "PivotPoint" && item_) item_->pivot = {number(1), number(2), number(3)};
            else if (k == "ParentObject") { if (!AddLink(item_ && item_->type == LWI_BONE ? 3 : 0, w)) return false; }
            else if (k == "TargetObject") { if (!AddLink(1, w)) return false; }
            else if (k == "GoalObject") { if (!AddLink(2, w)) return false; }
            else if (k == "ShadowOptions" && item_) item_->shadowOptions = bits(1);
            else if (k == "ObjDissolve" && item_) { if (!Envelope(w, &item_->dissolve)) return false; }
            else if (k == "ZoomFactor") { if (!Envelope(w, &Camera().zoom)) return false; }
            else if (k == "BlurLength") { if (!Envelope(w, &Camera().blurLength)) return false; }
            else if (k == "FocalDistance") { if (!Envelope(w, &Camera().focalDistance)) return false; }
            else if (k == "LensFStop") { if (!Envelope(w, &Camera().fStop)) return false; }
            else if (k == "Antialiasing") s.antialiasing = static_cast<int>(number(1));
            else if (k == "AdaptiveSampling") s.adaptiveSampling = number(1) != 0;
            else if (k == "AdaptiveThreshold") s.adaptiveThreshold = static_cast<int>(number(1));
            // Bits 0 particle blur, 1 motion blur, 2 dithered: real 5.x files
            // write "MotionBlur 1" with a BlurLength for their motion blur, so
            // any of them blurs the render (our reading); bit 2 dithers it.
            else if (k == "MotionBlur") {
                s.renderOptions = (s.renderOptions & ~LWROPT_MOTIONBLUR) | (number(1) != 0 ? LWROPT_MOTIONBLUR : 0);
                s.ditheredMotionBlur = (bits(1) & 4) != 0;
            }
            else if (k == "DepthOfField") s.renderOptions = (s.renderOptions & ~LWROPT_DEPTHOFFIELD) | (number(1) != 0 ? LWROPT_DEPTHOFFIELD : 0);
            else if (k == "FieldRendering") s.renderOptions = (s.renderOptions & ~LWROPT_FIELDS) | (number(1) != 0 ? LWROPT_FIELDS : 0);
            else if (k == "ReverseFields") s.reverseFields = number(1) != 0;
            else if (k == "FilmSize") s.filmSize = static_cast<int>(number(1));
            else if (k == "RenderMode") s.renderType = static_cast<int>(number(1));
            else if (k == "Resolution") {
                s.frameWidth = ResolutionWidth(static_cast<int>(number(1)));
                s.frameHeight = s.frameWidth * 3 / 4;
            } else if (k == "CustomSize" && w.size() >= 3) {
                s.frameWidth = static_cast<int>(number(1));
                s.frameHeight = static_cast<int>(number(2));
            } else if (k == "PixelAspectRatio") s.pixelAspect = PixelAspect(static_cast<int>(number(1)), s.pixelAspect);
            else if (k == "CustomPixelRatio") { if (number(1) > 0) s.pixelAspect = number(1); }
            else if (k == "ShadowCasting" && item_) item_->shadowType = number(1) != 0 ? LWLSHAD_RAYTRACE : LWLSHAD_OFF;
            else if (k == "SolidBackdrop") s.solidBackdrop = number(1) != 0;
            else if (k == "BackdropColor") s.backdropColor = {number(1) / 255, number(2) / 255, number(3) / 255};
            else if (k == "ZenithColor") s.zenithColor = {number(1) / 255, number(2) / 255, number(3) / 255};
            else if (k == "SkyColor") s.skyColor = {number(1) / 255, number(2) / 255, number(3) / 255};
            else if (k == "GroundColor") s.groundColor = {number(1) / 255, number(2) / 255, number(3) / 255};
            else if (k == "NadirColor") s.nadirColor = {number(1) / 255, number(2) / 255, number(3) / 255};
            else if (k == kFogKeys.type) s.fogType = static_cast<int>(number(1));
            else if (k == kFogKeys.nearest) s.fogNearest = number(1);
            else if (k == kFogKeys.farthest) s.fogFarthest = number(1);
            else if (k == kFogKeys.color) s.fogColor = {number(1) / 255, number(2) / 255, number(3) / 255};
            else if (k == "RayTraceEffects") s.rayTraceEffects = bits(1) & 7;
            else if (k == "Plugin") { if (!Plugin(w)) return false; }
            // Anything else (display, effects, IK, view settings) is not ours to read.
            if (!unusable.empty()) return Fail("'" + unusable + "' is not a usable number for " + k);
        }
        return ResolveLinks();
    }

    // Items are numbered among the file's objects from 1; a bone's parent among
    // its own object's bones (how the host numbers bones there is not published).
    bool ResolveLinks() {
        Scene &s = host_.scene;
        for (const PendingLink &l : links_) {
            at_ = l.line;
            if (l.kind == 3) {
                auto &bones = l.item->owner->bones;
                if (l.index < 1 || l.index > static_cast<int>(bones.size())) return Fail("no bone " + std::to_string(l.index));
                l.item->parent = bones[l.index - 1].get();
                continue;
            }
            if (l.index < 1 || l.index > static_cast<int>(s.objects.size()))
                return Fail("no object " + std::to_string(l.index) + " in the scene");
            Item *other = s.objects[l.index - 1].get();
            (l.kind == 0 ? l.item->parent : l.kind == 1 ? l.item->target : l.item->goal) = other;
        }
        // A chain of parents that comes back to where it began would place an
        // item by itself: refused at the link that closes it.
        for (const PendingLink &l : links_) {
            if (l.kind != 0 && l.kind != 3) continue;
            const Item *up = l.item->parent;
            for (size_t steps = 0; up && steps <= links_.size(); ++steps, up = up->parent)
                if (up == l.item) {
                    at_ = l.line;
                    return Fail("'" + s.ShownName(*l.item) + "' would be its own parent" +
                                (l.item->parent == l.item ? "" : " (through '" + s.ShownName(*l.item->parent) + "')"));
                }
        }
        return true;
    }
};

// ---- writing ----

std::string Number(double v) {
    char text[32];
    std::snprintf(text, sizeof text, "%.7g", v);
    return text;
}

void WriteCurve(std::ostringstream &out, const std::vector<const Channel *> &channels) {
    const std::vector<ChannelKey> &keys = channels[0]->keys;
    out << "  " << channels.size() << "\n  " << (keys.empty() ? 1 : keys.size()) << "\n";
    size_t n = keys.empty() ? 1 : keys.size();
    for (size_t k = 0; k < n; ++k) {
        double frame = keys.empty() ? 0 : keys[k].frame;
        out << " ";
        for (const Channel *c : channels)
            out << " " << Number(k < c->keys.size() && c->keys[k].frame == frame ? c->keys[k].value : c->ValueAt(frame));
        const ChannelKey key = keys.empty() ? ChannelKey{} : keys[k];
        out << "\n  " << Number(frame) << " " << (key.linear ? 1 : 0) << " " << Number(key.tension) << " "
            << Number(key.continuity) << " " << Number(key.bias) << "\n";
    }
    out << "EndBehavior " << static_cast<int>(channels[0]->end) << "\n";
}

void WriteMotion(std::ostringstream &out, const char *keyword, const Item &item) {
    out << keyword << " (unnamed)\n";
    std::vector<const Channel *> channels;
    for (const Channel &c : item.motion) channels.push_back(&c);
    WriteCurve(out, channels);
}

void WriteEnvelope(std::ostringstream &out, const char *keyword, const Channel &c) {
    if (c.keys.size() <= 1) {
        out << keyword << " " << Number(c.ValueAt(0)) << "\n";
        return;
    }
    out << keyword << " (envelope)\n";
    WriteCurve(out, {&c});
}

int ObjectNumber(const Scene &s, const Item *object) {
    for (size_t i = 0; i < s.objects.size(); ++i)
        if (s.objects[i].get() == object) return static_cast<int>(i) + 1;
    return 0;
}

void WriteLinks(std::ostringstream &out, const Scene &s, const Item &item) {
    if (item.parent && item.type != LWI_BONE) out << "ParentObject " << ObjectNumber(s, item.parent) << "\n";
    if (item.target) out << "TargetObject " << ObjectNumber(s, item.target) << "\n";
    if (item.goal) out << "GoalObject " << ObjectNumber(s, item.goal) << "\n";
}

void WritePlugin(std::ostringstream &out, const char *className, int slot, const std::string &server,
                 LWError (*save)(LWInstance, const LWSaveState *), LWInstance instance) {
    out << "Plugin " << className << " " << slot << " " << server << "\n";
    std::vector<std::string> lines;
    LWSaveState state = {LWIO_SCENE, &lines, [](void *d, char *buf, int) {
                             static_cast<std::vector<std::string> *>(d)->push_back(buf);
                         }};
    save(instance, &state);
    // A line the instance wrote is one scene line, whatever it holds.
    for (std::string &l : lines) {
        for (char &c : l)
            if (c == '\n' || c == '\r') c = ' ';
        out << l << "\n";
    }
    out << "EndPlugin\n";
}

void WritePlugins(std::ostringstream &out, const Item &item) {
    int slot = 0;
    for (const MotionPluginUse &use : item.motionPlugins)
        WritePlugin(out, "ItemMotionHandler", ++slot, use.server, use.handler->save, use.instance);
    slot = 0;
    for (const DisplacementPluginUse &use : item.displacementPlugins)
        WritePlugin(out, "DisplacementHandler", ++slot, use.server, use.handler->save, use.instance);
}

}  // namespace

void LoadInstanceLines(LWError (*load)(LWInstance, const LWLoadState *), LWInstance instance,
                       const std::vector<std::string> &lines) {
    // The instance reads its own lines as the host's line mode reads them: a
    // read takes at most `len` bytes of the line; when the line's rest is
    // shorter than asked, it takes the rest, ends it with a zero and moves
    // to the next line; otherwise the line's rest comes with the next read
    // (a rest of exactly `len` bytes is taken without a zero, and the next
    // read finds the empty end of that line). -1 after the last line.
    struct Lines {
        const std::vector<std::string> *lines;
        size_t next, offset;
    } source{&lines, 0, 0};
    LWLoadState state = {LWIO_SCENE, &source, [](void *d, char *buf, int len) {
                             Lines *s = static_cast<Lines *>(d);
                             if (s->next >= s->lines->size() || len < 0) return -1;
                             const std::string &l = (*s->lines)[s->next];
                             size_t rest = l.size() - s->offset;
                             if (rest < static_cast<size_t>(len)) {
                                 std::memcpy(buf, l.data() + s->offset, rest);
                                 buf[rest] = 0;
                                 ++s->next, s->offset = 0;
                                 return static_cast<int>(rest);
                             }
                             std::memcpy(buf, l.data() + s->offset, static_cast<size_t>(len));
                             s->offset += static_cast<size_t>(len);
                             return len;
                         }};
    load(instance, &state);
    EmbeddedHost::Active().Forget();  // new settings: what was worked out with the old ones goes
}

LWError LoadInstanceBytes(LWError (*load)(LWInstance, const LWLoadState *), LWInstance instance,
                          const std::vector<unsigned char> &bytes) {
    struct Bytes {
        const std::vector<unsigned char> *data;
        size_t at;
    } source{&bytes, 0};
    LWLoadState state = {LWIO_OBJECT, &source, [](void *d, char *buf, int len) {
                             Bytes *s = static_cast<Bytes *>(d);
                             size_t n = std::min(s->data->size() - s->at, static_cast<size_t>(std::max(len, 0)));
                             std::memcpy(buf, s->data->data() + s->at, n);
                             s->at += n;
                             return static_cast<int>(n);
                         }};
    // Object-mode settings are a surface's shaders', which no motion or
    // placement depends on: what the host has worked out stays.
    return load(instance, &state);
}

bool LoadSceneText(EmbeddedHost &host, const std::string &text, const std::string &name, std::string *error,
                   SceneLayout *layout) {
    return Reader(host, text, name, layout).Read(error);
}

bool LoadSceneFile(EmbeddedHost &host, const std::string &path, std::string *error, SceneLayout *layout,
                   std::string *text) {
    std::string read;
    if (!ReadTextFile(path, &read, error)) return false;
    host.scene.filename = path;
    host.scene.name = BaseName(path);
    if (!LoadSceneText(host, read, path, error, layout)) return false;
    if (text) *text = std::move(read);
    return true;
}

bool ReadMotionText(const std::string &text, const std::string &name, std::vector<Channel> *nine, std::string *error) {
    EmbeddedHost unused;  // a motion file names no items
    std::vector<Channel> read(9);
    if (!Reader(unused, text, name).ReadMotion(&read, error)) return false;
    *nine = std::move(read);
    return true;
}

bool ReadMotionFile(const std::string &path, std::vector<Channel> *nine, std::string *error) {
    std::string text;
    if (!ReadTextFile(path, &text, error)) return false;
    return ReadMotionText(text, path, nine, error);
}

std::string SceneText(EmbeddedHost &host) {
    const Scene &s = host.scene;
    std::ostringstream out;
    out << "LWSC\n1\n\nFirstFrame " << s.firstFrame << "\nLastFrame " << s.lastFrame << "\nFrameStep " << s.frameStep
        << "\nFramesPerSecond " << Number(s.framesPerSecond) << "\n";
    for (const auto &object : s.objects) {
        out << "\n";
        if (object->filename.empty())
            out << "AddNullObject " << object->name << "\n";
        else
            out << "LoadObject " << object->filename << "\n";
        WriteMotion(out, "ObjectMotion", *object);
        WriteLinks(out, s, *object);
        out << "PivotPoint " << Number(object->pivot[0]) << " " << Number(object->pivot[1]) << " "
            << Number(object->pivot[2]) << "\n";
        WritePlugins(out, *object);
        for (const auto &bone : object->bones) {
            out << "AddBone\nBoneName " << bone->name << "\n";
            out << "BoneRestPosition " << Number(bone->restPosition[0]) << " " << Number(bone->restPosition[1]) << " "
                << Number(bone->restPosition[2]) << "\n";
            out << "BoneRestDirection " << Number(bone->restDirection[0]) << " " << Number(bone->restDirection[1])
                << " " << Number(bone->restDirection[2]) << "\nBoneRestLength " << Number(bone->restLength) << "\n";
            WriteMotion(out, "BoneMotion", *bone);
            for (size_t i = 0; i < object->bones.size(); ++i)
                if (object->bones[i].get() == bone->parent) out << "ParentObject " << i + 1 << "\n";
            WritePlugins(out, *bone);
        }
        out << "ShadowOptions " << object->shadowOptions << "\n";
    }
    out << "\nAmbientColor " << Number(s.ambientColor[0] * 255) << " " << Number(s.ambientColor[1] * 255) << " "
        << Number(s.ambientColor[2] * 255) << "\n";
    WriteEnvelope(out, "AmbIntensity", s.ambientIntensity);
    for (const auto &light : s.lights) {
        out << "\nAddLight\nLightName " << light->name << "\n";
        WriteMotion(out, "LightMotion", *light);
        WriteLinks(out, s, *light);
        WritePlugins(out, *light);
        out << "LightColor " << Number(light->lightColor[0] * 255) << " " << Number(light->lightColor[1] * 255) << " "
            << Number(light->lightColor[2] * 255) << "\n";
        WriteEnvelope(out, "LgtIntensity", light->intensity);
        out << "LightType " << light->lightType << "\nShadowType " << light->shadowType << "\n";
        out << "ConeAngle " << Number(light->coneRadius * kDegreesPerRadian) << "\nEdgeAngle "
            << Number(light->coneEdge * kDegreesPerRadian) << "\n";
    }
    for (const auto &camera : s.cameras) {
        out << "\nShowCamera 1 7\n";
        WriteMotion(out, "CameraMotion", *camera);
        WriteLinks(out, s, *camera);
        WritePlugins(out, *camera);
        WriteEnvelope(out, "ZoomFactor", camera->zoom);
        out << "CustomSize " << s.frameWidth << " " << s.frameHeight << "\n";
        out << "PixelAspectRatio -1\nCustomPixelRatio " << Number(s.pixelAspect) << "\n";
        out << "Antialiasing " << s.antialiasing << "\nAdaptiveSampling " << (s.adaptiveSampling ? 1 : 0) << "\n";
        if (s.adaptiveSampling) out << "AdaptiveThreshold " << s.adaptiveThreshold << "\n";
        out << "MotionBlur " << ((s.renderOptions & LWROPT_MOTIONBLUR) ? (s.ditheredMotionBlur ? 5 : 1) : 0) << "\n";
        WriteEnvelope(out, "BlurLength", camera->blurLength);
        out << "FilmSize " << s.filmSize << "\nDepthOfField " << ((s.renderOptions & LWROPT_DEPTHOFFIELD) ? 1 : 0) << "\n";
        WriteEnvelope(out, "FocalDistance", camera->focalDistance);
        WriteEnvelope(out, "LensFStop", camera->fStop);
        out << "FieldRendering " << ((s.renderOptions & LWROPT_FIELDS) ? 1 : 0) << "\n";
        if (s.renderOptions & LWROPT_FIELDS) out << "ReverseFields " << (s.reverseFields ? 1 : 0) << "\n";
    }
    auto colour = [&](const char *key, const std::array<double, 3> &c) {
        out << key << " " << Number(c[0] * 255) << " " << Number(c[1] * 255) << " " << Number(c[2] * 255) << "\n";
    };
    out << "\nSolidBackdrop " << (s.solidBackdrop ? 1 : 0) << "\n";
    colour("BackdropColor", s.backdropColor);
    colour("ZenithColor", s.zenithColor);
    colour("SkyColor", s.skyColor);
    colour("GroundColor", s.groundColor);
    colour("NadirColor", s.nadirColor);
    out << kFogKeys.type << " " << s.fogType << "\n";
    if (s.fogType) {
        out << kFogKeys.nearest << " " << Number(s.fogNearest) << "\n" << kFogKeys.farthest << " " << Number(s.fogFarthest) << "\n";
        colour(kFogKeys.color, s.fogColor);
    }
    out << "RayTraceEffects " << s.rayTraceEffects << "\n";
    // The effects: pixel and image filters, each class numbered from 1.
    int pixelSlot = 0, imageSlot = 0;
    for (const FilterPluginUse &use : s.filterPlugins) {
        if (&use == &s.filterPlugins.front()) out << "\n";
        if (use.pixel)
            WritePlugin(out, "PixelFilterHandler", ++pixelSlot, use.server, use.pixel->save, use.instance);
        else
            WritePlugin(out, "ImageFilterHandler", ++imageSlot, use.server, use.image->save, use.instance);
    }
    out << "\nRenderMode " << s.renderType << "\n";
    return out.str();
}
