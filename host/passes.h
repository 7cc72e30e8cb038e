// The embedded host's passes over what its plug-ins change, each through the
// handler records as the host drives them: an object's points through its
// displacement plug-ins, a rendered image through a pixel filter (per pixel,
// with depth) or an image filter (per frame), and shading spots on a lit
// sphere through a shader, for previews.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "host/embedded_host.h"

struct RgbaImage {
    int width = 0, height = 0;
    std::vector<unsigned char> rgba;  // interleaved, rows top down
    std::vector<float> depth;         // width * height, or empty
};

// The object's points after its displacement plug-ins at a time, in the
// object's own coordinates (a plug-in working in world coordinates has its
// points taken back into the object's frame afterwards).
std::vector<std::array<double, 3>> DisplacedPoints(EmbeddedHost &host, const Item &object, double time,
                                                   std::string *error);

// Runs a pixel or image filter instance over the image in place.
bool RunPixelFilter(const PixelFilterHandler *handler, LWInstance instance, RgbaImage *image, int frame,
                    double time, std::string *error);
bool RunImageFilter(const ImageFilterHandler *handler, LWInstance instance, RgbaImage *image, int frame,
                    double time, std::string *error);

// A preview of a shader on a lit sphere, cast from a camera five units away:
// each hit fills a shading spot as the host would (its colour `base`, 0 to 1),
// the shader changes it, and the spot is lit; transparency shows a
// checkerboard behind.
bool RenderShaderPreview(const ShaderHandler *handler, LWInstance instance, int width, int height, RgbaImage *out,
                         std::string *error, std::array<double, 3> base = {0.8, 0.8, 0.8});
