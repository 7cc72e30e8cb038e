// vesk filter: a pixel or image filter over one rendered image or over a whole
// rendered sequence, with its settings from a file, from a scene's effects or
// its defaults.
#include <unistd.h>

#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "host/passes.h"
#include "host/scene_file.h"
#include "tools/command_line.h"
#include "tools/frame_sequence.h"
#include "tools/image_files.h"

namespace {

enum { kSettings, kScene, kIn, kDepth, kFrame, kFrames, kJobs, kOut, kPngLevel, kOptionCount };

// The filter as it will run: its handler and instance, made once and used for
// every frame (animated settings follow each frame's time).
struct FilterRun {
    const PixelFilterHandler *pixel = nullptr;
    const ImageFilterHandler *image = nullptr;
    LWInstance instance = nullptr;
    int pngLevel = kDefaultPngLevel;
    bool Apply(Session &s, RgbaImage *picture, int frame, std::string *error) const {
        // The picture is the whole frame: the scene's frame takes its size.
        s.host.scene.frameWidth = picture->width;
        s.host.scene.frameHeight = picture->height;
        double time = frame / s.host.scene.framesPerSecond;
        EvaluationPass pass(s.host);  // items asked of at this frame are worked out once
        return pixel ? RunPixelFilter(pixel, instance, picture, frame, time, error)
                     : RunImageFilter(image, instance, picture, frame, time, error);
    }
};

// The settings: a file named with --settings wins; otherwise the first block
// of this filter in the scene's effects; otherwise the defaults. Item
// references in either resolve against the scene, when one is given.
bool MakeFilter(Session &s, const std::string &name, const std::string &settingsFile, const std::string &scenePath,
                FilterRun *run, NewInstance *made, std::string *error) {
    if (!scenePath.empty()) {
        int status = 0;
        if (!LoadScene(s, scenePath, &status)) return *error = "", false;  // already said
        if (settingsFile.empty())
            for (const FilterPluginUse &use : s.host.scene.filterPlugins)
                if (use.server == name) {
                    *run = {use.pixel, use.image, use.instance};
                    return true;
                }
    }
    if (!CreateInstance(s, name, settingsFile, made, error)) return false;
    if (made->className == "PixelFilterHandler")
        run->pixel = static_cast<const PixelFilterHandler *>(made->handler);
    else if (made->className == "ImageFilterHandler")
        run->image = static_cast<const ImageFilterHandler *>(made->handler);
    else
        return *error = name + " is not a pixel or image filter", false;
    run->instance = made->instance;
    return true;
}

// One frame: read, filter, write whole.
bool FilterFile(Session &s, const FilterRun &run, const std::string &in, const std::string &depth, int frame,
                const std::string &out, std::string *error) {
    RgbaImage picture;
    if (!ReadPicture(in, &picture, error) || (!depth.empty() && !ReadDepthPfm(depth, &picture, error))) return false;
    if (!run.Apply(s, &picture, frame, error)) return false;
    return WritePicture(out, picture, error, run.pngLevel);
}

int Sequence(Session &s, const FilterRun &run, const std::string &name, const std::vector<std::string> &v) {
    int first = 0, last = 0;
    if (!FrameRange(v[kFrames], &first, &last))
        return FailCommand("filter: --frames wants FIRST-LAST, as 1-250, within 0 to " + std::to_string(kMostFrames));
    for (int i : {kIn, kOut})
        if (!IsFramePattern(v[i])) return FailCommand("filter: with --frames, --in and -o are frame patterns, as render/frame%04d.png");
    if (!v[kDepth].empty() && !IsFramePattern(v[kDepth]))
        return FailCommand("filter: with --frames, --depth is a frame pattern, as render/depth%04d.pfm");
    // Every input is looked for before any work, so a gap in the render is
    // one error and nothing is written.
    for (int frame = first; frame <= last; ++frame)
        for (int i : {kIn, kDepth})
            if (!v[i].empty() && access(FrameFile(v[i], frame).c_str(), R_OK) != 0)
                return FailCommand(FrameFile(v[i], frame) + ": cannot be read (frame " + std::to_string(frame) + " of " +
                            v[kFrames] + ")");
    // The output's folder must be there: a typing slip is one error, not one a frame.
    std::string outFolder = FrameFile(v[kOut], first);
    outFolder = outFolder.find('/') == std::string::npos ? "." : outFolder.substr(0, outFolder.find_last_of('/') + 1);
    if (access(outFolder.c_str(), W_OK) != 0) return FailCommand(outFolder + ": no folder to write the frames in");
    const int count = last - first + 1;
    int jobs = 1;
    if (!JobCount(v[kJobs], count, &jobs)) return FailCommand("filter: -j wants a number of workers, 1 to 256");
    SequenceResult r = RunSequence(first, last, jobs, [&](int frame, std::string *error) {
        return FilterFile(s, run, FrameFile(v[kIn], frame), v[kDepth].empty() ? "" : FrameFile(v[kDepth], frame), frame,
                          FrameFile(v[kOut], frame), error);
    });
    for (const std::string &f : r.failures) std::fprintf(stderr, "vesk: %s\n", f.c_str());
    if (r.done < count) std::fprintf(stderr, "vesk: %d frames were not done: a worker stopped early\n", count - r.done);
    std::printf("%s: %d of %d frames (%d-%d) filtered to %s in %.1f s by %d worker%s\n", name.c_str(), r.written, count,
                first, last, v[kOut].c_str(), r.seconds, r.jobs, r.jobs == 1 ? "" : "s");
    return r.written == count ? 0 : 1;
}

int Filter(const std::vector<std::string> &args) {
    std::vector<std::string> positional, v;
    std::string error;
    if (!Options(args, {"--settings", "--scene", "--in", "--depth", "--frame", "--frames", "-j", "-o", "--png-level"}, &positional, &v,
                 &error))
        return FailCommand("filter: " + error);
    if (positional.size() != 1 || v[kIn].empty() || v[kOut].empty())
        return FailCommand("filter: give a filter, --in IMAGE.png and -o OUT.png");
    if (!v[kFrame].empty() && !v[kFrames].empty()) return FailCommand("filter: give --frame or --frames, not both");
    const std::string &name = positional[0];
    int pngLevel = kDefaultPngLevel, frame = 0;
    if (!PngLevel(v[kPngLevel], &pngLevel)) return FailCommand("filter: --png-level is a whole number from 0 to 9");
    if (!v[kFrame].empty() && !FrameNumber(v[kFrame], &frame))
        return FailCommand("filter: --frame is a frame from 0 to " + std::to_string(kMostFrames));
    Session s;
    if (!s.ready) return FailCommand(s.error);
    FilterRun run;
    NewInstance made;
    if (!MakeFilter(s, name, v[kSettings], v[kScene], &run, &made, &error)) {
        if (made.instance) Destroy(made);
        return error.empty() ? 1 : FailCommand(error);
    }
    run.pngLevel = pngLevel;
    int status = 0;
    if (!v[kFrames].empty()) {
        status = Sequence(s, run, name, v);
    } else {
        // One frame: the image filter's own monitor drives the bar.
        s.host.filterProgress = [](unsigned done, unsigned total) {
            if (total) DrawProgress(static_cast<int>(done < total ? done : total), static_cast<int>(total));
            return true;
        };
        if (FilterFile(s, run, v[kIn], v[kDepth], frame, v[kOut], &error))
            std::printf("wrote %s\n", v[kOut].c_str());
        else
            status = FailCommand(error);
    }
    s.PrintMessages();
    if (made.instance) Destroy(made);
    return status;
}

}  // namespace

