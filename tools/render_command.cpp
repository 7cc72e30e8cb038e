// vesk render: a scene's frames through motion, displacement, shading, pixel
// filters and image filters, each frame at its own time, without the host.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>

#include "host/render/renderer.h"
#include "tools/command_line.h"
#include "tools/frame_sequence.h"
#include "tools/image_files.h"

namespace {

enum { kFrames, kFrame, kOut, kDepth, kJobs, kSize, kPngLevel, kNoFilters, kAntialiasing, kOptionCount };

// --shader SURFACE=NAME[:SETTINGS], as often as wanted; taken out of the
// arguments before the others are read.
struct ShaderMapping {
    std::string surface, server, settings;
};

bool TakeShaders(std::vector<std::string> *args, std::vector<ShaderMapping> *out, std::string *error) {
    std::vector<std::string> rest;
    for (size_t i = 0; i < args->size(); ++i) {
        if ((*args)[i] != "--shader") {
            rest.push_back((*args)[i]);
            continue;
        }
        if (i + 1 >= args->size()) return *error = "--shader wants SURFACE=SHADER[:SETTINGS]", false;
        const std::string &v = (*args)[++i];
        size_t equals = v.find('=');
        if (equals == std::string::npos || equals == 0 || equals + 1 == v.size())
            return *error = "--shader wants SURFACE=SHADER[:SETTINGS], not '" + v + "'", false;
        std::string name = v.substr(equals + 1);
        size_t colon = name.find(':');
        out->push_back({v.substr(0, equals), name.substr(0, colon), colon == std::string::npos ? "" : name.substr(colon + 1)});
    }
    *args = rest;
    return true;
}

bool Size(const std::string &text, int *width, int *height) {
    size_t x = text.find('x');
    long w = 0, h = 0;
    if (x == std::string::npos || !WholeNumber(text.substr(0, x), 1, 16384, &w) || !WholeNumber(text.substr(x + 1), 1, 16384, &h))
        return false;
    *width = static_cast<int>(w), *height = static_cast<int>(h);
    return true;
}

int Render(const std::vector<std::string> &given) {
    std::vector<std::string> args = given, positional, v;
    std::vector<ShaderMapping> mappings;
    std::string error;
    if (!TakeShaders(&args, &mappings, &error)) return FailCommand("render: " + error);
    if (!Options(args, {"--frames", "--frame", "-o", "--depth", "-j", "--size", "--png-level", "--no-filters", "--aa"},
                 &positional, &v, &error, {"--no-filters"}))
        return FailCommand("render: " + error);
    if (positional.size() != 1 || v[kOut].empty()) return FailCommand("render: give a scene and -o OUT");
    if (!v[kFrame].empty() && !v[kFrames].empty()) return FailCommand("render: give --frame or --frames, not both");
    int pngLevel = kDefaultPngLevel;
    if (!PngLevel(v[kPngLevel], &pngLevel)) return FailCommand("render: --png-level is a whole number from 0 to 9");
    long antialiasing = -1;
    if (!v[kAntialiasing].empty() && !WholeNumber(v[kAntialiasing], 0, 3, &antialiasing))
        return FailCommand("render: --aa is an antialiasing level: 0 off, 1 low, 2 medium, 3 high");
    int width = 0, height = 0;
    if (!v[kSize].empty() && !Size(v[kSize], &width, &height)) return FailCommand("render: --size wants WIDTHxHEIGHT, as 640x480");

    Session s;
    int status = 0;
    if (!LoadScene(s, positional[0], &status)) return status;
    Scene &scene = s.host.scene;
    int first = scene.firstFrame, last = scene.lastFrame;
    if (!v[kFrame].empty() && !FrameNumber(v[kFrame], &first))
        return FailCommand("render: --frame is a frame from 0 to " + std::to_string(kMostFrames));
    if (!v[kFrame].empty()) last = first;
    if (!v[kFrames].empty() && !FrameRange(v[kFrames], &first, &last))
        return FailCommand("render: --frames wants FIRST-LAST, as 1-250, within 0 to " + std::to_string(kMostFrames));
    if (first < 0 || last < first) return FailCommand("render: the scene's frames " + std::to_string(first) + " to " +
                                                std::to_string(last) + " are no range to render");
    if (last - first >= kMostFrames) return FailCommand("render: more than " + std::to_string(kMostFrames) + " frames");
    // A range is a sequence even when it holds one frame: its pattern is
    // filled in, as ffmpeg's is. So is the scene's range given a pattern.
    const bool sequence = !v[kFrames].empty() || last > first || (v[kFrame].empty() && IsFramePattern(v[kOut]));
    if (sequence && !IsFramePattern(v[kOut]))
        return FailCommand("render: for a range of frames -o is a frame pattern, as out/frame%04d.png");
    if (sequence && !v[kDepth].empty() && !IsFramePattern(v[kDepth]))
        return FailCommand("render: for a range of frames --depth is a frame pattern, as out/depth%04d.pfm");
    std::string folder = sequence ? FrameFile(v[kOut], first) : v[kOut];
    folder = folder.find('/') == std::string::npos ? "." : folder.substr(0, folder.find_last_of('/') + 1);
    if (access(folder.c_str(), W_OK) != 0) return FailCommand(folder + ": no folder to write the frames in");
    if (width) scene.frameWidth = width, scene.frameHeight = height;
    if (antialiasing >= 0) scene.antialiasing = static_cast<int>(antialiasing);
    if (v[kNoFilters] == "1") {
        for (const FilterPluginUse &use : scene.filterPlugins)
            use.pixel ? use.pixel->destroy(use.instance) : use.image->destroy(use.instance);
        scene.filterPlugins.clear();
    }

    // The renderer and every shader it needs are made before any frame, so a
    // missing object or an unknown shader is one line and no output.
    std::vector<NewInstance> made;
    auto renderer = std::make_unique<Renderer>(s.host);
    auto cleanup = [&] {
        renderer.reset();  // its shaders' sessions end before the instances go
        for (const NewInstance &n : made) Destroy(n);
    };
    for (const ShaderMapping &m : mappings) {
        NewInstance n;
        if (!CreateInstance(s, m.server, m.settings, &n, &error)) return cleanup(), FailCommand(error);
        made.push_back(n);
        if (n.className != "ShaderHandler") return cleanup(), FailCommand(m.server + " is not a shader");
        renderer->AddSurfaceShader(m.surface, static_cast<const ShaderHandler *>(n.handler), n.instance, m.server);
    }
    if (!renderer->Begin(&error)) {
        s.PrintMessages();
        return cleanup(), FailCommand(positional[0] + ": " + error);
    }
    const int count = last - first + 1;
    int jobs = 1;
    if (!JobCount(v[kJobs], count, &jobs)) return cleanup(), FailCommand("render: -j wants a number of workers, 1 to 256");
    // The workers split the frames and the cores share each frame's rows.
    renderer->SetThreads(static_cast<int>(std::thread::hardware_concurrency()) / jobs);
    SequenceResult r = RunSequence(first, last, jobs, [&](int frame, std::string *why) {
        RgbaImage image;
        if (!renderer->Render(frame, &image, why)) return *why = "frame " + std::to_string(frame) + ": " + *why, false;
        std::string out = sequence ? FrameFile(v[kOut], frame) : v[kOut];
        if (!WritePicture(out, image, why, pngLevel)) return false;
        if (!v[kDepth].empty() && !WriteDepthPfm(sequence ? FrameFile(v[kDepth], frame) : v[kDepth], image, why)) return false;
        return true;
    });
    s.PrintMessages();
    for (const std::string &f : r.failures) std::fprintf(stderr, "vesk: %s\n", f.c_str());
    if (r.done < count) std::fprintf(stderr, "vesk: %d frames were not done: a worker stopped early\n", count - r.done);
    std::printf("%s: %d of %d frames (%d-%d) rendered at %dx%d to %s in %.1f s by %d worker%s\n", positional[0].c_str(),
                r.written, count, first, last, scene.frameWidth, scene.frameHeight, v[kOut].c_str(), r.seconds, r.jobs,
                r.jobs == 1 ? "" : "s");
    cleanup();
    return r.written == count ? 0 : 1;
}

}  // namespace

