// vesk displace: an object's points after its displacement plug-ins, as OBJ.
#include <sstream>

#include "host/passes.h"
#include "tools/image_files.h"
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tools/command_line.h"
#include "tools/frame_sequence.h"

namespace {

int Displace(const std::vector<std::string> &args) {
    std::vector<std::string> positional, v;
    std::string error;
    if (!Options(args, {"--frame", "--frames", "-o", "--no-plugins"}, &positional, &v, &error, {"--no-plugins"})) return FailCommand("displace: " + error);
    if (positional.size() != 2 || v[2].empty()) return FailCommand("displace: give a scene, an object and -o OUT.obj");
    int first = 0, last = 0;
    if (!v[0].empty() && !FrameNumber(v[0], &first)) return FailCommand("displace: --frame is a frame from 0 to " + std::to_string(kMostFrames));
    last = first;
    bool sequence = !v[1].empty();
    if (sequence) {
        if (!v[0].empty()) return FailCommand("displace: give --frame or --frames, not both");
        if (!FrameRange(v[1], &first, &last))
            return FailCommand("displace: --frames wants FIRST-LAST, as 1-120, within 0 to " + std::to_string(kMostFrames));
    }
    Session s;
    int status = 0;
    if (!LoadScene(s, positional[0], &status)) return status;
    Scene &scene = s.host.scene;
    Item *object = nullptr;
    for (auto &item : scene.objects)
        if (!object && (scene.ShownName(*item) == positional[1] || item->name == positional[1])) object = item.get();
    if (!object) return FailCommand(positional[0] + ": no object named '" + positional[1] + "'");
    if (!v[3].empty()) s.host.RemovePlugins(*object);
    if (object->geometry.points.empty())
        return FailCommand(positional[1] + " has no points (" +
                    (object->geometryProblem.empty() ? "its object file " + object->filename + " holds none"
                                                     : object->geometryProblem) +
                    ")");
    // Each frame's file is written whole before the next frame is moved, so a
    // failure keeps every frame written before it.
    for (int frame = first; frame <= last; ++frame) {
        auto points = DisplacedPoints(s.host, *object, frame / scene.framesPerSecond, &error);
        if (!error.empty()) return FailCommand(error);
        std::ostringstream obj;
        obj << "# " << positional[1] << " at frame " << frame << ", displaced by vesk\n";
        char line[128];
        for (const auto &p : points) {
            std::snprintf(line, sizeof line, "v %.9g %.9g %.9g\n", p[0], p[1], p[2]);
            obj << line;
        }
        for (const auto &polygon : object->geometry.polygons) {
            obj << "f";
            for (int i : polygon) obj << " " << i + 1;
            obj << "\n";
        }
        std::string out = sequence ? FrameFile(SequencePattern(v[2]), frame) : v[2];
        if (!WriteWhole(out, obj.str(), &error)) return FailCommand(error);
        if (last - first + 1 >= 20) DrawProgress(frame - first + 1, last - first + 1);
        if (!sequence)
            std::printf("wrote %zu points and %zu polygons to %s\n", points.size(), object->geometry.polygons.size(),
                        out.c_str());
    }
    s.PrintMessages();
    if (sequence)
        std::printf("wrote frames %d to %d of %s, %zu points each, to %s ... %s\n", first, last, positional[1].c_str(),
                    object->geometry.points.size(), FrameFile(SequencePattern(v[2]), first).c_str(), FrameFile(SequencePattern(v[2]), last).c_str());
    return 0;
}

}  // namespace

extern const Command displaceCommand = {
    "displace", "an object's points after its displacement plug-ins, as an OBJ file",
    "usage: vesk displace SCENE OBJECT [--frame N | --frames FIRST-LAST] [--no-plugins] -o OUT.obj\n"
    "\n"
    "Moves the object's points through its displacement plug-ins at frame N and\n"
    "writes them with its polygons as a Wavefront OBJ. The object file is looked\n"
    "for where the scene names it, then beside the scene.\n"
    "  --frames A-B     one file a frame, the frame number before the extension:\n"
    "                   -o dust.obj writes dust_0001.obj, dust_0002.obj, ...;\n"
    "                   a pattern such as dust%03d.obj is used as it stands\n"
    "  --no-plugins     the object as modelled, its displacement plug-ins left out\n",
    Displace};
