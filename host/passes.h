// The embedded host's passes over what its plug-ins change, each through the
// handler records as the host drives them: an object's points through its
// displacement plug-ins, a rendered image through a pixel filter (per pixel,
// with depth) or an image filter (per frame), and shading spots on a lit
// sphere through a shader, for previews.
#pragma once

#include <array>
#include <limits>
#include <string>
#include <vector>

#include "host/embedded_host.h"

// Where nothing was hit: the backdrop lies this far away.
constexpr float kBackdropDepth = 1e30f;

struct RgbaImage {
    int width = 0, height = 0;
    std::vector<unsigned char> rgba;  // interleaved, rows top down
    std::vector<float> depth;         // width * height, or empty
    // A render's other buffers by their codes (LWBUF_SPECIAL to LWBUF_SPECSHADE,
    // depth apart): width * height each, or empty. The byte buffers (codes 0
    // to 8) hold 0 to 255.
    std::vector<float> buffers[LWBUF_SPECSHADE + 1];
};

using Vec3 = std::array<double, 3>;

// A point of an object's own coordinates placed in the world:
// world position + (p - pivot) * (right, up, forward), and back through the
// world axes in the object's coordinates (item parameters 9 to 11).
struct Placement {
    Vec3 position, pivot;
    Vec3 rows[3];
    Vec3 inverse[3];
    Vec3 ToWorld(const Vec3 &p) const;
    Vec3 ToObject(const Vec3 &w) const;
};
Placement PlacementAt(const Scene &scene, const Item &object, double time);

// The ray functions a renderer grants to shaders and pixel filters that ask
// for them (null members: none).
struct RayFunctions {
    int (*illuminate)(LWItemID light, const double position[3], double direction[3], double color[3]);
    double (*rayTrace)(const double position[3], const double direction[3], double color[3]);
    double (*rayCast)(const double position[3], const double direction[3]);
    double (*rayShade)(const double position[3], const double direction[3], ShaderAccess *spot);
};

// The object's points after its displacement plug-ins at a time, in the
// object's own coordinates (a plug-in working in world coordinates has its
// points taken back into the object's frame afterwards).
std::vector<std::array<double, 3>> DisplacedPoints(EmbeddedHost &host, const Item &object, double time,
                                                   std::string *error);

// Runs a pixel or image filter instance over the image in place. A pixel
// filter that asks for the ray functions gets those given, when given.
bool RunPixelFilter(const PixelFilterHandler *handler, LWInstance instance, RgbaImage *image, int frame,
                    double time, std::string *error, const RayFunctions *rays = nullptr);
// A pixel filter's evaluation at the samples of one pass, the image's pixels
// in rows firstRow, firstRow + rowStep, ... (those `only` marks, when given):
// each reads the buffers as rendered and sets its colour in place. The caller
// has started the filter (init) and told it the time (newTime).
void FilterSamples(const PixelFilterHandler *handler, LWInstance instance, RgbaImage *image,
                   const RayFunctions *rays = nullptr, int firstRow = 0, int rowStep = 1,
                   const std::vector<bool> *only = nullptr);
// An image filter's access gives the exposure from `start` (the first
// motion-blur pass's time; the frame's own time when it is not given) to `time`.
bool RunImageFilter(const ImageFilterHandler *handler, LWInstance instance, RgbaImage *image, int frame,
                    double time, std::string *error, double start = std::numeric_limits<double>::quiet_NaN());

// A preview of a shader on a lit sphere, cast from a camera five units away:
// each hit fills a shading spot as the host would (its colour `base`, 0 to 1),
// the shader changes it, and the spot is lit; transparency shows a
// checkerboard behind. The shader sees frame `frame` at the scene's frames a
// second, and the sphere as `object` (an item of the scene; by default a
// null object "Preview Sphere" added to the scene for the preview), so a
// shader that looks at its object's items finds them.
bool RenderShaderPreview(const ShaderHandler *handler, LWInstance instance, int width, int height, RgbaImage *out,
                         std::string *error, std::array<double, 3> base = {0.8, 0.8, 0.8}, int frame = 0,
                         LWItemID object = nullptr);
