// vesk shade: a shader's preview on a lit sphere.
#include <algorithm>
#include <array>
#include <cmath>

#include "host/object_file.h"
#include "host/passes.h"
#ifndef VESK_NO_RENDER
#include "host/render/renderer.h"
#endif
#include "tools/image_files.h"
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tools/command_line.h"

namespace {

#ifndef VESK_NO_RENDER
// The shader on every surface of a real object, framed by a camera in front of
// it and a little above, under one light from above left, over a slate backdrop.
bool ShadeObject(Session &s, const std::string &objectPath, const NewInstance &made, long size, int frame,
                 const std::array<double, 3> *colour, RgbaImage *image, std::string *error) {
    Scene &scene = s.host.scene;
    Item &object = scene.AddObject(objectPath, objectPath);
    if (!ReadObjectFile(objectPath, &object.geometry, error)) return false;
    if (object.geometry.points.empty()) return *error = objectPath + ": the object holds no points", false;
    object.numPoints = static_cast<int>(object.geometry.points.size());
    object.numPolygons = static_cast<int>(object.geometry.polygons.size());
    if (colour)
        for (Surface &surface : object.geometry.surfaces) surface.color = *colour;
    std::array<double, 3> low = object.geometry.points[0], high = low;
    for (const auto &p : object.geometry.points)
        for (int i = 0; i < 3; ++i) low[i] = std::min(low[i], p[i]), high[i] = std::max(high[i], p[i]);
    std::array<double, 3> centre;
    double radius = 0;
    for (int i = 0; i < 3; ++i) centre[i] = (low[i] + high[i]) / 2;
    for (const auto &p : object.geometry.points) {
        double d = 0;
        for (int i = 0; i < 3; ++i) d += (p[i] - centre[i]) * (p[i] - centre[i]);
        radius = std::max(radius, std::sqrt(d));
    }
    if (!(radius > 0)) radius = 1;
    object.SetRest({0, 0, 0});
    // The bounding sphere fills nine tenths of the default lens's height
    // (zoom 3.2), seen from 20 degrees above.
    const double distance = radius / std::sin(std::atan(1 / 3.2)) / 0.9, pitch = 20;
    const double p = pitch * 3.14159265358979323846 / 180;
    scene.AddCamera("Camera").SetRest({centre[0], centre[1] + distance * std::sin(p), centre[2] - distance * std::cos(p)},
                                      {0, pitch, 0});
    scene.AddLight("Light").SetRest({centre[0] - radius, centre[1] + 2 * radius, centre[2] - radius}, {30, 45, 0});
    scene.frameWidth = scene.frameHeight = static_cast<int>(size);
    scene.backdropColor = {0.24, 0.26, 0.3};
    Renderer renderer(s.host);
    for (const Surface &surface : object.geometry.surfaces)
        renderer.AddSurfaceShader(surface.name, static_cast<const ShaderHandler *>(made.handler), made.instance,
                                  made.className);
    if (!renderer.Shade(frame, image, error)) return false;
    // The backdrop shows in the picture, not as transparency.
    for (size_t i = 3; i < image->rgba.size(); i += 4) image->rgba[i] = 255;
    return true;
}
#else
// The 32-bit build has no renderer (no 32-bit Embree here).
bool ShadeObject(Session &, const std::string &objectPath, const NewInstance &, long, int, const std::array<double, 3> *,
                 RgbaImage *, std::string *error) {
    return *error = objectPath + ": shading an object needs the renderer of the native build", false;
}
#endif

int Shade(const std::vector<std::string> &args) {
    std::vector<std::string> positional, v;
    std::string error;
    if (!Options(args, {"--settings", "-o", "--size", "--color", "--png-level", "--object", "--frame", "--scene", "--item"},
                 &positional, &v, &error))
        return FailCommand("shade: " + error);
    if (positional.size() != 1 || v[1].empty()) return FailCommand("shade: give a shader and -o OUT.png");
    int pngLevel = kDefaultPngLevel;
    if (!PngLevel(v[4], &pngLevel)) return FailCommand("shade: --png-level is a whole number from 0 to 9");
    long size = 256;
    if (!v[2].empty() && !WholeNumber(v[2], 8, 4096, &size)) return FailCommand("shade: --size is from 8 to 4096 pixels");
    int frame = 0;
    if (!v[6].empty() && !FrameNumber(v[6], &frame)) return FailCommand("shade: --frame is a frame from 0 to " + std::to_string(kMostFrames));
    std::array<double, 3> base = {0.8, 0.8, 0.8};
    if (!v[3].empty()) {
        int rgb[3], used = 0;
        if (std::sscanf(v[3].c_str(), "%d,%d,%d%n", &rgb[0], &rgb[1], &rgb[2], &used) != 3 ||
            used != static_cast<int>(v[3].size()) || *std::min_element(rgb, rgb + 3) < 0 || *std::max_element(rgb, rgb + 3) > 255)
            return FailCommand("shade: --color wants R,G,B from 0 to 255, as 200,120,60");
        for (int i = 0; i < 3; ++i) base[i] = rgb[i] / 255.0;
    }
    if (!v[8].empty() && v[7].empty()) return FailCommand("shade: --item names an item of the scene given by --scene");
    if (!v[7].empty() && !v[5].empty()) return FailCommand("shade: --scene is for the preview sphere, not with --object");
    Session s;
    if (!s.ready) return FailCommand(s.error);
    // With a scene, the sphere stands in for one of its objects (the first,
    // unless --item names another), at the scene's own frame rate.
    LWItemID sphereAs = nullptr;
    if (!v[7].empty()) {
        int status = 0;
        Item *item = nullptr;
        if (!v[8].empty()) {
            if (!(item = LoadSceneItem(s, v[7], v[8], &status))) return status;
        } else {
            if (!LoadScene(s, v[7], &status)) return status;
            if (s.host.scene.objects.empty()) return FailCommand("shade: " + v[7] + ": the scene has no object");
            item = s.host.scene.objects.front().get();
        }
        sphereAs = IdOf(item);
    }
    NewInstance made;
    if (!CreateInstance(s, positional[0], v[0], &made, &error)) return FailCommand(error);
    RgbaImage image;
    bool ok = made.className != "ShaderHandler" ? (error = positional[0] + " is not a shader", false)
              : !v[5].empty() ? ShadeObject(s, v[5], made, size, frame, v[3].empty() ? nullptr : &base, &image, &error)
                              : RenderShaderPreview(static_cast<const ShaderHandler *>(made.handler), made.instance, size,
                                                    size, &image, &error, base, frame, sphereAs);
    s.PrintMessages();
    Destroy(made);
    if (!ok || !WritePicture(v[1], image, &error, pngLevel)) return FailCommand(error);
    std::printf("wrote a %ldx%ld preview of %s%s%s to %s\n", size, size, positional[0].c_str(), v[5].empty() ? "" : " on ",
                v[5].c_str(), v[1].c_str());
    return 0;
}

}  // namespace

extern const Command shadeCommand = {
    "shade", "a shader's preview on a lit sphere",
    "usage: vesk shade SHADER [--settings FILE] [--object OBJECT.lwo | --scene SCENE [--item NAME]]\n"
    "                  [--size N] [--color R,G,B] [--frame N] [--png-level L] -o OUT.png\n"
    "\n"
    "Renders the shader on a lit sphere four units from the camera (the default\n"
    "lens), over a checkerboard that shows through where it is transparent; or,\n"
    "with --object, on every surface of a real object (LWOB or LWO2), framed from\n"
    "a little above under one light, by the renderer of vesk render.\n"
    "  --size N         the picture's width and height in pixels (default 256)\n"
    "  --color R,G,B    the sphere's own colour, 0 to 255 (default 204,204,204);\n"
    "                   with --object, every surface's colour (default: the file's)\n"
    "  --frame N        the frame the shader sees, at 30 frames a second (default 0)\n"
    "  --scene SCENE    the sphere stands in for the scene's first object (or the\n"
    "                   one --item NAME names), at the scene's frames a second, for\n"
    "                   shaders that look at their object's items\n"
    "  --png-level L    zlib level of the PNG, 0 (fastest) to 9 (smallest); default 1\n",
    Shade};
