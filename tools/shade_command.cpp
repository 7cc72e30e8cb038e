// vesk shade: a shader's preview on a lit sphere.
#include <algorithm>
#include <array>

#include "host/passes.h"
#include "tools/image_files.h"
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tools/command_line.h"

namespace {

int Shade(const std::vector<std::string> &args) {
    std::vector<std::string> positional, v;
    std::string error;
    if (!Options(args, {"--settings", "-o", "--size", "--color", "--png-level"}, &positional, &v, &error)) return Fail("shade: " + error);
    if (positional.size() != 1 || v[1].empty()) return Fail("shade: give a shader and -o OUT.png");
    int pngLevel = kDefaultPngLevel;
    if (!PngLevel(v[4], &pngLevel)) return Fail("shade: --png-level is a whole number from 0 to 9");
    long size = 256;
    if (!v[2].empty() && !WholeNumber(v[2], 8, 4096, &size)) return Fail("shade: --size is from 8 to 4096 pixels");
    std::array<double, 3> base = {0.8, 0.8, 0.8};
    if (!v[3].empty()) {
        int rgb[3], used = 0;
        if (std::sscanf(v[3].c_str(), "%d,%d,%d%n", &rgb[0], &rgb[1], &rgb[2], &used) != 3 ||
            used != static_cast<int>(v[3].size()) || *std::min_element(rgb, rgb + 3) < 0 || *std::max_element(rgb, rgb + 3) > 255)
            return Fail("shade: --color wants R,G,B from 0 to 255, as 200,120,60");
        for (int i = 0; i < 3; ++i) base[i] = rgb[i] / 255.0;
    }
    Session s;
    if (!s.ready) return Fail(s.error);
    NewInstance made;
    if (!CreateInstance(s, positional[0], v[0], &made, &error)) return Fail(error);
    RgbaImage image;
    bool ok = made.className == "ShaderHandler"
                  ? RenderShaderPreview(static_cast<const ShaderHandler *>(made.handler), made.instance, size, size, &image,
                                        &error, base)
                  : (error = positional[0] + " is not a shader", false);
    s.PrintMessages();
    Destroy(made);
    if (!ok || !WritePng(v[1], image, &error, pngLevel)) return Fail(error);
    std::printf("wrote a %ldx%ld preview of %s to %s\n", size, size, positional[0].c_str(), v[1].c_str());
    return 0;
}

}  // namespace

extern const Command shadeCommand = {
    "shade", "a shader's preview on a lit sphere",
    "usage: vesk shade SHADER [--settings FILE] [--size N] [--color R,G,B] [--png-level L] -o OUT.png\n"
    "\n"
    "Renders the shader on a lit sphere four units from the camera (the default\n"
    "lens), over a checkerboard that shows through where it is transparent.\n"
    "  --size N         the picture's width and height in pixels (default 256)\n"
    "  --color R,G,B    the sphere's own colour, 0 to 255 (default 204,204,204)\n"
    "  --png-level L    zlib level of the PNG, 0 (fastest) to 9 (smallest); default 1\n",
    Shade};