extern const Command renderCommand = {
    "render", "a scene's frames rendered with its plug-ins, as the host would",
    "usage: vesk render SCENE [--frame N | --frames A-B] -o OUT [--depth DEPTH] [-j N]\n"
    "                   [--size WxH] [--shader SURFACE=SHADER[:SETTINGS]]... [--no-filters]\n"
    "                   [--png-level L] [--aa LEVEL]\n"
    "\n"
    "Renders each frame at its own time: the items' motion with their plug-ins,\n"
    "the objects' points after their displacement plug-ins, the surfaces with\n"
    "their shader plug-ins, with the scene's lights, shadows, backdrop and fog, in\n"
    "its antialiasing passes (each at its own time under motion blur), then the\n"
    "pixel and image filters of the scene's effects.\n"
    "Every object file is read, and every shader made, before anything is written.\n"
    "\n"
    "  --frame N        one frame; --frames A-B a range (default: the scene's\n"
    "                   FirstFrame to LastFrame); -o and --depth are then patterns\n"
    "                   with one frame number, as out/frame%04d.png\n"
    "  -o OUT.png       the frames, RGBA PNG (alpha: 0 on the backdrop)\n"
    "  --depth D.pfm    each frame's depth from the camera plane, a float PFM\n"
    "  -j N             worker processes (default: the machine's cores)\n"
    "  --size WxH       the frame size instead of the scene's\n"
    "  --shader S=NAME[:FILE]  the shader NAME (with settings FILE) on every\n"
    "                   surface named S, after the object file's own shaders\n"
    "  --no-filters     leave out the scene's pixel and image filters\n"
    "  --png-level L    zlib level of the PNGs, 0 to 9 (default 1)\n"
    "  --aa LEVEL       antialiasing instead of the scene's: 0 off (one ray through\n"
    "                   each pixel's centre), 1 low (5 passes), 2 medium (9), 3 high\n"
    "                   (17); the scene's AdaptiveSampling still applies\n",
    Render};
