// vesk filter: a pixel or image filter over a rendered image.
#include "host/passes.h"
#include "tools/image_files.h"
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tools/command_line.h"

namespace {

int Filter(const std::vector<std::string> &args) {
    std::vector<std::string> positional, v;
    std::string error;
    if (!Options(args, {"--settings", "--in", "--depth", "--frame", "-o"}, &positional, &v, &error))
        return Fail("filter: " + error);
    if (positional.size() != 1 || v[1].empty() || v[4].empty()) return Fail("filter: give a filter, --in IMAGE.png and -o OUT.png");
    RgbaImage image;
    if (!ReadPng(v[1], &image, &error) || (!v[2].empty() && !ReadDepthPfm(v[2], &image, &error))) return Fail(error);
    Session s;
    if (!s.ready) return Fail(s.error);
    s.host.scene.frameWidth = image.width;
    s.host.scene.frameHeight = image.height;
    int frame = v[3].empty() ? 0 : std::atoi(v[3].c_str());
    double time = frame / s.host.scene.framesPerSecond;
    NewInstance made;
    if (!CreateInstance(s, positional[0], v[0], &made, &error)) return Fail(error);
    bool ok = false;
    if (made.className == "PixelFilterHandler")
        ok = RunPixelFilter(static_cast<const PixelFilterHandler *>(made.handler), made.instance, &image, frame, time, &error);
    else if (made.className == "ImageFilterHandler")
        ok = RunImageFilter(static_cast<const ImageFilterHandler *>(made.handler), made.instance, &image, frame, time, &error);
    else
        error = positional[0] + " is not a pixel or image filter";
    s.PrintMessages();
    Destroy(made);
    if (!ok || !WritePng(v[4], image, &error)) return Fail(error);
    std::printf("wrote %dx%d to %s\n", image.width, image.height, v[4].c_str());
    return 0;
}

}  // namespace

extern const Command filterCommand = {
    "filter", "a pixel or image filter run over a rendered image",
    "usage: vesk filter PLUGIN [--settings FILE] --in IMAGE.png [--depth DEPTH.pfm] [--frame N] -o OUT.png\n"
    "\n"
    "Runs a pixel filter (per pixel, with depth) or an image filter (per frame)\n"
    "over a rendered image, as the host would after rendering frame N.\n"
    "\n"
    "  --settings FILE  settings to load first, as the panel's load button would\n"
    "  --in IMAGE.png   the render: an RGBA PNG (alpha is the render's coverage)\n"
    "  --depth FILE     its depth: a single-channel float PFM (Pf) of the same size;\n"
    "                   without it every pixel lies far away\n"
    "  --frame N        the frame being filtered (default 0), at 30 frames a second\n"
    "  -o OUT.png       where to write\n",
    Filter};