extern const Command filterCommand = {
    "filter", "a pixel or image filter run over a rendered image or sequence",
    "usage: vesk filter PLUGIN [--settings FILE | --scene SCENE] --in IMAGE.png [--depth DEPTH.pfm]\n"
    "                   [--frame N] [--png-level L] -o OUT.png\n"
    "       vesk filter PLUGIN [...] --in 'render/f%04d.png' [--depth 'render/d%04d.pfm']\n"
    "                   --frames FIRST-LAST [-j N] -o 'out/f%04d.png'\n"
    "\n"
    "Runs a pixel filter (per pixel, with depth) or an image filter (per frame)\n"
    "over a rendered image, as the host would after rendering frame N, or over\n"
    "every frame of a rendered sequence, each at its own time.\n"
    "\n"
    "  --settings FILE  settings to load first, as the panel's load button would\n"
    "  --scene SCENE    a LightWave scene: the filter's settings come from its first\n"
    "                   block of this filter in the scene's effects (unless\n"
    "                   --settings is given), items it names (a focus item, the\n"
    "                   camera) are the scene's, and frames run at its frame rate;\n"
    "                   without either, the filter's defaults\n"
    "  --in IMAGE.png   the render: an RGBA PNG (alpha is the render's coverage);\n"
    "                   the image is the whole frame\n"
    "  --depth FILE     its depth: a single-channel float PFM (Pf) of the same size;\n"
    "                   without it every pixel lies far away\n"
    "  --frame N        the frame being filtered (default 0), at 30 frames a second\n"
    "                   unless the scene says otherwise\n"
    "  --frames A-B     a sequence: --in, --depth and -o are then patterns with one\n"
    "                   frame number, as %04d; every input is checked before any\n"
    "                   frame is written\n"
    "  -j N             worker processes for a sequence (default: the machine's cores)\n"
    "  --png-level L    zlib level of the PNGs written, 0 (fastest) to 9 (smallest);\n"
    "                   default 1: on a rendered 1920 x 1080 frame it writes about\n"
    "                   twice as fast as level 6 for a file about 1.6 times larger\n"
    "  -o OUT.png       where to write; each file is written whole or not at all\n",
    Filter};
