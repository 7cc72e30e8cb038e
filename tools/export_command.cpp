// vesk export: the scene taken out for hosts and tools without this module.
#include <cstdio>
#include <filesystem>
#include <set>

#include "host/export/gltf_scene.h"
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
    if (!Options(args, {"-o", "--frames", "--step", "--no-morph"}, &positional, &v, &error, {"--no-morph"}))
        return FailCommand("export: " + error);
    if (positional.size() != 1 || v[0].empty()) return FailCommand("export: give a scene and -o OUT.glb, OUT.gltf or OUT.lws");
    const std::string &out = v[0];
    const bool plain = EndsWith(out, ".lws"), glb = EndsWith(out, ".glb"), gltf = EndsWith(out, ".gltf");
    if (!plain && !glb && !gltf)
        return FailCommand("export: " + out + ": name the file .glb or .gltf (glTF 2.0) or .lws (a plain-key scene)");
    if (plain && (!v[1].empty() || !v[2].empty() || !v[3].empty()))
        return FailCommand("export: --frames, --step and --no-morph are for glTF; a plain-key scene keys every frame");
    GltfOptions options;
    long step = 1;
    if (!v[2].empty() && !WholeNumber(v[2], 1, kMostFrames, &step))
        return FailCommand("export: --step " + v[2] + ": give a whole number of frames, 1 or more");
    if (!v[1].empty() && !FrameRange(v[1], &options.first, &options.last))
        return FailCommand("export: --frames " + v[1] + ": give FIRST-LAST, as 1-120");
    options.step = static_cast<int>(step);
    options.morphs = v[3].empty();
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
    if (plain) {
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
    if (v[1].empty()) options.first = s.host.scene.firstFrame, options.last = s.host.scene.lastFrame;
    if (options.last < options.first) options.last = options.first;
    const std::string bin = std::filesystem::path(out).replace_extension(".bin").string();
    if (gltf) options.bufferUri = std::filesystem::path(bin).filename().string();
    GltfDocument document;
    if (!BuildGltf(s.host, options, &document, &error)) return FailCommand(positional[0] + ": " + error);
    s.PrintMessages();
    if (glb) {
        if (!WriteWhole(out, GlbBytes(document), &error)) return FailCommand(error);
    } else {
        // The buffer first: a .gltf never names a buffer that is not there.
        if (!document.buffer.empty() && !WriteWhole(bin, document.buffer, &error)) return FailCommand(error);
        if (!WriteWhole(out, document.json, &error)) {
            if (!document.buffer.empty()) std::remove(bin.c_str());
            return FailCommand(error);
        }
    }
    std::printf("wrote %s: frames %d to %d by %d\n", out.c_str(), options.first, options.last, options.step);
    return 0;
}

}  // namespace

extern const Command exportCommand = {
    "export", "the scene for today's tools (glTF 2.0) or for hosts without the module (plain keys)",
    "usage: vesk export SCENE -o OUT.glb|OUT.gltf [--frames A-B] [--step S] [--no-morph]\n"
    "       vesk export SCENE -o OUT.lws\n"
    "\n"
    "glTF 2.0 (.glb, or .gltf with its .bin beside it): every object as a mesh\n"
    "cut into triangles and smoothed as the renderer does, its surfaces as\n"
    "materials; the items as nodes under their parents, bones included; the\n"
    "camera and the lights; and one animation sampling every item's motion,\n"
    "its motion plug-ins applied, at each frame of the scene (or A to B, every\n"
    "S frames). Objects with displacement plug-ins change shape through one\n"
    "morph target a sampled frame (--no-morph: their undisplaced shape).\n"
    "\n"
    "A .lws is the scene as it was read, except that every item with\n"
    "item-motion plug-ins gets a linear key at each frame, from frame 0 (or the\n"
    "first frame when it is earlier) to the last, holding the motion its\n"
    "plug-ins give it, and their plug-in blocks are left out. It loads in any\n"
    "host, with or without the module.\n"
    "\n"
    "A scene whose object files are missing or broken is refused before\n"
    "anything is written.\n",
    Export};
