// The embedded host's scene: objects (loaded and null), lights, cameras and the
// bones each object holds, with their keyed motions, pivots, parents and the
// values the host's item, object, light, camera and bone services report.
#pragma once

#include <array>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/channel.h"
#include "host/object_file.h"
#include "hostapi/lwhost.h"

// Channels of an item motion, in the order of the host's motion blocks.
enum MotionChannel { kPosX, kPosY, kPosZ, kHeading, kPitch, kBank, kScaleX, kScaleY, kScaleZ, kMotionChannels };

// An item-motion plug-in applied to an item: the server and the instance its
// create returned, with the handler record the host activated for it.
struct MotionPluginUse {
    std::string server;
    const ItemMotionHandler *handler = nullptr;
    LWInstance instance = nullptr;
    long version = 3;  // the handler version it accepted: older records lack slots
};

// A displacement plug-in applied to an object.
struct DisplacementPluginUse {
    std::string server;
    const DisplacementHandler *handler = nullptr;
    LWInstance instance = nullptr;
    long version = 3;  // the handler version it accepted: older records lack slots
};

// A pixel or image filter of the scene's effects, in the order they run.
struct FilterPluginUse {
    std::string className, server;  // "PixelFilterHandler" or "ImageFilterHandler"
    const PixelFilterHandler *pixel = nullptr;
    const ImageFilterHandler *image = nullptr;
    LWInstance instance = nullptr;
    long version = 3;  // the handler version it accepted: older records lack slots
};

// A plug-in block of a scene file as read: its class and server, the lines
// between "Plugin" and "EndPlugin", the line it starts on, and the item it
// follows (none for the scene's filters). The host applies the blocks once the
// whole scene is read.
struct PluginBlock {
    std::string className, server;
    std::vector<std::string> lines;
    int line = 0;
    struct Item *item = nullptr;
};

struct Item {
    LWItemType type = LWI_OBJECT;
    std::string name;  // as given; the host numbers duplicates when it shows them
    Item *parent = nullptr;
    Item *target = nullptr;
    Item *goal = nullptr;
    Item *owner = nullptr;  // bones: the object whose skeleton holds them

    // Keyed motion relative to the parent: metres, degrees (as in scene files), factors.
    std::array<Channel, kMotionChannels> motion;
    std::array<double, 3> pivot{};
    std::vector<std::string> tags;
    std::vector<MotionPluginUse> motionPlugins;  // applied in this order

    // Objects.
    std::string filename;
    int numPoints = 0, numPolygons = 0;
    unsigned shadowOptions = LWOSHAD_SELF | LWOSHAD_CAST | LWOSHAD_RECEIVE;
    Channel dissolve;
    std::vector<std::unique_ptr<Item>> bones;
    ObjectGeometry geometry;  // from the object file, when it could be read
    std::string geometryPath; // where that file was found
    std::string geometryProblem;  // why it could not be read, when it could not
    std::vector<DisplacementPluginUse> displacementPlugins;

    // Lights.
    int lightType = LWLIGHT_DISTANT;
    std::array<double, 3> lightColor{1, 1, 1};
    Channel intensity = ConstantChannel(1);
    int shadowType = LWLSHAD_RAYTRACE;
    double coneRadius = 0.5235987755982988, coneEdge = 0.08726646259971647;  // 30 and 5 degrees
    unsigned lightFlags = 0;
    double range = 10;

    // Cameras.
    Channel zoom = ConstantChannel(3.2);
    Channel focalDistance = ConstantChannel(1);
    Channel fStop = ConstantChannel(4);
    Channel blurLength = ConstantChannel(0.5);

    // Bones.
    unsigned boneFlags = LWBONEF_ACTIVE;
    std::array<double, 3> restPosition{}, restDirection{};  // metres, degrees
    double restLength = 1;
    double innerLimit = 0, outerLimit = 0;

    std::string shownName;  // the text handed out by the item-info name function
    // The last heading, pitch and bank (degrees) the item was placed with and
    // their unit axes: most items keep one turn for long stretches, and
    // placing asks at every step of a simulation.
    struct Turn {
        double hpb[3] = {kNoTurn, kNoTurn, kNoTurn};
        double rows[3][3];
        static constexpr double kNoTurn = 1e300;  // no angle a scene holds
    };
    mutable Turn lastTurn;
    void SetEndBehavior(EndBehavior end);
    // One key at frame 0 on every channel: position, rotation in degrees, scale.
    void SetRest(std::array<double, 3> position, std::array<double, 3> hpbDegrees = {},
                 std::array<double, 3> scale = {1, 1, 1});
    // Adds a key on all nine channels.
    void AddKey(double frame, const std::array<double, 9> &values, bool linear = false);
};

struct HostImage {
    std::string name, filename;
    int width = 0, height = 0;
    bool color = true;
    std::vector<unsigned char> rgb;  // width * height * 3, rows top down
};

