// The embedded host's renderer: a frame of the scene as the host renders it,
// in the passes its antialiasing level names (one ray a pixel through the
// centre when it is off), averaged, with adaptive sampling giving the later
// passes only to pixels that differ from a neighbour; under motion blur each
// pass is at its own time (EmbeddedHost::BlurPassTimes), the plug-ins handed
// the frame being rendered. The objects' polygons after
// their displacement plug-ins, placed by their final motion at the frame's
// time; the camera's zoom, frame size and pixel aspect; distant, point and
// spot lights with ray-traced shadows where the light and the scene ask for
// them; each surface's colour, luminosity, diffuse, specular with glossiness,
// mirror and transparency, smoothed by its angle; the surface's shader
// plug-ins at every spot, in order, with their flags honoured; the backdrop
// colour or gradient and linear fog. The host's ray functions answer from the
// same geometry, for shaders and pixel filters that ask. The scene's pixel
// filters, in order, on every sample of every pass (with that sample's
// buffers) before the passes are averaged; then its image filters. Shaders'
// and pixel filters' sessions (init to cleanup) span every frame the
// renderer makes.
//
// The shading model (the host's own is not published): colour C, luminosity
// L, diffuse d, specular s with exponent g, per light of colour E arriving
// from unit direction l at a spot with unit normal n seen along v:
//   C L + ambient C d + sum over lights of E (d C max(0, n.l) + s max(0, r.v)^g)
// with r the reflection of l about n, each light's share zero where it is in
// shadow; then mirror m mixes in (1 - m) : m the reflected ray's colour (the
// backdrop when reflections are not traced), transparency t the colour behind
// (bent by eta when refractions are traced), and fog the fog colour by the
// distance. Alpha is 1 on surfaces (1 - t over what lies behind a
// transparent one) and 0 on the backdrop.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/passes.h"

class Tracer;

class Renderer {
public:
    explicit Renderer(EmbeddedHost &host);
    ~Renderer();
    Renderer(const Renderer &) = delete;
    Renderer &operator=(const Renderer &) = delete;

    // A shader applied to every surface of this name, after the shaders the
    // object file gives it; the caller keeps the instance.
    void AddSurfaceShader(const std::string &surface, const ShaderHandler *handler, LWInstance instance,
                          const std::string &server);

    // Makes the object files' shaders and starts every shader's and pixel
    // filter's render session. False, with one line, when an object cannot be
    // read, a shader is unknown or refuses to start, or there is no camera.
    bool Begin(std::string *error);

    // The frame's shading into *out (the scene's frame size), with its depth
    // and other buffers.
    bool Shade(int frame, RgbaImage *out, std::string *error);
    // Shading, then the scene's pixel filters and image filters in order.
    bool Render(int frame, RgbaImage *out, std::string *error);

    // How many threads share a pass's rows: every core unless told (at
    // least one). The picture is the same whatever the count.
    void SetThreads(int threads);

    // The ray functions, answered from the frame being rendered.
    const RayFunctions &Rays() const;
    long primaryRays = 0, secondaryRays = 0;
    size_t Triangles() const;
    // The triangles of the time last prepared, as the rays meet them.
    const Tracer &Geometry() const;

    struct State;  // the frame being rendered, known to the ray functions

private:
    std::unique_ptr<State> state_;
};
