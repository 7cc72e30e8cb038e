// vesk bake: an item's final motion written as a motion file.
#include "export/motion_export.h"
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tools/command_line.h"
#include "tools/whole_file.h"

namespace {

int Bake(const std::vector<std::string> &args) {
    std::vector<std::string> positional;
    int end = -1;
    double density = 1.0;
    bool parentCoordinates = false, withoutPlugins = false;
    std::string out;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string &a = args[i];
        bool hasValue = i + 1 < args.size();
        if (a == "--end" && hasValue)
        {
            if (!FrameNumber(args[++i], &end))
                return FailCommand("bake: --end is a frame from 0 to " + std::to_string(kMostFrames) + ", not '" + args[i] + "'");
        }
        else if (a == "--density" && hasValue)
        {
            char *end = nullptr;
            density = std::strtod(args[++i].c_str(), &end);
            if (end == args[i].c_str() || *end) density = -1;  // refused below
        }
        else if (a == "--parent-coords")
            parentCoordinates = true;
        else if (a == "--no-plugins")
            withoutPlugins = true;
        else if (a == "-o" && hasValue)
            out = args[++i];
        else if (!a.empty() && a[0] == '-')
            return FailCommand("bake: unknown option '" + a + "'");
        else
            positional.push_back(a);
    }
    if (positional.size() != 2) return FailCommand("bake: give a scene file and an item name");
    if (!(density >= 0 && density <= 1)) return FailCommand("bake: the density is a fraction from 0 to 1");
    Session s;
    int status = 0;
    Item *item = LoadSceneItem(s, positional[0], positional[1], &status);
    if (!item) return status;
    if (withoutPlugins) s.host.RemovePlugins(*item);
    Scene &scene = s.host.scene;
    if (out.empty()) out = positional[1] + ".mot";
    // The export runs inside the module, as from an item-motion plug-in's panel;
    // a handler activation binds the module to the host first, as there.
    std::string error;
    if (!s.host.Handler("ItemMotionHandler", "Track", &error)) return FailCommand(error);
    // With --module the plug-ins are the file's; the export is still this
    // program's own code, bound to the same host.
    if (!sessionModuleFile.empty() && !BindBuiltInModule(&error)) return FailCommand(error);
    if (end < 0 && scene.lastFrame > kMostFrames)
        return FailCommand(positional[0] + ": its last frame, " + std::to_string(scene.lastFrame) + ", is past the " +
                    std::to_string(kMostFrames) + " frames a bake may hold; give --end");
    ExportRequest request{IdOf(item), end < 0 ? scene.lastFrame : end, density,
                          parentCoordinates && item->parent != nullptr, scene.framesPerSecond, ShowProgress, nullptr};
    if (request.endFrame < 0) request.endFrame = 0;
    // The module writes the motion file by name, as its Export Motion button
    // does; here that name is a temporary one beside the target, which then
    // replaces the target whole, or is removed.
    WholeFile file;
    if (!file.Open(out, &error)) return FailCommand(error);
    EvaluationPass pass(s.host);  // nothing changes the scene while it bakes
    if (!ExportMotionFile(request, file.WritePath().c_str())) return FailCommand(out + ": cannot be written");
    if (s.host.MotionOverrun(&error) || !file.Commit(&error)) return FailCommand(error);
    s.PrintMessages();
    std::printf("wrote %d keys of %s to %s\n", ExportKeyCount(request.endFrame, density), positional[1].c_str(),
                out.c_str());
    return 0;
}

}  // namespace

extern const Command bakeCommand = {
    "bake", "an item's final motion written as a motion file",
    "usage: vesk bake SCENE ITEM [--end N] [--density D] [--parent-coords] [--no-plugins] [-o FILE]\n"
    "\n"
    "Evaluates ITEM with its motion plug-ins and writes its motion as a LightWave\n"
    "motion file (LWMO 1), as the Export Motion button does.\n"
    "\n"
    "  --end N           last frame to bake (default: the scene's last frame)\n"
    "  --density D       fraction of the frames 0..N that become keys (default 1)\n"
    "  --no-plugins      the item's keys alone, its own motion plug-ins left out\n"
    "  --parent-coords   the item's own channels relative to its parent, instead of\n"
    "                    its world placement (only for items with a parent)\n"
    "  -o FILE           where to write (default: ITEM.mot)\n",
    Bake};
