// vesk export: the scene taken out for hosts and tools without this module.
#include <cstdio>
#include <set>

#include "host/export/plain_key_scene.h"
#include "tools/command_line.h"
#include "tools/whole_file.h"

namespace {

bool EndsWith(const std::string &s, const std::string &tail) {
    return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

int Export(const std::vector<std::string> &args) {
    std::vector<std::string> positional, v;
    std::string error;
    if (!Options(args, {"-o"}, &positional, &v, &error)) return FailCommand("export: " + error);
    if (positional.size() != 1 || v[0].empty()) return FailCommand("export: give a scene and -o OUT.lws");
    const std::string &out = v[0];
    if (!EndsWith(out, ".lws")) return FailCommand("export: " + out + ": the plain-key scene is written as a .lws file");
    Session s;
    if (!s.ready) return FailCommand(s.error);
    SceneLayout layout;
    std::string text;
    if (!LoadSceneFile(s.host, positional[0], &error, &layout, &text)) {
        s.PrintMessages();
        return FailCommand(error);
    }
    // The plug-ins measure objects from their files (a wheel's radius): a
    // motion worked out without them would be wrong, so nothing is written.
    for (const auto &object : s.host.scene.objects)
        if (!object->geometryProblem.empty()) return FailCommand(object->geometryProblem);
    std::string scene;
    if (!PlainKeySceneText(s.host, text, layout, &scene, &error)) return FailCommand(positional[0] + ": " + error);
    if (s.host.MotionOverrun(&error)) return FailCommand(error);
    if (!WriteWhole(out, scene, &error)) return FailCommand(error);
    s.PrintMessages();
    std::set<const Item *> baked;
    for (const SceneLayout::Span &p : layout.motionPlugins) baked.insert(p.item);
    std::printf("wrote %s: %zu items keyed at each frame from their plug-ins\n", out.c_str(), baked.size());
    return 0;
}

}  // namespace

extern const Command exportCommand = {
    "export", "the scene with its motion plug-ins baked to keys, for hosts without the module",
    "usage: vesk export SCENE -o OUT.lws\n"
    "\n"
    "Writes the scene as it was read, except that every item with item-motion\n"
    "plug-ins gets a linear key at each frame, from frame 0 (or the first frame\n"
    "when it is earlier) to the last, holding the motion its plug-ins give it,\n"
    "and their plug-in blocks are left out. Displacement plug-ins, filters and\n"
    "every other line stay as they were. It loads in any host, with or without\n"
    "the module. A scene whose object files are missing or broken is refused\n"
    "before anything is written.\n",
    Export};