struct Scene {
    std::string name = "Untitled", filename;
    std::vector<std::unique_ptr<Item>> objects, lights, cameras;
    std::vector<std::unique_ptr<HostImage>> images;
    // Bones the host still answers for though no object's skeleton lists them;
    // the module has to name them without an owner.
    std::vector<std::unique_ptr<Item>> strayBones;
    std::vector<FilterPluginUse> filterPlugins;

    int firstFrame = 1, lastFrame = 60, frameStep = 1;
    double framesPerSecond = 30;
    int frameWidth = 640, frameHeight = 480;
    double pixelAspect = 1;
    int renderType = LWRTYPE_REALISTIC, renderOptions = 0;
    int antialiasing = 0;  // 0 off, 1 low, 2 medium, 3 high
    // Only the pixels whose neighbours differ by more than the threshold (in
    // levels of 255) get the passes after the first.
    bool adaptiveSampling = false;
    // Motion blur (LWROPT_MOTIONBLUR in the render options) with its passes
    // dithered.
    bool ditheredMotionBlur = false;
    // Field rendering (LWROPT_FIELDS) with the odd lines first in time.
    bool reverseFields = false;
    // The film the camera simulates (FilmSize: 0 Super 8 ... 2 35 mm motion
    // picture ... 10 1/2" CCD), for depth of field; its height in metres.
    int filmSize = 2;
    double FilmHeight() const;
    int adaptiveThreshold = 8;
    // The passes the antialiasing level renders: 1, or 5, 9 and 17. Motion
    // blur and depth of field need passes, so without antialiasing they
    // render the low level's (sampled: true).
    int AntialiasingPasses(bool sampled = false) const;
    int minSamplesPerPixel = 1, maxSamplesPerPixel = 1;
    std::array<int, 4> limitedRegion{};
    int recursionDepth = 16;
    std::array<double, 3> ambientColor{1, 1, 1};
    Channel ambientIntensity = ConstantChannel(0.25);

    // What a render sees behind and between the objects (colours 0 to 1): one
    // backdrop colour, or the gradient from zenith through sky | ground to nadir.
    bool solidBackdrop = true;
    std::array<double, 3> backdropColor{0, 0, 0};
    std::array<double, 3> zenithColor{0, 40 / 255.0, 80 / 255.0}, skyColor{120 / 255.0, 180 / 255.0, 240 / 255.0};
    std::array<double, 3> groundColor{50 / 255.0, 40 / 255.0, 30 / 255.0}, nadirColor{100 / 255.0, 80 / 255.0, 60 / 255.0};
    int fogType = 0;  // 0 off; otherwise fog from the nearest to the farthest distance
    double fogNearest = 0, fogFarthest = 1;
    std::array<double, 3> fogColor{0, 0, 0};
    unsigned rayTraceEffects = 0;  // 1 shadows, 2 reflections, 4 refractions

    Item &AddObject(const std::string &name, const std::string &filename = "");
    Item &AddNullObject(const std::string &name);
    Item &AddLight(const std::string &name = "Light");
    Item &AddCamera(const std::string &name = "Camera");
    Item &AddBone(Item &object, const std::string &name = "Bone");
    Item &AddStrayBone(const std::string &name);

    // The name as the host shows it: when several items of one kind (bones: of one
    // object) share a name, the second and later are shown with " (n)".
    std::string ShownName(const Item &item) const;

    // The motion of an item at a time in seconds: nine values in the channels'
    // units (metres, degrees, factors). The keyed motion unless the host puts
    // its plug-in evaluation here.
    std::function<void(const Item &, double time, double out[9])> motion;
    void KeyedMotion(const Item &item, double time, double out[9]) const;

    // An item's placement in the world at a time in seconds: where its pivot
    // sits (3 values), then its right, up and forward axes, scaled (3 x 3),
    // from `motion` through its parents. Placement asks `placement` when the
    // host puts its memory of placements there.
    static constexpr int kPlacementValues = 12;
    std::function<void(const Item &, double time, double out[kPlacementValues])> placement;
    void Placement(const Item &item, double time, double out[kPlacementValues]) const;
    void WorkOutPlacement(const Item &item, double time, double out[kPlacementValues]) const;

    // A parameter of the item at a time in seconds (LWIP_* codes), as the
    // item-info service reports it, from `motion` through the parents.
    void Param(const Item &item, int param, double time, double out[3]) const;
    double FrameAt(double time) const { return time * framesPerSecond; }
};

// The item whose placement an item's own is relative to: its parent, or for a
// bone without one the object whose skeleton holds it; null for the world.
inline const Item *PlacementParent(const Item &item) {
    return item.parent ? item.parent : (item.type == LWI_BONE ? item.owner : nullptr);
}

// Resolve a handle the module passed back to the host (null when it is none of ours).
Item *ItemFromId(const Scene &scene, LWItemID id);
inline LWItemID IdOf(const Item *item) { return const_cast<Item *>(item); }
